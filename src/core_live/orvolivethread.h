// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/deviceinterface.h"
#include "core_video/pvprotovideothread.h"

/// One live stream of a device that sends by HTransportOrvo. Bind the device and set channel and
/// stream before the start; unbind only when the thread has ended.
///
/// The device is waited for by the state of its link as a whole. A refusal because it takes no
/// further connection is told by sig_connExceedMax and isStreamExceedMax(). What the frames say of
/// their form is written back to the device, so that a recording notices a change with the next key
/// frame.
///
/// A main stream (stream 0) that nobody watches lets go of its decoders, a sub stream keeps them.
///
/// A recording is the file PATH/yyyy-MM-dd/live/BEGIN.mp4 below its save path, and
/// BEGIN_END_CHANNEL.mp4 once it is closed, with times as yyyyMMddTHHmmss.
class VANTRA_EXPORT OrvoLiveThread : public PvProtoVideoThread, public DeviceInterface
{
    Q_OBJECT
    Q_DISABLE_COPY(OrvoLiveThread)

public:
    explicit OrvoLiveThread(QObject *parent = nullptr); ///< idle and unbound
    /// A subclass whose overrides or members run() uses calls endRun() in its own destructor.
    ~OrvoLiveThread() override;

    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;

protected:
    void closeVideo() override;
    bool initInput() override;
    bool checkConnect() override;
    int readFrame(HFrameHeader *frame, int timeoutMs) override;
    void handlePreviewClose() override;
    void beforeSaveMP4(HFrameHeader *frame) override;
    int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio) override;

private:
    void updateAVCodec(HFrameHeader *frame);
    void updateDeviceAVCodec(HVideoEncPara &video, HAudioEncPara &audio);
};
