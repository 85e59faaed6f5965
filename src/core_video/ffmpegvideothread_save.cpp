// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// FFmpegVideoThread: what is read, on its way to the recordings.
#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_video/ffmpegvideothread.h"
#include "core_video/ffmpegvideothread_p.h"
#include "core_video/keypicture_p.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "log.h"

namespace {

constexpr char kLogTag[] = "(ffvdthr)";
constexpr int kWriterTimeoutMs = 500;
constexpr int kEncMode = 1; ///< of every record that is built
constexpr int kBitsPerByte = 8;

} // namespace

void FFmpegVideoThread::saveMP4(AVPacket *packet, bool isKeyVideo)
{
    bool isFirst[RECORD_TYPE_MAX] = {}; // picture of a file
    AVPacketPtr completed;              // what that is, where it lacks what a player needs
    if (isKeyVideo && packet->pts != AV_NOPTS_VALUE) {
        for (const RecordType type : {MANUAL_RECORD, AUTO_RECORD})
            isFirst[type] = isRecording(type) && rotateMP4(type);
        if ((isFirst[MANUAL_RECORD] || isFirst[AUTO_RECORD]) && videoStream())
            completed = withParameterSets(packet, videoStream()->codecpar);
    }
    const bool isVideo = packet->stream_index == videoIndex;
    for (const RecordType type : {MANUAL_RECORD, AUTO_RECORD}) {
        if (!saver.at(type)->isRunning())
            continue;
        // Without sound a recording is ended at a picture only: that is intended.
        if (!isVideo && !saveAudio.at(type))
            continue;
        saver.at(type)->writeData(isFirst[type] && completed ? completed.get() : packet, isVideo);
        if (!isRecording(type))
            closeMP4(type);
    }
}

/// The stream that videoIndex names; null if there is none.
const AVStream *FFmpegVideoThread::videoStream() const
{
    const AVFormatContext *input = session ? session->formatCtx.get() : nullptr;
    const bool exists =
        input && videoIndex >= 0 && static_cast<unsigned>(videoIndex) < input->nb_streams;
    return exists ? input->streams[videoIndex] : nullptr;
}

/// At a key picture: ends a file whose time is over, and opens the next where none is open. Whether
/// a file has begun.
bool FFmpegVideoThread::rotateMP4(RecordType type)
{
    SaveMp4FFmpeg *writer = saver.at(type);
    if (writer->isRunning() && isFileExpired(type))
        closeMP4(type);
    if (writer->isRunning())
        return false;

    if (!curVideoPara.isValid())
        curVideoPara = builtVideoPara();
    if (!curAudioPara.isValid())
        curAudioPara = builtAudioPara();
    writer->setPara(curVideoPara, saveAudio.at(type) ? curAudioPara : HAudioEncPara(),
                    kWriterTimeoutMs);

    const AVFormatContext *input = session ? session->formatCtx.get() : nullptr;
    const int streams = input ? static_cast<int>(input->nb_streams) : 0;
    if (videoIndex < 0 || videoIndex > streams) {
        VANTRA_LOG(Logger::Warning)
            << QStringLiteral("invalid param (%1:%2)").arg(videoIndex).arg(streams);
    }
    if (const AVStream *stream = videoStream())
        writer->setTimebase(stream->time_base);
    setMP4FileName(type);
    openMP4(type);
    return writer->isRunning();
}

/// At the end of a session: ends all files that are open.
void FFmpegVideoThread::endFiles()
{
    for (const RecordType type : {MANUAL_RECORD, AUTO_RECORD})
        closeMP4(type);
}

HVideoEncPara FFmpegVideoThread::builtVideoPara() const
{
    HVideoEncPara para;
    if (videoCodecId == AV_CODEC_ID_H264)
        para.codecId = HCodecH264;
    else if (videoCodecId == AV_CODEC_ID_HEVC)
        para.codecId = HCodecH265;
    para.width = videoWidth;
    para.height = videoHeight;
    para.frameRate = frameRate;
    para.mode = kEncMode;
    para.bitRate = FFmpegHelper::defaultBitRate(videoWidth, videoHeight);
    return para;
}

HAudioEncPara FFmpegVideoThread::builtAudioPara() const
{
    HAudioEncPara para;
    if (audioCodecId == AV_CODEC_ID_PCM_ALAW)
        para.codecId = HCodecG711A;
    else if (audioCodecId == AV_CODEC_ID_PCM_MULAW)
        para.codecId = HCodecG711U;
    else
        VANTRA_LOG(Logger::Warning) << "not support audio codec id " << audioCodecId;
    para.sampleRate = sampleRate;
    if (session && session->audioCtx) {
        const AVCodecContext *ctx = session->audioCtx.get();
        para.bitsPerSample = av_get_bytes_per_sample(ctx->sample_fmt) * kBitsPerByte;
        para.channels = ffcompat::channels(ctx);
    }
    return para;
}
