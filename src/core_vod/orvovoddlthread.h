// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideodlthread.h"
#include "devicelink/vodrecords.h"

class HNetDevice;

/// Downloads what a device has recorded of one channel; a device hands out one download per channel
/// at a time. Bind the device before the start, and keep it until the end.
///
/// Files lie in SAVEPATH/yyyy-MM-dd/vod, the day being today. A file is BEGIN.mp4 while it is
/// written, and BEGIN_END_CHANNEL.mp4 once it is complete, with times as yyyyMMddTHHmmss: the time
/// of day of its first and its newest picture, as the recording tells it, on the day of the
/// beginning of the span. A file that ran over midnight is named as if it began at midnight. One
/// that has such a name already is replaced. The channel stands in the last name only: downloads
/// that run side by side need save paths of their own.
///
/// A file begins at a key picture, and ends at the first one at which the interval is over, or the
/// device describes the stream in another form. Gaps of the recording are closed. Nothing is lost
/// on the way: while the disk is slow the device waits.
class VANTRA_EXPORT OrvoVodDLThread : public AbstractVideoDLThread
{
    Q_OBJECT
    Q_DISABLE_COPY(OrvoVodDLThread)

public:
    explicit OrvoVodDLThread(QObject *parent = nullptr); ///< idle and unbound
    ~OrvoVodDLThread() override;

    /// Before startDL(). `channel` counts from 0. False without a device: then nothing is changed.
    bool bindDevice(const QSharedPointer<HNetDevice> &dev, unsigned int channel);

protected:
    void initOption() override;
    void makeSaveSubDir() override;
    bool beforeDownload() override;
    void afterDownload() override;
    int readFrame(HFrameHeader *frame, int timeoutMs) override;
    int handleSaveMP4(HFrameHeader *frame) override;

private:
    bool hasDevice() const;
    void noteProgress(qint64 pts);
    void endFile();
    bool beginFile(qint64 pts);
    bool isIntervalOver() const;
    bool awaitRoom() const;
    bool isCodecChanged();
    QString ptsToString(const qint64 &pts) const;
    void renameSaveFile();
    void saveSdpToLocal();
    QString openedName() const;

    QSharedPointer<HNetDevice> dev;
    unsigned int channel = 0;
    VodSdp sdp; ///< what the current file was opened for
};
