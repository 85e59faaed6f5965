// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/rawpicture_p.h"

namespace {

constexpr qint64 kLargest = 1 << 29; ///< pixels: twice that many bytes is what a QByteArray holds

qint64 pixels(int width, int height)
{
    const qint64 count = qint64(width) * height;
    return width > 0 && height > 0 && count <= kLargest ? count : 0;
}

} // namespace

int rawpicture::bytes(int width, int height)
{
    return static_cast<int>(pixels(width, height) * 3 / 2);
}

void rawpicture::makeRoom(QByteArray *buffer, int width, int height)
{
    const int room = static_cast<int>(pixels(width, height) * 2);
    if (buffer->size() < room)
        buffer->append(room - buffer->size(), '\0');
}

qint64 rawpicture::read(QFile *file, QByteArray *buffer, int width, int height)
{
    if (!file->isOpen())
        return -1;
    makeRoom(buffer, width, height);
    return file->read(buffer->data(), bytes(width, height));
}
