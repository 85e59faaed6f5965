// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideothread.h"

#include <QImage>

namespace vantrafuzz {

inline volatile unsigned g_sum; ///< of all that was read, so that no read is left out

inline void readAll(const quint8 *data, qint64 line, int width, int height)
{
    unsigned sum = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            sum += data[y * line + x];
    }
    g_sum = sum;
}

inline void readAll(const QImage &image)
{
    readAll(image.constBits(), image.bytesPerLine(), image.width() * image.depth() / 8,
            image.height());
}

/// What a widget does with all that a thread sends: it reads it.
class Receiver
{
public:
    explicit Receiver(AbstractVideoThread *thread)
    {
        using Thread = AbstractVideoThread;
        const auto direct = Qt::DirectConnection;
        QObject::connect(
            thread,
            QOverload<int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32>::of(
                &Thread::receiveFrame),
            thread,
            [](int width, int height, quint8 *y, quint8 *u, quint8 *v, quint32 lineY, quint32 lineU,
               quint32 lineV) {
                readAll(y, lineY, width, height);
                readAll(u, lineU, (width + 1) / 2, (height + 1) / 2);
                readAll(v, lineV, (width + 1) / 2, (height + 1) / 2);
            },
            direct);
        QObject::connect(
            thread,
            QOverload<int, int, quint8 *, quint8 *, quint32, quint32>::of(&Thread::receiveFrame),
            thread,
            [](int width, int height, quint8 *y, quint8 *uv, quint32 lineY, quint32 lineUv) {
                readAll(y, lineY, width, height);
                readAll(uv, lineUv, (width + 1) / 2 * 2, (height + 1) / 2);
            },
            direct);
        QObject::connect(
            thread, &Thread::receiveImage, thread,
            [this](const QImage &image) {
                last = image;
                readAll(image);
            },
            direct);
        QObject::connect(
            thread, &Thread::receiveAudio, thread,
            [](const QByteArray &data) {
                readAll(reinterpret_cast<const quint8 *>(data.constData()), 0, data.size(), 1);
            },
            direct);
    }

    void readAgain() const { readAll(last); }

private:
    QImage last; ///< held longer than the decoder lives
};

} // namespace vantrafuzz
