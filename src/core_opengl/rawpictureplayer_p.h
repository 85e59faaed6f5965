// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>
#include <QTimer>

/// Plays a file of raw 4:2:0 pictures of 8 bits, one after the other without any header: the plane
/// Y, then chroma. GUI thread.
class RawPicturePlayer
{
public:
    /// Plays `fileName` from its start, with pictures of the given size, in place of the file
    /// before. Nothing is played if it cannot be read, or without a rate above 0.
    void play(const QString &fileName, int frameRate, int width, int height);
    /// Ends that, and forgets the picture.
    void stop();
    /// Reads the next picture, of the size that is given. Returns the bytes read; 0 at the end of
    /// the file, which ends the timer too, and without a size; -1 if nothing is open or can be
    /// read. Of a picture that is cut off, what is there is read, and the rest of it stays as it
    /// was.
    qint64 next(int width, int height);
    /// The picture read last, with room for chroma planes of full height, which is more than a file
    /// holds.
    const quint8 *data() const { return reinterpret_cast<const quint8 *>(m_picture.constData()); }

    QTimer timer; ///< runs while a file is played, once for each picture

private:
    void makeRoom(int width, int height);

    QFile m_file;
    QByteArray m_picture;
};
