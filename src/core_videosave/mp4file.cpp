// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Creating and closing the file; mp4file_write.cpp writes into it.
#include "core_videosave/mp4file_p.h"

#include "aac_transcoder/easyaacencoder.h"
#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegerror_p.h"
#include "log.h"

#include <QFile>

namespace {

constexpr char kLogTag[] = "(svmp4ff)";

/// Fragments begin at key pictures, and the header waits for the first one, which tells it what the
/// streams hold.
constexpr char kMovFlags[] = "frag_keyframe+delay_moov";
constexpr char kHoldingFormat[] = "mp4"; ///< others do not know these flags, or have their own
constexpr int kAudioFrameSize = 320;
constexpr int kPcmBits = 16; ///< between decoder and encoder of the transcoder
constexpr int kSamplesPerAacFrame = 1024;

quint8 transcoderCodec(int codecId)
{
    switch (codecId) {
    case HCodecG711A:
        return G7CodecALaw;
    case HCodecG711U:
        return G7CodecMuLaw;
    default:
        return 2; // PCM, which the transcoder takes for A-law: this is intended
    }
}

} // namespace

AVCodecID getCodecId(int codecId)
{
    switch (codecId) {
    case HCodecH264:
        return AV_CODEC_ID_H264;
    case HCodecH265:
        return AV_CODEC_ID_HEVC;
    case HCodecG711A:
        return AV_CODEC_ID_PCM_ALAW;
    case HCodecG711U:
        return AV_CODEC_ID_PCM_MULAW;
    case HCodecPcm:
        return AV_CODEC_ID_PCM_S16LE;
    default:
        return AV_CODEC_ID_NONE;
    }
}

void Mp4File::EncoderDeleter::operator()(void *encoder) const
{
    Easy_AACEncoder_Release(encoder);
}

Mp4File::Mp4File() : aacBuffer(G7ToAacOutputRoom) {}
Mp4File::~Mp4File() = default;

int Mp4File::createMp4(const QByteArray &fileName, const HVideoEncPara &video,
                       const HAudioEncPara &audio)
{
    fail(); // what an attempt without a recording has left open
    noRoom = false;
    lost = false;
    AVFormatContext *ctx = nullptr;
    avformat_alloc_output_context2(&ctx, nullptr, nullptr, fileName.constData());
    if (!ctx) {
        VANTRA_LOG(Logger::Warning)
            << "Could not deduce output format from file extension: using MPEG.";
        avformat_alloc_output_context2(&ctx, nullptr, "mpeg", fileName.constData());
    }
    if (!ctx) {
        VANTRA_LOG(Logger::Error) << "alloc output ctx null";
        return -1;
    }
    fmtCtx.reset(ctx);
    if (addStreams(video, audio) != 0 || openFile(fileName) != 0)
        return fail();
    // The clocks of devices count from 1970. Left to itself the muxer would put as many years of
    // nothing in front of the first picture, which not every player leaves out.
    ctx->avoid_negative_ts = AVFMT_AVOID_NEG_TS_MAKE_ZERO;

    AVDictionaryOwner options;
    options.set("movflags", kMovFlags);
    const int result = avformat_write_header(fmtCtx.get(), options.address());
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("write header err (%1:%2)")
                                         .arg(QString::number(result), ffmpegErrorText(result));
        return fail();
    }
    headerWritten = true;
    holdsFragments = qstrcmp(ctx->oformat->name, kHoldingFormat) == 0;
    return 0;
}

int Mp4File::addStreams(const HVideoEncPara &video, const HAudioEncPara &audio)
{
    if (video.isValid()) {
        const AVStream *stream = addStream(getCodecId(video.codecId));
        if (!stream) {
            VANTRA_LOG(Logger::Error) << "add video stream fail";
            return -1;
        }
        describe(stream->codecpar, video);
        videoIndex = stream->index;
    }
    if (audio.isValid()) {
        const AVBitStreamFilter *filter = av_bsf_get_by_name("aac_adtstoasc");
        AVBSFContext *bsf = nullptr;
        const int result = filter ? av_bsf_alloc(filter, &bsf) : AVERROR_BSF_NOT_FOUND;
        if (result < 0) {
            VANTRA_LOG(Logger::Error) << "bsf alloc audio err " << result;
            return -1;
        }
        bsfCtx.reset(bsf);
        // Without the parameters of a stream this fails, and the filter works all the same.
        av_bsf_init(bsfCtx.get());
        const AVStream *stream = addStream(AV_CODEC_ID_AAC);
        if (!stream) {
            VANTRA_LOG(Logger::Error) << "add audio stream fail";
            return -1;
        }
        describe(stream->codecpar, audio);
        audioIndex = stream->index;
    }
    return 0;
}

