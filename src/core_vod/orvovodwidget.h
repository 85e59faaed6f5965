// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/standardvideowidget.h"
#include "devicelink/vodrecords.h"

#include <QSharedPointer>

class HNetDevice;

/// Plays in a widget what a device has recorded of one channel; a device plays one recording per
/// channel at a time.
///
///     widget.init(device, channel);
///     widget.setVodStartPara(span);
///     widget.start(); // then pause(), resume(), seekFile(), setSpeed(), snap(), stop()
///
/// Reports. sig_receivePlayStart comes when the device has opened the recording,
/// sig_receivePlayFinsh at its end, after stop(), and where it could not be opened; the widget can
/// be started again from then on. A device that refuses is sig_connExceedMax where it takes no
/// further connection, otherwise sig_otherError. receivePosition tells where play is, in
/// milliseconds since 1970 in UTC; see OrvoVodThread.
///
/// Every start plays through a new thread object, a child of the widget, whose end nobody waits
/// for. At that end it stops the playback of its channel on the device, whoever plays it by then:
/// start again on the same channel once getIsRunning() is false, or the new play may be left with
/// time-outs. Controls act on the device from the GUI thread. Who deletes the widget while a thread
/// runs waits for the read under way, `readTimeout` of VideoPara at most.
class VANTRA_EXPORT OrvoVodWidget : public StandardVideoWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(OrvoVodWidget)

public:
    explicit OrvoVodWidget(QWidget *parent = nullptr); ///< not started

    /// What to play from, before the first start; may be repeated, and counts from the next start
    /// on. `channel` counts from 0. False, with an error in the log, without a device or with a
    /// negative channel: then nothing is changed. A start without a device ends at once.
    bool init(const QSharedPointer<HNetDevice> &dev, int channel);
    /// What to play, from the next start on. The meaning of the times is up to the device.
    void setVodStartPara(const VodStartPara &para);
    /// Whether reading has timed out five times in a row. True while nothing is played: that is
    /// intended, as nothing is read then.
    bool isReadStreamTimeout() const;

public slots:
    /// Saves the next picture as PATH/yyyy-MM-dd/vod/TIME_CHANNEL.jpg: the day is today, the time
    /// that of the recording, in UTC, as yyyyMMddTHHmmss. With `preview` snapImage tells when.
    /// Nothing while nothing is played.
    void snap(const QString &path = QString(), bool preview = false) override;

protected:
    bool createVideoThread() override;
    void releaseVideoThread() override;

private:
    int channel = 0;
    QSharedPointer<HNetDevice> dev;
    VodStartPara vodStartPara; ///< for the thread of the next start
};
