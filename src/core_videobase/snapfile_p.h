// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

class QImage;
class QString;

/// Saves a picture in JPEG form, with the quality that is usual. The file appears under its name
/// when it is whole: somebody may be reading the picture that had the name before. Where it cannot
/// be written in full, as on a full disk, there is none. False in that case, and without a name.
///
/// The disk gets the bytes when it likes: streams stand while their pictures are saved, and must
/// not wait for all that others write. Any thread; of several that save under one name at the same
/// time the last one stays.
bool saveSnapFile(const QImage &image, const QString &name);
