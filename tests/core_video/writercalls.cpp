// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "writercalls.h"

#include "core_videosave/savemp4ffmpeg.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

using vantratest::WriterCalls;

std::function<void(const char *)> WriterCalls::atCall;
std::atomic<int> WriterCalls::decoderCalls{0};
QMutex WriterCalls::mutex;
QVector<WriterCalls::Para> WriterCalls::noted;
QVector<AVRational> WriterCalls::notedTimebases;
QVector<WriterCalls::Packet> WriterCalls::notedPackets;

void WriterCalls::reset()
{
    QMutexLocker lock(&mutex);
    noted.clear();
    notedTimebases.clear();
    notedPackets.clear();
    atCall = nullptr;
    decoderCalls = 0;
}

// The linker leads every call of NAME to __wrap_NAME, and calls of __real_NAME to NAME.
extern "C" {
void __real__ZN13SaveMp4FFmpeg7setParaE13HVideoEncPara13HAudioEncParai(SaveMp4FFmpeg *,
                                                                       HVideoEncPara, HAudioEncPara,
                                                                       int);
void __wrap__ZN13SaveMp4FFmpeg7setParaE13HVideoEncPara13HAudioEncParai(SaveMp4FFmpeg *,
                                                                       HVideoEncPara, HAudioEncPara,
                                                                       int);
void __real__ZN13SaveMp4FFmpeg11setTimebaseE10AVRational(SaveMp4FFmpeg *, AVRational);
void __wrap__ZN13SaveMp4FFmpeg11setTimebaseE10AVRational(SaveMp4FFmpeg *, AVRational);
void __real__ZN13SaveMp4FFmpeg9writeDataEP8AVPacketb(SaveMp4FFmpeg *, AVPacket *, bool);
void __wrap__ZN13SaveMp4FFmpeg9writeDataEP8AVPacketb(SaveMp4FFmpeg *, AVPacket *, bool);
int __real_avcodec_send_packet(AVCodecContext *, const AVPacket *);
int __wrap_avcodec_send_packet(AVCodecContext *, const AVPacket *);

void __wrap__ZN13SaveMp4FFmpeg7setParaE13HVideoEncPara13HAudioEncParai(SaveMp4FFmpeg *writer,
                                                                       HVideoEncPara video,
                                                                       HAudioEncPara audio,
                                                                       int readTimeout)
{
    {
        QMutexLocker lock(&WriterCalls::mutex);
        WriterCalls::noted << WriterCalls::Para{writer, video, audio, readTimeout};
    }
    if (WriterCalls::atCall)
        WriterCalls::atCall("setPara");
    __real__ZN13SaveMp4FFmpeg7setParaE13HVideoEncPara13HAudioEncParai(writer, video, audio,
                                                                      readTimeout);
}

void __wrap__ZN13SaveMp4FFmpeg11setTimebaseE10AVRational(SaveMp4FFmpeg *writer, AVRational timebase)
{
    {
        QMutexLocker lock(&WriterCalls::mutex);
        WriterCalls::notedTimebases << timebase;
    }
    if (WriterCalls::atCall)
        WriterCalls::atCall("setTimebase");
    __real__ZN13SaveMp4FFmpeg11setTimebaseE10AVRational(writer, timebase);
}

void __wrap__ZN13SaveMp4FFmpeg9writeDataEP8AVPacketb(SaveMp4FFmpeg *writer, AVPacket *packet,
                                                     bool video)
{
    {
        QMutexLocker lock(&WriterCalls::mutex);
        WriterCalls::notedPackets << WriterCalls::Packet{writer, video, packet->size};
    }
    __real__ZN13SaveMp4FFmpeg9writeDataEP8AVPacketb(writer, packet, video);
}

int __wrap_avcodec_send_packet(AVCodecContext *ctx, const AVPacket *packet)
{
    ++WriterCalls::decoderCalls;
    return __real_avcodec_send_packet(ctx, packet);
}
}
