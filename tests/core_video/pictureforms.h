// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideothread.h"
#include "support/clipmaker.h"
#include "support/signalrecorder.h"

#include <QImage>

namespace vantratest {

/// The forms in which a picture leaves a stream thread.
inline const auto kPlanes3 =
    qOverload<int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32>(
        &AbstractVideoThread::receiveFrame);
inline const auto kPlanes2 =
    qOverload<int, int, quint8 *, quint8 *, quint32, quint32>(&AbstractVideoThread::receiveFrame);
inline const auto kSurface =
    qOverload<int, int, quint8 *, bool>(&AbstractVideoThread::receiveFrame);
inline const auto kTexture =
    qOverload<int, int, quint8 *, qint32, bool>(&AbstractVideoThread::receiveFrame);

inline void watchForms(SignalRecorder *recorder, AbstractVideoThread *thread)
{
    recorder->watch(thread, kPlanes3, "planes3");
    recorder->watch(thread, kPlanes2, "planes2");
    recorder->watch(thread, kSurface, "surface");
    recorder->watch(thread, kTexture, "texture");
    recorder->watch(thread, &AbstractVideoThread::receiveImage, "image");
}

/// The number in the blocks of an image; see makeClip().
inline int numberIn(const QImage &image)
{
    const QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
    return readNumber(grey.constBits(), grey.bytesPerLine(), grey.width(), grey.height());
}

} // namespace vantratest
