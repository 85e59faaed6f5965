// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/ffmpegvideothread.h"

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_video/ffmpegvideothread_p.h"
#include "log.h"
#include "processend_p.h"
#include "systemcompat_p.h"

extern "C" {
#include <libavutil/time.h>
}

namespace {

constexpr char kLogTag[] = "(ffvdthr)";
constexpr int kMaxReadErrors = 3;     ///< in a row; then the loop is left
constexpr int kErrorsThatRestart = 2; ///< in a row, when the loop is left
constexpr qint64 kDefaultOpenLimitUs = 3000000;
constexpr qint64 kDefaultReadLimitMs = 3000;

} // namespace

FFmpegVideoThread::FFmpegVideoThread(QObject *parent)
    : AbstractVideoThread(parent), videoCodecId(AV_CODEC_ID_H264),
      audioCodecId(AV_CODEC_ID_PCM_MULAW)
{
}

FFmpegVideoThread::~FFmpegVideoThread()
{
    endRun();
}

bool FFmpegVideoThread::parseVideoUrl()
{
    return true;
}

int FFmpegVideoThread::getLatestRecordCodec(HVideoEncPara &, HAudioEncPara &)
{
    return 0;
}

// --- Time-outs ----------------------------------------------------------------------------------

int avinterruptCallBackFun(void *context)
{
    auto *thread = static_cast<FFmpegVideoThread *>(context);
    // FFmpeg asks some twenty times for each picture. Within a read, once in each moment of a clock
    // that costs little will do.
    const bool isInRead = thread->isReadUnderWay && !thread->stopped && !thread->isOpening;
    const qint64 now = isInRead ? coarseTimeMs() : 0;
    if (isInRead && thread->notDueAt == now)
        return 0;
    thread->notDueAt = now;
    if (!thread->interruptIsDue())
        return 0;
    thread->isCutShort = true;
    thread->notDueAt = 0;
    return 1;
}

bool FFmpegVideoThread::interruptIsDue()
{
    if (stopped) {
        VANTRA_LOG(Logger::Warning) << "try to stop";
        return true;
    }
    if (isOpening) {
        const qint64 gone = av_gettime() - openStartTime;
        const qint64 limit =
            connectTimeout < 1 ? kDefaultOpenLimitUs : static_cast<qint64>(connectTimeout) * 1000;
        if (gone > limit) {
            readTimedOut = true;
            VANTRA_LOG(Logger::Warning)
                << QStringLiteral("open timeout (%1:%2)").arg(limit).arg(gone);
            return true;
        }
    } else if (isReading) {
        const qint64 gone = quietMs();
        const qint64 limit = readTimeout < 1 ? kDefaultReadLimitMs : readTimeout;
        if (gone > limit) {
            readTimedOut = true;
            VANTRA_LOG(Logger::Warning)
                << QStringLiteral("read timeout (%1:%2)").arg(limit).arg(gone);
            return true;
        }
    }
    return false;
}

// --- The loop -----------------------------------------------------------------------------------

void FFmpegVideoThread::run()
{
    const processend::Worker worker([this] { AbstractVideoThread::stop(); });
    restartPending = false;
    bool restart = false;
    while (!stopped) {
        if (!isOk) {
            openStartTime = av_gettime();
            // After a soft stop files may be open. The stamps of the next session begin anew: in
            // the same file they would be errors for as long as it has been.
            endFiles();
            closeVideo();
            if (stopAsked)
                stopped = true; // the close has cleared a stop that came since the last look at it
            openVideo();
            checkOpen();
            HVideoEncPara video;
            HAudioEncPara audio;
            if (getLatestRecordCodec(video, audio) == 0) {
                curVideoPara = video;
                curAudioPara = audio;
            }
        }
        if (isOk && session) {
            const Read result = readPacket();
            if (result != Read::GoOn) {
                restart = result == Read::Restart;
                break;
            }
        }
        if (stopped) {
            restart = false;
            break;
        }
    }

    if (errorCount >= kErrorsThatRestart && readTimeout >= 1)
        restart = true;
    endFiles();
    closeVideo();
    // The close may have cleared a stop that came while the loop was being left; it still counts.
    const bool asked = stopAsked.exchange(false);
    if (stopped || asked || !restart) {
        VANTRA_LOG(Logger::Info) << "teminate ff thr";
        return;
    }
    isOk = false;
    VANTRA_LOG(Logger::Info) << "restart ff thr";
    restartAfterRun();
}

FFmpegVideoThread::Read FFmpegVideoThread::readPacket()
{
    isReading = true;
    isCutShort = false;
    notDueAt = 0;
    isReadUnderWay = true;
    const int result = av_read_frame(session->formatCtx.get(), session->packet.get());
    isReadUnderWay = false;
    isReading = false;

    HVideoEncPara video;
    HAudioEncPara audio;
    getLatestRecordCodec(video, audio);
    if ((video.isValid() && video != curVideoPara) || (audio.isValid() && audio != curAudioPara))
        return Read::Restart;

    if (result < 0) {
        ++errorCount;
        VANTRA_LOG(Logger::Error) << QStringLiteral("read frame err(%1:%2)")
                                         .arg(QString::number(errorCount),
                                              FFmpegHelper::errorText(result));
        return errorCount >= kMaxReadErrors ? Read::Leave : Read::GoOn;
    }
    readTimedOut = false;
    errorCount = 0;
    updateTime();
    return handlePacket();
}

FFmpegVideoThread::Read FFmpegVideoThread::handlePacket()
{
    AVPacket *packet = session->packet.get();
    const bool isVideo = packet->stream_index == videoIndex;
    const bool isKeyVideo = isVideo && (packet->flags & AV_PKT_FLAG_KEY);
    if (previewCount < 1) {
        keyFrameSeen = false;
        renderStartPending = true;
    } else {
        // A viewer always begins at a key picture; until then there is no sound either.
        if (!keyFrameSeen)
            keyFrameSeen = isKeyVideo;
        if (keyFrameSeen && isVideo) {
            decodeVideo();
            if (!isOk)
                return Read::Restart;
        } else if (keyFrameSeen && packet->stream_index == audioIndex) {
            decodeAudio();
        }
    }
    // A read that is cut short gives what it has of the next picture, which no player could decode.
    if (!isCutShort)
        saveMP4(packet, isKeyVideo);
    av_packet_unref(packet);
    return Read::GoOn;
}

void FFmpegVideoThread::closeVideo()
{
    resetSession();
    keyFrameSeen = false;
    videoIndex = -1;
    audioIndex = -1;
    session.reset();
}
