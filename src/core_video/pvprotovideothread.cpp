// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/pvprotovideothread.h"

#include "core_codec/mediacodec.h"
#include "core_videobase/threadframebuffer_p.h"
#include "devicelink/devicerules.h"
#include "log.h"
#include "processend_p.h"

#include <limits>

namespace {

constexpr char kLogTag[] = "(pvptvthr)";
constexpr int kPauseStepMs = 50;
constexpr int kRestMs = 10;             ///< behind a read that was given no time to wait
constexpr int kReadsPerTimeout = 5;     ///< a read may last this part of readTimeout
constexpr int kTimeoutsUntilRaised = 5; ///< in a row
constexpr int kReadErrorsSurvived = 3;  ///< in a row

} // namespace

PvProtoVideoThread::PvProtoVideoThread(QObject *parent) : AbstractVideoThread(parent) {}

PvProtoVideoThread::~PvProtoVideoThread()
{
    endRun();
}

void PvProtoVideoThread::setReadTimeout(int readTimeout)
{
    AbstractVideoThread::setReadTimeout(readTimeout);
}

void PvProtoVideoThread::pause()
{
    AbstractVideoThread::pause();
}

void PvProtoVideoThread::next()
{
    AbstractVideoThread::next();
}

// --- Hooks --------------------------------------------------------------------------------------

bool PvProtoVideoThread::initInput()
{
    return true;
}

bool PvProtoVideoThread::checkConnect()
{
    return true;
}

void PvProtoVideoThread::handlePreviewClose() {}

void PvProtoVideoThread::beforeSaveMP4(HFrameHeader *) {}

int PvProtoVideoThread::getLatestRecordCodec(HVideoEncPara &, HAudioEncPara &)
{
    return -1;
}

// --- Open and close -----------------------------------------------------------------------------

bool PvProtoVideoThread::openVideo()
{
    if (!checkConnect())
        return false;
    initOption();
    if (!initInput())
        return false;
    initOther();
    isOk = true;
    emit receivePlayStart(0);
    return isOk;
}

void PvProtoVideoThread::initOption()
{
    if (codec) { // which frees nothing by itself
        codec->destroyVideoDecoder();
        codec->destroyAudioDecoder();
        codec->destroyAudioEncoder();
    }
    codec = std::make_unique<MediaCodec>();
}

void PvProtoVideoThread::initOther()
{
    videoParam = {};
    audioParam = {};
    yuvOut = {};
    pcmOut = {};
    rgbOut = {};
    lastVideoHeader = {};
    lastAudioHeader = {};
    curVideoPara = {};
    curAudioPara = {};
}

void PvProtoVideoThread::closeVideo()
{
    destroyDecoders();
    if (codec)
        codec->destroyAudioEncoder();
    if (playedOnce) {
        recordDate = QDate();
        resetSession();
    }
    keyFrameSeen = false;
}

void PvProtoVideoThread::destroyDecoders()
{
    if (!codec)
        return;
    if (!codec->isVideoDecoderNull()) {
        emit sig_decoderDestroyed();
        codec->destroyVideoDecoder();
    }
    codec->destroyAudioDecoder();
}

// --- The loop -----------------------------------------------------------------------------------

void PvProtoVideoThread::run()
{
    const processend::Worker worker([this] { AbstractVideoThread::stop(); });
    FrameBuffer frame = makeFrameBuffer();
    openFailCount = 0;
    int failCount = 0;
    bool atEnd = !frame;
    while (!stopped && !atEnd) {
        if (isPause) {
            msleep(kPauseStepMs);
            continue;
        }
        if (!isOk) {
            reopen();
            continue;
        }
        const int timeoutMs = readTimeout / kReadsPerTimeout;
        const int result = readFrame(frame.get(), timeoutMs);
        switch (result) {
        case DeviceReadFrame:
            failCount = 0;
            handleFrame(frame.get());
            break;
        case DeviceReadTimeout:
            handleTimeout();
            if (timeoutMs <= 0) // or a quiet stream would take a whole core
                msleep(kRestMs);
            break;
        case DeviceReadEnd:
            VANTRA_LOG(Logger::Info) << "end of file " << result;
            atEnd = true;
            break;
        default:
            VANTRA_LOG(Logger::Error) << "read frame error";
            atEnd = ++failCount > kReadErrorsSurvived;
            break;
        }
    }
    closeAllMP4();
    closeVideo();
    frame.reset();
    // Of this run, also of one that never came to open: the next may be started without play().
    stopped = false;
    stopAsked = false;
    VANTRA_LOG(Logger::Debug) << "exit thread";
}

void PvProtoVideoThread::reopen()
{
    closeVideo();
    if (stopAsked) {
        stopped = true; // the close has cleared a stop that came since the last look at it
        return;
    }
    openVideo();
    checkOpen();
    if (isOk)
        openFailCount = 0;
    else
        ++openFailCount;
}

void PvProtoVideoThread::handleFrame(HFrameHeader *frame)
{
    readTimedOut = false;
    timeoutCount = 0;
    if (previewCount < 1) {
        keyFrameSeen = false;
        renderStartPending = true;
        handlePreviewClose();
    } else {
        // A viewer always begins at a key picture; until then there is no sound either.
        if (!keyFrameSeen)
            keyFrameSeen = frame->isKeyFrame();
        if (keyFrameSeen && frame->isVideo())
            decodeVideo(frame);
        else if (keyFrameSeen && frame->isAudio())
            decodeAudio(frame);
    }
    beforeSaveMP4(frame);
    saveMP4(frame);
}

void PvProtoVideoThread::handleTimeout()
{
    if (timeoutCount < std::numeric_limits<int>::max())
        ++timeoutCount;
    if (timeoutCount >= kTimeoutsUntilRaised)
        readTimedOut = true;
    initInput();
}
