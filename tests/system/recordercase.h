// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/device/deviceconfig.h"
#include "simulator/device/mediaclock.h"

#include <QDateTime>
#include <QVector>

namespace vantratest {

/// Of the recordings of the tests. One picture is 40 ms.
constexpr int kRecordedFps = 25;
constexpr int kRecordedFrameMs = 1000 / kRecordedFps;

/// A moment of the day on which the tests have recorded, or of one after it.
inline QDateTime at(int hour, int minute, int second = 0, int day = 14)
{
    return QDateTime(QDate(2026, 3, day), QTime(hour, minute, second));
}

/// 176x144 at 25 pictures per second, each 25th a key picture; `audio` 0: without sound.
inline vantrasim::StreamConfig form(qint32 codec, qint32 audio, int quality = 28)
{
    vantrasim::StreamConfig stream;
    stream.video.codec = codec;
    stream.video.width = 176;
    stream.video.height = 144;
    stream.video.fps = kRecordedFps;
    stream.video.quality = quality;
    stream.audio.codec = audio;
    return stream;
}

/// Counter of the picture with that stamp.
inline qint64 counterOf(qint64 stamp)
{
    return stamp / kRecordedFrameMs & 0xFFFFFF;
}

/// Counters of the pictures of a span.
inline QVector<qint64> countersOf(const QDateTime &begin, const QDateTime &end)
{
    QVector<qint64> counters;
    const qint64 last = vantrasim::deviceTime(end);
    for (qint64 time = vantrasim::deviceTime(begin); time < last; time += kRecordedFrameMs)
        counters << counterOf(time);
    return counters;
}

/// 10:00:00 to 10:00:05, a gap of an hour, to 11:00:08, one of 2 s, to 11:00:14; then at once, till
/// 11:00:18, in another form.
inline vantrasim::DeviceConfig withGaps(const vantrasim::StreamConfig &first,
                                        const vantrasim::StreamConfig &second)
{
    vantrasim::DeviceConfig config = vantrasim::DeviceConfig::simple(1, 1);
    config.channels[0].archive = {{at(10, 0, 0), at(10, 0, 5), first},
                                  {at(11, 0, 5), at(11, 0, 8), first},
                                  {at(11, 0, 10), at(11, 0, 14), first},
                                  {at(11, 0, 14), at(11, 0, 18), second}};
    return config;
}

inline QVector<qint64> countersOfGaps()
{
    return countersOf(at(10, 0, 0), at(10, 0, 5)) + countersOf(at(11, 0, 5), at(11, 0, 8)) +
           countersOf(at(11, 0, 10), at(11, 0, 18));
}

} // namespace vantratest
