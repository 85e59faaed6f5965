// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recorder.h"

#include "support/sources.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"

#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr unsigned long kPauseWhenFull = 1000; // microseconds

/// Durations of many calls.
class Calls
{
public:
    template<typename Call>
    void measure(Call call)
    {
        const auto begin = std::chrono::steady_clock::now();
        call();
        const auto end = std::chrono::steady_clock::now();
        micros.push_back(std::chrono::duration<double, std::micro>(end - begin).count());
    }
    void print()
    {
        std::sort(micros.begin(), micros.end());
        const std::size_t count = micros.size();
        if (count > 0)
            std::printf("%zu %.2f %.2f\n", count, micros[count / 2], micros[count * 99 / 100]);
    }

private:
    std::vector<double> micros;
};

} // namespace

int record(const QString &from, const QString &to, bool packets)
{
    VideoInput input(from);
    const AVStream *stream = input.stream();
    if (!stream)
        return 1;
    HVideoEncPara video;
    video.codecId = stream->codecpar->codec_id == AV_CODEC_ID_HEVC ? HCodecH265 : HCodecH264;
    video.width = stream->codecpar->width;
    video.height = stream->codecpar->height;
    SaveMp4FFmpeg writer;
    writer.setPara(video, HAudioEncPara());
    writer.setTimebase(packets ? stream->time_base : AVRational{1, 1000});
    writer.open(to);
    if (!writer.getOpened())
        return 1;

    Calls calls;
    Calls bare;
    const AVPacketPtr packet(av_packet_alloc());
    std::vector<uchar> buffer(kHFrameBufferSize);
    std::vector<uchar> copy(kHFrameBufferSize);
    auto *frame = reinterpret_cast<HFrameHeader *>(buffer.data());
    while (input.read(packet.get())) {
        while (writer.isQueueFull())
            QThread::usleep(kPauseWhenFull);
        if (packets) {
            calls.measure([&] { writer.writeData(packet.get(), true); });
            AVPacket *reference = nullptr;
            bare.measure([&] { reference = av_packet_clone(packet.get()); });
            av_packet_free(&reference);
            continue;
        }
        if (packet->size > int(kHFrameMaxPayload))
            return 1;
        frame->frameType = packet->flags & AV_PKT_FLAG_KEY ? HFrameHeader::VideoKeyFrame
                                                           : HFrameHeader::VideoFrame;
        frame->frameSize = quint32(packet->size);
        frame->pts = av_rescale_q(packet->pts, stream->time_base, {1, 1000});
        memcpy(frame->payload(), packet->data, frame->frameSize);
        calls.measure([&] { writer.writeData(frame); });
        AVPacketPtr target(av_packet_alloc());
        bare.measure([&] {
            if (av_new_packet(target.get(), packet->size) == 0)
                memcpy(target->data, frame->payload(), frame->frameSize);
        });
    }
    writer.stop();
    calls.print();
    bare.print();
    return 0;
}
