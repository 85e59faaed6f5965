// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/clipmaker.h"
#include "support/waitfor.h"

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"

#include <QtTest>

#include <cstring>

namespace vantratest {

constexpr int kPictures = 50;
constexpr int kGop = 10;
constexpr int kFrameMs = 40;
constexpr int kSampleRate = 8000;
constexpr int kBlockSamples = 160; ///< 20 ms
constexpr double kHertz = 440;
constexpr int kHour = 3600 * 1000;

inline const QVector<AccessUnit> &clip(int codec)
{
    static const auto make = [](int codec) {
        ClipOptions options;
        options.codec = codec;
        options.count = kPictures;
        options.gop = kGop;
        return makeClip(options);
    };
    static const QVector<AccessUnit> h264 = make(1);
    static const QVector<AccessUnit> h265 = make(2);
    return codec == 2 ? h265 : h264;
}

inline HVideoEncPara videoPara(int codec = HCodecH264)
{
    HVideoEncPara para;
    para.codecId = codec;
    para.width = 320;
    para.height = 240;
    return para;
}

inline HAudioEncPara audioPara(int codec)
{
    HAudioEncPara para;
    para.codecId = codec;
    para.sampleRate = kSampleRate;
    para.bitsPerSample = 16;
    return para;
}

/// Parameter sets of H.265, found by the fuzzer, at which FFmpeg's muxer counts for hours. An
/// inserted byte makes the reader of the sequence run into its end.
inline QByteArray endlessSets()
{
    return QByteArray::fromHex(
        "000000014601100000000140010c01ffff01600000030090000003000003001eba024000"
        "0000014201010160000003009000000300000300b21ea0208316fda4a4c2f01680800000"
        "03008000000c84000000014401c073c0");
}

/// Times of so many pictures in a row.
inline QVector<qint64> regularTimes(int count)
{
    QVector<qint64> times;
    for (int i = 0; i < count; ++i)
        times += i * kFrameMs;
    return times;
}

/// A device frame in a buffer of the size that readers lend.
class Frame
{
public:
    Frame(quint32 type, qint64 pts, const QByteArray &payload) : buffer(kHFrameBufferSize, '\0')
    {
        header()->frameType = type;
        header()->frameSize = quint32(payload.size());
        header()->pts = pts;
        memcpy(buffer.data() + kHFramePayloadOffset, payload.constData(), size_t(payload.size()));
    }
    HFrameHeader *header() { return reinterpret_cast<HFrameHeader *>(buffer.data()); }

private:
    QByteArray buffer;
};

/// Feeds a writer no faster than it writes.
class Feeder
{
public:
    explicit Feeder(SaveMp4FFmpeg &writer) : writer(writer) {}

    void frame(quint32 type, qint64 pts, const QByteArray &payload)
    {
        settle();
        writer.writeData(Frame(type, pts, payload).header());
    }
    void picture(const AccessUnit &unit, qint64 pts) { frame(unit.key ? 0 : 1, pts, unit.data); }
    void packet(bool video, qint64 pts, const QByteArray &payload, bool key = false)
    {
        settle();
        const AVPacketPtr packet(av_packet_alloc());
        QVERIFY(av_new_packet(packet.get(), payload.size()) == 0);
        memcpy(packet->data, payload.constData(), size_t(payload.size()));
        packet->pts = pts;
        packet->dts = pts;
        packet->stream_index = 7; // the demuxer's own numbers do not matter
        packet->flags = key ? AV_PKT_FLAG_KEY : 0;
        writer.writeData(packet.get(), video);
        QCOMPARE(packet->pts, pts); // stays the caller's
        QCOMPARE(packet->stream_index, 7);
    }
    void settle()
    {
        QVERIFY(waitFor([&] { return writer.isQueueEmpty(); }));
    }

private:
    SaveMp4FFmpeg &writer;
};

} // namespace vantratest
