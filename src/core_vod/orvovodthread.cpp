// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_vod/orvovodthread.h"

#include "core_video/devicesteps_p.h"
#include "core_videobase/threadframebuffer_p.h"
#include "core_vod/recordedtime_p.h"
#include "core_vod/vodsnapnames_p.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"
#include "processend_p.h"

#include <QDateTime>

#include <limits>

namespace {

constexpr char kLogTag[] = "(orvodthr)";
constexpr int kPauseStepMs = 50;
constexpr int kRestMs = 10;              ///< behind a read that was given no time to wait
constexpr int kTimeoutsUntilRaised = 5;  ///< in a row
constexpr int kReadErrorsSurvived = 3;   ///< in a row
constexpr qint64 kPositionStepMs = 1000; ///< of the recording; the position is told beyond it

} // namespace

OrvoVodThread::OrvoVodThread(QObject *parent) : PvProtoVideoThread(parent)
{
    setObjectName(QStringLiteral("OrvoVodThread"));
}

OrvoVodThread::~OrvoVodThread()
{
    endRun();
}

void OrvoVodThread::setVodStartPara(const VodStartPara &para)
{
    vodStartPara = para;
}

// --- Control, on the thread of the widget -------------------------------------------------------

void OrvoVodThread::pause()
{
    if (!isRunning())
        return;
    PvProtoVideoThread::pause(); // first, and for good: the device may fail to
    const auto dev = boundDevice();
    if (!dev)
        return;
    const HRetError result = dev->vodPause(static_cast<unsigned int>(channel));
    if (result != HRetOk)
        VANTRA_LOG(Logger::Error) << "vod pause err " << static_cast<int>(result);
}

void OrvoVodThread::next()
{
    if (!isRunning())
        return;
    PvProtoVideoThread::next();
    const auto dev = boundDevice();
    if (!dev)
        return;
    const HRetError result = dev->vodResume(static_cast<unsigned int>(channel));
    if (result != HRetOk)
        VANTRA_LOG(Logger::Error) << "vod resume err " << static_cast<int>(result);
}

void OrvoVodThread::seekFile(const QDateTime &time)
{
    // Position and decoders are left alone: the next frames bring the new time.
    const auto dev = boundDevice();
    if (!dev)
        return;
    const HRetError result = dev->vodSeek(static_cast<unsigned int>(channel), time);
    if (result != HRetOk)
        VANTRA_LOG(Logger::Error) << "vod seek err " << static_cast<int>(result);
}

void OrvoVodThread::setSpeed(double speed)
{
    const auto dev = boundDevice();
    if (!dev)
        return;
    const HRetError result =
        dev->vodSetSpeed(static_cast<unsigned int>(channel), wholeSpeed(speed));
    if (result != HRetOk)
        VANTRA_LOG(Logger::Error) << "vod set speed err " << static_cast<int>(result);
}

// --- Open, read and close -----------------------------------------------------------------------

bool OrvoVodThread::checkConnect()
{
    const auto dev = devicesteps::deviceOrError(*this, kLogTag);
    if (!dev)
        return false;
    const HChannelStatus status = devicesteps::waitUntilConnected(
        connectTimeout, stopped, [&] { return dev->getConnectStatus(); });
    if (status == HChannelConnected)
        return true;
    VANTRA_LOG(Logger::Info) << QStringLiteral("%1 connect status %2")
                                    .arg(dev->getIPAddr(),
                                         QString::number(static_cast<short>(status)));
    return false;
}

bool OrvoVodThread::initInput()
{
    // While the link is down there is nothing to ask for: the first reads will tell.
    const auto dev = boundDevice();
    if (!dev || dev->getConnectStatus() != HChannelConnected)
        return true;
    const HRetError result = dev->vodStart(static_cast<unsigned int>(channel), vodStartPara);
    if (result == HRetOk || result == HRetAlready)
        return true;
    VANTRA_LOG(Logger::Warning) << "vod start err " << static_cast<int>(result);
    // exceedCount is for live streams, which try again; here it stays, as intended.
    if (result == HRetExceedMax)
        emit sig_connExceedMax();
    else
        emit sig_otherError();
    return false;
}

