// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_vod/orvovoddlthread.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "core_vod/recordedtime_p.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

#include <QFile>

extern "C" {
#include <libavutil/rational.h>
}

namespace {

constexpr char kLogTag[] = "(orvdlthr)";
constexpr qint64 kReportStepMs = 1000; ///< of the recording; progress is told beyond it
constexpr qint64 kMsPerDay = 24 * 60 * 60 * 1000;
constexpr int kWriterTimeoutMs = 500; ///< after which the writer says that it waits
constexpr int kRoomPollMs = 1;
constexpr AVRational kDeviceTimebase = {1, 1000};

/// Of a stamp, in UTC.
QTime timeOfDay(qint64 pts)
{
    return QTime::fromMSecsSinceStartOfDay(int((pts % kMsPerDay + kMsPerDay) % kMsPerDay));
}

/// Date and time are written one by one, since some local times do not exist.
QString nameOf(const QDate &date, const QTime &time)
{
    if (!date.isValid())
        return QString();
    return date.toString(QStringLiteral("yyyyMMdd")) + time.toString(QStringLiteral("'T'HHmmss"));
}

} // namespace

OrvoVodDLThread::OrvoVodDLThread(QObject *parent) : AbstractVideoDLThread(parent) {}

OrvoVodDLThread::~OrvoVodDLThread()
{
    stopDL();
}

bool OrvoVodDLThread::bindDevice(const QSharedPointer<HNetDevice> &dev, unsigned int channel)
{
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return false;
    }
    this->dev = dev;
    this->channel = channel;
    return true;
}

bool OrvoVodDLThread::hasDevice() const
{
    if (!dev)
        VANTRA_LOG(Logger::Error) << "dev is null";
    return bool(dev);
}

// --- The download -------------------------------------------------------------------------------

void OrvoVodDLThread::initOption()
{
    sdp = VodSdp();
    sdp.audio.channels = 0;
    AbstractVideoDLThread::initOption();
}

void OrvoVodDLThread::makeSaveSubDir()
{
    const QString today = QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"));
    saveDir = QStringLiteral("%1/%2/vod").arg(savePath, today);
    AbstractVideoDLThread::makeSaveSubDir();
}

bool OrvoVodDLThread::beforeDownload()
{
    if (!hasDevice()) {
        emit sig_downloadError();
        return false;
    }
    const VodDownloadPara para{beginTime, endTime};
    const HRetError result = dev->vodDownloadStart(channel, para);
    if (result == HRetOk)
        return true;
    VANTRA_LOG(Logger::Error) << "vod dl start err " << static_cast<int>(result);
    if (result == HRetExceedMax)
        emit sig_downloadErrConnExceedMax();
    else
        emit sig_downloadError();
    return false;
}

void OrvoVodDLThread::afterDownload()
{
    if (hasDevice())
        dev->vodDownloadStop(channel);
    if (saver->isRunning())
        endFile();
}

int OrvoVodDLThread::readFrame(HFrameHeader *frame, int timeoutMs)
{
    if (!hasDevice())
        return DeviceReadError;
    const DeviceReadResult result =
        recordedReadResult(dev->vodReadDLFrame(channel, frame, timeoutMs));
    if (result == DeviceReadTimeout && timeoutCount + 1 >= kMaxTimeouts) {
        VANTRA_LOG(Logger::Info) << QStringLiteral("read [%1] frame timeout(%2 ms) ")
                                        .arg(dev->getIPAddr(), QString::number(readTimeout));
    }
    return result;
}

int OrvoVodDLThread::handleSaveMP4(HFrameHeader *frame)
{
    if (frame->isVideo())
        noteProgress(frame->pts);
    timeoutCount = 0;
    if (frame->isKeyFrame()) {
        // The device is asked at each key picture: nothing else tells of a change.
        if (saver->isRunning() && (isCodecChanged() || isIntervalOver()))
            endFile();
        if (storeFailed || (!saver->isRunning() && !beginFile(frame->pts)))
            return -1;
    }
    if (saver->isRunning() && saver->isFileLost())
        return -1;
    if (!saver->isRunning() || (frame->isAudio() && !saveAudio))
        return 0;
    if (awaitRoom())
        saver->writeData(frame);
    return 0;
}

