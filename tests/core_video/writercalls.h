// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/encpara.h"

extern "C" {
#include <libavutil/rational.h>
}

#include <QMutex>
#include <QMutexLocker>
#include <QVector>

#include <atomic>
#include <functional>

class SaveMp4FFmpeg;

namespace vantratest {

/// Notes what the library calls of its writers and decoders, in executables that are linked with
/// the wrappers of writercalls.cpp. Calls within FFmpeg are not seen.
struct WriterCalls
{
    /// What a writer was told by setPara().
    struct Para
    {
        SaveMp4FFmpeg *writer;
        HVideoEncPara video;
        HAudioEncPara audio;
        int readTimeout;
    };

    /// A packet that a writer was given by writeData(AVPacket *, bool).
    struct Packet
    {
        SaveMp4FFmpeg *writer;
        bool video;
        int size;
    };

    static QVector<Para> paras()
    {
        QMutexLocker lock(&mutex);
        return noted;
    }
    /// What writers were told by setTimebase().
    static QVector<AVRational> timebases()
    {
        QMutexLocker lock(&mutex);
        return notedTimebases;
    }
    static QVector<Packet> packets()
    {
        QMutexLocker lock(&mutex);
        return notedPackets;
    }
    /// Called on the caller's thread with the name of the function. Set while no writer works.
    static std::function<void(const char *name)> atCall;
    /// Calls of avcodec_send_packet.
    static std::atomic<int> decoderCalls;

    static void reset();

    static QMutex mutex;
    static QVector<Para> noted;
    static QVector<AVRational> notedTimebases;
    static QVector<Packet> notedPackets;
};

} // namespace vantratest