void OrvoVodThread::closeVideo()
{
    const auto dev = boundDevice();
    if (dev && dev->getConnectStatus() == HChannelConnected)
        dev->vodStop(static_cast<unsigned int>(channel));
    PvProtoVideoThread::closeVideo();
}

int OrvoVodThread::readFrame(HFrameHeader *frame, int timeoutMs)
{
    const auto dev = devicesteps::deviceOrError(*this, kLogTag);
    if (!dev)
        return DeviceReadError;
    const HRetError answer =
        dev->vodReadFrame(static_cast<unsigned int>(channel), frame, timeoutMs);
    const DeviceReadResult result = recordedReadResult(answer);
    if (result == DeviceReadTimeout && timeoutCount >= devicesteps::kSilentTimeouts)
        devicesteps::tellTimeout(*dev, stream, getReadTimeout(), kLogTag);
    else if (result == DeviceReadError)
        VANTRA_LOG(Logger::Error) << "vod read frame err " << static_cast<int>(answer);
    return result;
}

// --- The loop -----------------------------------------------------------------------------------

void OrvoVodThread::run()
{
    const processend::Worker worker([this] { AbstractVideoThread::stop(); });
    FrameBuffer frame = makeFrameBuffer();
    int failCount = 0;
    bool atEnd = !frame;
    while (!stopped && !atEnd) {
        if (getIsPause()) {
            msleep(kPauseStepMs);
            continue;
        }
        if (!isOk && !reopen())
            break; // one attempt, as intended: who wants another starts another play
        const int result = readFrame(frame.get(), readTimeout);
        switch (result) {
        case DeviceReadFrame:
            failCount = 0;
            handleFrame(frame.get());
            break;
        case DeviceReadTimeout:
            handleTimeout();
            break;
        case DeviceReadEnd:
            VANTRA_LOG(Logger::Info) << "end of file " << result;
            atEnd = true;
            break;
        default:
            VANTRA_LOG(Logger::Error) << "read frame err " << result;
            atEnd = ++failCount > kReadErrorsSurvived;
            break;
        }
    }
    closeVideo();
    frame.reset();
    // Of this run, also of one that never came to open: the next may be started without play().
    stopped = false;
    stopAsked = false;
    VANTRA_LOG(Logger::Debug) << "exit vod thread";
}

bool OrvoVodThread::reopen()
{
    closeVideo();
    if (stopAsked)
        return false;  // the close has cleared a stop that came since the last look at it
    playedOnce = true; // so that the end of a play that does not come to open is told as well
    return openVideo();
}

void OrvoVodThread::handleFrame(HFrameHeader *frame)
{
    readTimedOut = false;
    timeoutCount = 0;
    if (previewCount < 1) {
        keyFrameSeen = false;
        return;
    }
    if (!keyFrameSeen)
        keyFrameSeen = frame->isKeyFrame();
    if (!keyFrameSeen)
        return;
    if (frame->isVideo()) {
        lastPts = frame->pts;
        decodeVideo(frame);
        if (isLaterBy(lastPts, getPosition(), kPositionStepMs))
            setPosition(lastPts);
    } else if (frame->isAudio()) {
        decodeAudio(frame);
    }
}

void OrvoVodThread::handleTimeout()
{
    if (timeoutCount < std::numeric_limits<int>::max())
        ++timeoutCount;
    if (timeoutCount >= kTimeoutsUntilRaised)
        readTimedOut = true;
    if (readTimeout <= 0) // or a quiet recording would take a whole core
        msleep(kRestMs);
}

// --- Snapshots ----------------------------------------------------------------------------------

void OrvoVodThread::decodeImage()
{
    const QImage image = rgbImage();
    if (image.isNull())
        return; // asked for while the picture was being decoded; the next one has it
    if (isSnap) {
        const QString asked = getSnapName();
        if (!asked.isEmpty())
            setSnapName(vodSnapLastName(asked, lastPts, channel));
        saveSnap(image);
    }
    if (videoMode == VideoMode_Painter)
        emit receiveImage(image, 0);
}
