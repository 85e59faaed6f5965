// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/deviceinterface.h"
#include "core_video/pvprotovideothread.h"
#include "devicelink/vodrecords.h"

class QDateTime;

/// Plays what a device has recorded of one channel; a device plays one recording per channel at a
/// time. Bind the device, set channel and span before the start; unbind only when the thread has
/// ended. A thread object is meant for one play.
///
/// Unlike a live stream it is opened once: what refuses it, or fails four times in a row, or comes
/// to the end of the recording, ends the thread. A device that refuses is sig_connExceedMax where
/// it takes no further connection, otherwise sig_otherError. The end of each play that was begun
/// is receivePlayFinsh, also where it could not be opened. Reads that time out are waited through;
/// the fifth in a row raises isReadTimeout().
///
/// It records nothing, and without a viewer frames are read and dropped.
///
/// Stamps of frames are milliseconds since 1970 in UTC, and are the position (receivePosition): it
/// is told in steps of just over a second, and only forward. After a seek to an earlier time it is
/// told again once play has passed where it was; until then the pictures alone tell.
///
/// A snapshot is named after the time in the recording: TIME_CHANNEL.jpg in the folder of the name
/// that was asked for, with the time as yyyyMMddTHHmmss. Without a name nothing is saved.
///
/// Threads. The slots below run on the thread that the object lives on, and call the device there,
/// beside run(), which blocks in the device: for one frame at most the whole of readTimeout.
class VANTRA_EXPORT OrvoVodThread : public PvProtoVideoThread, public DeviceInterface
{
    Q_OBJECT
    Q_DISABLE_COPY(OrvoVodThread)

public:
    explicit OrvoVodThread(QObject *parent = nullptr); ///< idle and unbound
    /// A subclass whose overrides or members run() uses calls endRun() in its own destructor.
    ~OrvoVodThread() override;

    /// What to play; before the start.
    void setVodStartPara(const VodStartPara &para);

public slots:
    /// While paused nothing is read, and no time-out is counted. The thread pauses also where the
    /// device fails to, which is logged. Nothing while it is not running.
    void pause() override;
    /// Resumes, by the same rules.
    void next() override;
    /// Has the device go on from that time. In silence without a device.
    void seekFile(const QDateTime &time);
    /// Has the device send at another speed, cut towards zero: 0.5 arrives as 0. The speed of this
    /// object stays. In silence without a device.
    void setSpeed(double speed) override;

protected slots:
    void closeVideo() override;

protected:
    void run() override;
    bool initInput() override;
    bool checkConnect() override;
    int readFrame(HFrameHeader *frame, int timeoutMs) override;
    void decodeImage() override;

    VodStartPara vodStartPara; ///< three times that mean nothing here
    qint64 lastPts = 0;        ///< of the newest video frame that was decoded

private:
    bool reopen();
    void handleFrame(HFrameHeader *frame);
    void handleTimeout();
};
