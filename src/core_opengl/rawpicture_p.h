// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>

/// Raw 4:2:0 pictures of 8 bits, one after the other in a file without any header: the plane Y,
/// then chroma.
namespace rawpicture {

/// Bytes of one picture in a file; 0 without a size, and for one that no memory could hold.
int bytes(int width, int height);

/// Makes room for a picture with chroma planes of full height, which is more than a file holds.
void makeRoom(QByteArray *buffer, int width, int height);

/// Reads the next picture to the start of `buffer`, with room made for it. Returns the bytes read,
/// 0 at the end of the file, -1 if nothing is open or can be read. Of a picture that is cut off,
/// what is there is read, and the rest of the buffer stays as it was.
qint64 read(QFile *file, QByteArray *buffer, int width, int height);

} // namespace rawpicture
