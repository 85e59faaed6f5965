// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractsavethread.h"
#include "devicelink/encpara.h"

#include <memory>

struct AVPacket;
struct AVRational;
struct HFrameHeader;

/// Writes compressed video, as it comes, and G.711 or PCM sound, as AAC, into one fragmented MP4
/// file. Nothing but stop() ends a recording: a packet that cannot be written is a line in the log.
///
/// Order of calls: setPara(), setTimebase(), perhaps setJoin(); open(), which creates the file
/// before it returns; writeData() for each packet, the first picture with its parameter sets, or no
/// player can show the file; stop(), which returns when the file is complete. The object can then
/// be opened again.
///
/// Threads. All of these are for the owner's thread; writeData() may be called by one or more
/// others. It takes a reference (AVPacket) or a copy (HFrameHeader) and never waits for the disk:
/// with 100 packets waiting it drops the new one. Packets that come when nothing is open are
/// refused with a line in the log.
///
/// What is written reaches the system at once: after a crash all but the fragment under way, from
/// the last key picture on, can be played. Sound that was announced is waited for two seconds.
/// Where it is too little for a player to begin with, silence stands in.
///
/// Input is not trusted. Video without start codes or of the other codec, pictures before the first
/// with parameter sets, and stamps beyond all reason are refused with a line in the log; a stamp
/// more than six hours from the one before goes on right after it, since no file can hold such a
/// step.
class VANTRA_EXPORT SaveMp4FFmpeg : public AbstractSaveThread
{
    Q_OBJECT
    Q_DISABLE_COPY(SaveMp4FFmpeg)

public:
    explicit SaveMp4FFmpeg(QObject *parent = nullptr); ///< idle
    /// Ends a recording that still runs, as stop() does.
    ~SaveMp4FFmpeg() override;

    /// Of the packets that wait for the writer; pictures that it lets gather before it looks at
    /// them count as taken. Usable on any thread.
    bool isQueueEmpty() const;
    bool isQueueFull() const;
    /// Whether the disk was full when the file should have been made, or grown; holds until the
    /// next open(). Packets are still taken, and lost: only the next open() can make use of room
    /// that there is by then. Usable on any thread.
    bool isDiskFull() const;
    /// Whether what comes now is lost: the system has refused bytes of the file, for want of room
    /// or because the disk is read-only, broken or away, or the file has gone from its folder,
    /// which is noticed with the next key picture. Holds until the next open(), which is the only
    /// way to go on. Usable on any thread.
    bool isFileLost() const;

public slots:
    /// What the streams hold, for the next open(). A record that is not valid leaves its stream
    /// out. `readTimeout`: milliseconds that the writer waits for data before it says so.
    void setPara(HVideoEncPara vcodecPar, HAudioEncPara acodecPar, int readTimeout = 500);
    /// Unit of all incoming time stamps; 1/1000 for frames of a device, which is the default.
    void setTimebase(AVRational vTimebase);

    /// A frame of a device. The file keeps its own time stamps, and steps of them; see setJoin().
    /// A payload beyond the buffer of a frame is refused.
    void writeData(HFrameHeader *frame);
    /// A packet of a demuxer; sound takes the time of the newest picture.
    void writeData(AVPacket *pkt, bool video);

    /// Whether gaps and backward jumps between frames of a device become steps of half a second.
    void setJoin(bool enable);

private slots:
    bool init() override;
    void save() override;
    void close() override;

public slots:
    void stop() override;

private:
    struct Recording;
    void endThread();

    const std::unique_ptr<Recording> m;
};