AVStream *Mp4File::addStream(AVCodecID id)
{
    // The decoder on purpose: all that is asked of it is what kind of codec this is.
    const AVCodec *decoder = avcodec_find_decoder(id);
    if (!decoder) {
        VANTRA_LOG(Logger::Error)
            << QStringLiteral("find decoder %1 null").arg(QLatin1String(avcodec_get_name(id)));
        return nullptr;
    }
    AVStream *stream = avformat_new_stream(fmtCtx.get(), decoder);
    if (!stream) {
        VANTRA_LOG(Logger::Error) << "new stream null";
        return nullptr;
    }
    stream->id = stream->index;
    stream->codecpar->codec_id = id;
    stream->codecpar->codec_type = decoder->type;
    stream->codecpar->codec_tag = 0;
    return stream;
}

void Mp4File::describe(AVCodecParameters *parameters, const HVideoEncPara &video)
{
    parameters->width = video.width;
    parameters->height = video.height;
}

void Mp4File::describe(AVCodecParameters *parameters, const HAudioEncPara &audio)
{
    // Of the device's sound, not of the AAC that is made of it: this is intended.
    parameters->sample_rate = audio.sampleRate;
    ffcompat::setStereo(parameters, audio.channels);
    // Unsigned, since a device may say anything.
    parameters->bit_rate = static_cast<qint64>(quint64(audio.bitsPerSample) *
                                               quint64(audio.channels) * quint64(audio.sampleRate));
    parameters->frame_size = kAudioFrameSize;
}

int Mp4File::openFile(const QByteArray &fileName)
{
    if (fmtCtx->oformat->flags & AVFMT_NOFILE)
        return 0;
    AVIOContext *opened = nullptr;
    const int result = avio_open(&opened, fileName.constData(), AVIO_FLAG_WRITE);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("avio open %1 err %2")
                                         .arg(QString::fromUtf8(fileName), QString::number(result));
        noRoom = meansNoRoom(result);
        return -1;
    }
    pb.reset(opened);
    place = QString::fromUtf8(fileName);
    if (!QFile::exists(place))
        place.clear(); // the name means something else to FFmpeg
    fmtCtx->pb = opened;
    fmtCtx->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    return 0;
}

bool Mp4File::createEncoder(const HAudioEncPara &audio)
{
    soundPara = audio;
    // Of PCM, taken for A-law, each sample becomes two.
    frameSamples = kSamplesPerAacFrame / (audio.codecId == HCodecPcm ? kPcmBits / 8 : 1);
    aacEncoder = newEncoder();
    if (!aacEncoder)
        VANTRA_LOG(Logger::Error) << "creat easy aac null";
    return bool(aacEncoder);
}

std::unique_ptr<void, Mp4File::EncoderDeleter> Mp4File::newEncoder() const
{
    G7ToAacInitParam param{};
    param.audioCodec = transcoderCodec(soundPara.codecId);
    param.channels = static_cast<quint8>(soundPara.channels);
    param.sampleRate = static_cast<quint32>(soundPara.sampleRate);
    param.bitsPerSample = kPcmBits;
    return std::unique_ptr<void, EncoderDeleter>(Easy_AACEncoder_Init(param));
}

void Mp4File::closeMp4()
{
    if (fmtCtx && headerWritten) {
        endSound();
        const int result = av_write_trailer(fmtCtx.get());
        if (result < 0) {
            VANTRA_LOG(Logger::Error) << QStringLiteral("write trailer err (%1:%2)")
                                             .arg(QString::number(result), ffmpegErrorText(result));
        }
    }
    noRoom = isDiskFull();
    lookForFile();
    lost = isLost();
    closeFile();
    aacEncoder.reset();
}

/// Somebody may have removed it, or the disk. The system does not tell: it takes all that is
/// written, and throws it away in the end.
void Mp4File::lookForFile()
{
    lost = lost || (!place.isEmpty() && !QFile::exists(place));
}

int Mp4File::fail()
{
    noRoom = isDiskFull();
    lost = isLost();
    pb.reset();
    closeFile();
    aacEncoder.reset();
    return -1;
}

void Mp4File::closeFile()
{
    const int result = pb ? avio_close(pb.release()) : 0;
    noRoom |= meansNoRoom(result);
    lost |= result < 0;
    place.clear();
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("avio close err (%1:%2)")
                                         .arg(QString::number(result), ffmpegErrorText(result));
    }
    if (fmtCtx)
        fmtCtx->pb = nullptr;
    fmtCtx.reset();
    bsfCtx.reset();
    videoIndex = -1;
    audioIndex = -1;
    headerWritten = false;
    awaitsParameterSets = true;
    holdsFragments = false;
    lastPicture.reset();
    aacWritten = 0;
    firstPicture.reset();
    timeline = FileTimeline();
    held = Held();
}

Mp4Stream Mp4File::streamAt(int index) const
{
    if (!fmtCtx || index < 0 || static_cast<unsigned>(index) >= fmtCtx->nb_streams)
        return {};
    const AVStream *stream = fmtCtx->streams[index];
    return {index, stream->time_base, stream->codecpar->codec_id};
}
