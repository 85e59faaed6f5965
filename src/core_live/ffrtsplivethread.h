// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/deviceinterface.h"
#include "core_video/ffmpegvideothread.h"

/// One live stream of a device that sends by RTSP: address and codec are asked of the device, at
/// each open and after each read. Bind the device and set channel and stream before the start;
/// unbind only when the thread has ended. A stream that the device has no address for fails the
/// open, which is tried again like any other.
///
/// A recording is the file PATH/yyyy-MM-dd/live/BEGIN.mp4 below its save path, and
/// BEGIN_END_CHANNEL.mp4 once it is closed, with times as yyyyMMddTHHmmss.
class VANTRA_EXPORT FFRtspLiveThread : public FFmpegVideoThread, public DeviceInterface
{
    Q_OBJECT
    Q_DISABLE_COPY(FFRtspLiveThread)

public:
    explicit FFRtspLiveThread(QObject *parent = nullptr); ///< idle and unbound
    /// A subclass whose overrides or members run() uses calls endRun() in its own destructor.
    ~FFRtspLiveThread() override;

    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;

protected:
    bool parseVideoUrl() override;
    int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio) override;
};
