// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/rawpictureplayer_p.h"

namespace {

constexpr int kMillisecondsPerSecond = 1000;
constexpr qint64 kLargest = 1 << 29; ///< pixels: twice that many bytes is what a QByteArray holds

/// 0 without a size, and for a picture that no memory could hold.
qint64 pixels(int width, int height)
{
    const qint64 count = qint64(width) * height;
    return width > 0 && height > 0 && count <= kLargest ? count : 0;
}

} // namespace

void RawPicturePlayer::play(const QString &fileName, int frameRate, int width, int height)
{
    timer.stop();
    m_file.close();
    m_file.setFileName(fileName);
    if (!m_file.open(QIODevice::ReadOnly))
        return;
    makeRoom(width, height);
    if (frameRate > 0)
        timer.start(kMillisecondsPerSecond / frameRate);
}

void RawPicturePlayer::stop()
{
    timer.stop();
    m_file.close();
    m_picture.clear();
}

qint64 RawPicturePlayer::next(int width, int height)
{
    if (!m_file.isOpen())
        return -1;
    makeRoom(width, height);
    const qint64 bytes = m_file.read(m_picture.data(), pixels(width, height) * 3 / 2);
    if (bytes == 0)
        timer.stop();
    return bytes;
}

void RawPicturePlayer::makeRoom(int width, int height)
{
    const int room = static_cast<int>(pixels(width, height) * 2);
    if (m_picture.size() < room)
        m_picture.append(room - m_picture.size(), '\0');
}
