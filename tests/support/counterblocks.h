// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>
#include <QRect>

#include <optional>

namespace vantratest {

/// Reads the frame counter that a test camera draws into its pictures as a row of blocks
/// (simulator/scene/counterrow.h), at any scaling.
///
/// `picture` is where the camera's picture lies in `image`, in pixels; by default it is the whole
/// image. Nothing if there is no counter, or one that cannot be trusted.
std::optional<quint32> readCounter(const QImage &image, const QRect &picture = QRect());

/// The same from a luma plane of `width` x `height` pixels with lines `stride` bytes apart.
std::optional<quint32> readCounter(const uchar *luma, int stride, int width, int height,
                                   const QRect &picture = QRect());

/// Who took a picture of a simulated device (simulator/device).
struct SceneId
{
    int device = -1;
    int channel = -1;
    int stream = -1;
};
inline bool operator==(const SceneId &a, const SceneId &b)
{
    return a.device == b.device && a.channel == b.channel && a.stream == b.stream;
}

/// Reads the row of blocks along the bottom of the picture, which says who took it. As
/// readCounter().
std::optional<SceneId> readSceneId(const QImage &image, const QRect &picture = QRect());
std::optional<SceneId> readSceneId(const uchar *luma, int stride, int width, int height,
                                   const QRect &picture = QRect());

/// Draws the counter row over the top of the whole image; for tests of readers.
void drawCounter(QImage *image, quint32 counter);

} // namespace vantratest
