// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/clipmaker.h"

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"

#include <QDeadlineTimer>
#include <QSize>
#include <QThread>

#include <cstring>
#include <vector>

namespace vantratest {

/// How fast the pictures of a recording follow each other.
enum class Pace { Fast, Slow, Varying };

/// One way to make a recording.
struct RecordingForm
{
    int codec = HCodecH264;
    int sound = 0;        ///< HAVCodecID, 0: none
    bool packets = false; ///< of a demuxer, else frames of a device
    Pace pace = Pace::Fast;
};

constexpr int kSoundRate = 8000;   ///< Hz
constexpr int kBlockMs = 20;       ///< of sound
constexpr int kRecordingMs = 4000; ///< length of what is recorded
constexpr QSize kPictureSize(320, 240);

/// Times of the pictures, milliseconds from the first; the end of the last one behind them. Steps
/// of the varying pace are shorter than a frame of AAC, whose time is that of a picture.
inline QVector<int> pictureTimes(Pace pace)
{
    static const int varying[] = {40, 20, 65, 33, 110, 40, 47, 90, 25, 40};
    QVector<int> times{0};
    for (int i = 0; times.last() < kRecordingMs; ++i) {
        const int step = pace == Pace::Fast ? 40 : pace == Pace::Slow ? 80 : varying[i % 10];
        times.append(times.last() + step);
    }
    return times;
}

inline const QVector<AccessUnit> &recordedUnits(int codec)
{
    static const auto make = [](int codec) {
        ClipOptions options;
        options.codec = codec;
        options.width = kPictureSize.width();
        options.height = kPictureSize.height();
        options.count = kRecordingMs / 40;
        options.gop = 10;
        return makeClip(options);
    };
    static const QVector<AccessUnit> h264 = make(HCodecH264);
    static const QVector<AccessUnit> h265 = make(HCodecH265);
    return codec == HCodecH265 ? h265 : h264;
}

/// Hands pictures and sound to a writer in one of the two ways, no faster than it writes. All times
/// are milliseconds from the beginning.
class RecordingFeeder
{
public:
    static constexpr qint64 kDeviceStart = 1700000000000; ///< what the device's clock says, ms
    static constexpr qint64 kDemuxerStart = 987654;       ///< ticks
    static constexpr int kTicksPerMs = 90;

    RecordingFeeder(SaveMp4FFmpeg &writer, bool packets)
        : m_writer(writer), m_packets(packets), m_buffer(kHFrameBufferSize)
    {
    }

    AVRational timebase() const { return {1, m_packets ? 1000 * kTicksPerMs : 1000}; }
    void picture(const AccessUnit &unit, int ms) { feed(true, unit.key, unit.data, ms); }
    void sound(const QByteArray &block, int ms) { feed(false, false, block, ms); }
    /// Waits until the writer has taken everything.
    bool settle()
    {
        const QDeadlineTimer deadline(20000);
        while (!m_writer.isQueueEmpty() && !deadline.hasExpired())
            QThread::usleep(20);
        return m_writer.isQueueEmpty();
    }

private:
    void feed(bool video, bool key, const QByteArray &payload, int ms)
    {
        settle();
        if (m_packets) {
            const AVPacketPtr packet(av_packet_alloc());
            if (av_new_packet(packet.get(), payload.size()) != 0)
                return;
            memcpy(packet->data, payload.constData(), size_t(payload.size()));
            packet->pts = kDemuxerStart + qint64(ms) * kTicksPerMs;
            packet->dts = packet->pts;
            packet->flags = key ? AV_PKT_FLAG_KEY : 0;
            m_writer.writeData(packet.get(), video);
            return;
        }
        auto *frame = reinterpret_cast<HFrameHeader *>(m_buffer.data());
        *frame = HFrameHeader();
        frame->frameType = video ? (key ? HFrameHeader::VideoKeyFrame : HFrameHeader::VideoFrame)
                                 : HFrameHeader::AudioFrame;
        frame->frameSize = quint32(payload.size());
        frame->pts = kDeviceStart + ms;
        memcpy(frame->payload(), payload.constData(), size_t(payload.size()));
        m_writer.writeData(frame);
    }

    SaveMp4FFmpeg &m_writer;
    const bool m_packets;
    std::vector<uchar> m_buffer; ///< of the size that readers lend
};

/// Records the clip with its sound, as coded in the form, block by block in the order of the times.
/// The pictures recorded.
inline QVector<AccessUnit> record(const RecordingForm &form, const QByteArray &sound,
                                  const QString &path)
{
    HVideoEncPara video;
    video.codecId = form.codec;
    video.width = kPictureSize.width();
    video.height = kPictureSize.height();
    HAudioEncPara audio;
    audio.codecId = form.sound;
    audio.sampleRate = kSoundRate;
    audio.bitsPerSample = 16;
    SaveMp4FFmpeg writer;
    RecordingFeeder feeder(writer, form.packets);
    writer.setPara(video, audio, 600000);
    writer.setTimebase(feeder.timebase());
    writer.open(path);
    const int block = (form.sound == HCodecPcm ? 2 : 1) * kBlockMs * kSoundRate / 1000;
    const QVector<int> times = pictureTimes(form.pace);
    QVector<AccessUnit> recorded;
    int played = 0; // blocks
    for (int i = 0; i + 1 < times.size(); ++i) {
        recorded.append(recordedUnits(form.codec).at(i));
        feeder.picture(recorded.last(), times.at(i));
        for (; form.sound && played * kBlockMs < times.at(i + 1); ++played)
            feeder.sound(sound.mid(played * block, block), played * kBlockMs);
    }
    writer.stop();
    return recorded;
}

/// Name of a form, as rows of tests bear it.
inline QString nameOf(const RecordingForm &form)
{
    const char *sound = form.sound == HCodecG711A   ? "A-law"
                        : form.sound == HCodecG711U ? "mu-law"
                        : form.sound == HCodecPcm   ? "PCM"
                                                    : "silent";
    const char *pace = form.pace == Pace::Fast   ? "25"
                       : form.pace == Pace::Slow ? "12.5"
                                                 : "varying";
    return QStringLiteral("%1 %2 %3 %4")
        .arg(form.codec == HCodecH264 ? "H.264" : "H.265", sound,
             form.packets ? "packets" : "frames", pace);
}

/// All forms of one codec.
inline QVector<RecordingForm> recordingForms(int codec)
{
    QVector<RecordingForm> forms;
    for (const int sound : {int(HCodecG711A), int(HCodecG711U), int(HCodecPcm), 0}) {
        for (const bool packets : {true, false}) {
            for (const Pace pace : {Pace::Fast, Pace::Slow, Pace::Varying})
                forms.append({codec, sound, packets, pace});
        }
    }
    return forms;
}

} // namespace vantratest