void OrvoVodDLThread::noteProgress(qint64 pts)
{
    if (isLaterBy(pts, lastReportPts, kReportStepMs)) {
        lastReportPts = pts;
        if (saver->isRunning())
            emit sig_downloadPts(pts);
    }
    curPts = pts;
}

/// A recording that is read faster than it is written would fill the writer's queue, and what comes
/// then is dropped. False when the download is to end meanwhile.
bool OrvoVodDLThread::awaitRoom() const
{
    while (saver->isQueueFull()) {
        if (isStop || !saver->isRunning())
            return false;
        msleep(kRoomPollMs);
    }
    return true;
}

// --- Files --------------------------------------------------------------------------------------

bool OrvoVodDLThread::isIntervalOver() const
{
    return saveInterval >= 1 && isLaterBy(curPts, fileStartPts, qint64(saveInterval) * 1000);
}

void OrvoVodDLThread::endFile()
{
    saver->stop();
    renameSaveFile();
    storeFailed |= saver->isFileLost(); // its end may be what there was no room for
}

bool OrvoVodDLThread::beginFile(qint64 pts)
{
    saveSdpToLocal();
    if (!sdp.hasVideo || !sdp.video.isValid())
        return false;
    fileStartPts = pts;
    if (!saveAudio || !sdp.hasAudio) {
        sdp.audio = HAudioEncPara();
        sdp.audio.channels = 0;
    }
    saver->setPara(sdp.video, sdp.audio, kWriterTimeoutMs);
    saver->setTimebase(kDeviceTimebase);
    saver->open(openedName());
    // What fails otherwise is tried again at the next key picture.
    return saver->isRunning() || !saver->isDiskFull();
}

bool OrvoVodDLThread::isCodecChanged()
{
    VodSdp fresh;
    if (!hasDevice())
        return true;
    if (dev->vodGetDownloadSdp(channel, fresh) != HRetOk) {
        VANTRA_LOG(Logger::Error) << "vod get dl sdp err";
        return true;
    }
    bool changed = fresh.sdpMark != sdp.sdpMark;
    if (!changed && fresh.video.isValid())
        changed = fresh.video != sdp.video;
    if (!changed && saveAudio && fresh.audio.isValid())
        changed = fresh.audio != sdp.audio;
    return changed;
}

void OrvoVodDLThread::saveSdpToLocal()
{
    VodSdp fresh;
    if (hasDevice() && dev->vodGetDownloadSdp(channel, fresh) == HRetOk)
        sdp = fresh;
}

/// The date of names comes from the request and not from the frame. That is intended.
QString OrvoVodDLThread::ptsToString(const qint64 &pts) const
{
    return nameOf(beginTime.date(), timeOfDay(pts));
}

QString OrvoVodDLThread::openedName() const
{
    return QStringLiteral("%1/%2.mp4").arg(saveDir, ptsToString(fileStartPts));
}

void OrvoVodDLThread::renameSaveFile()
{
    // Over midnight the beginning would lie after the end, as both get the same date: such a file
    // is named as if it began at midnight. That is intended.
    const QTime begin = timeOfDay(fileStartPts);
    const bool overMidnight = begin > timeOfDay(curPts);
    const QString beginText = nameOf(beginTime.date(), overMidnight ? QTime(0, 0) : begin);
    const QString newName =
        QStringLiteral("%1/%2_%3_%4.mp4")
            .arg(saveDir, beginText, ptsToString(curPts), QString::number(channel));
    const QString oldName = openedName();
    if (QFile::exists(newName))
        QFile::remove(newName);
    if (QFile::exists(oldName))
        QFile::rename(oldName, newName);
}
