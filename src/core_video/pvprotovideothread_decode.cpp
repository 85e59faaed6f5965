// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// PvProtoVideoThread: how a frame becomes a picture or sound, and how that leaves the thread.
#include "core_codec/mediacodec.h"
#include "core_video/pvprotovideothread.h"
#include "core_videobase/snapfile_p.h"
#include "devicelink/devicerules.h"
#include "log.h"
#include "systemcompat_p.h"

#include <QImage>

#include <libyuv.h>

#include <cstring>

namespace {

constexpr char kLogTag[] = "(pvptvthr)";
/// What a renderer on a thread of its own gets to let go of the decoder's memory, and an audio
/// output of its sound.
constexpr int kLetGoMs = 100;
constexpr char kSoftware[] = "none";
constexpr char kSurfaces[] = "dxva2";   ///< decoder that gives Direct3D 9 surfaces
constexpr char kTextures[] = "d3d11va"; ///< decoder that gives Direct3D 11 textures

const char *codecName(int codec)
{
    return codec == HCodecH265 ? "H265" : "H264";
}

} // namespace

// --- Decoders -----------------------------------------------------------------------------------

/// The wanted decoder, as the parameters of one can hold it.
QByteArray PvProtoVideoThread::hardwareName() const
{
    return getHardware().toUtf8().left(int(sizeof(videoParam.hw_device)));
}

bool PvProtoVideoThread::needsVideoDecoder(const HFrameHeader &frame) const
{
    const char *made = videoParam.hw_device;
    const auto length = int(qstrnlen(made, sizeof(videoParam.hw_device)));
    return frame.codecId != lastVideoHeader.codecId ||
           frame.widthOrSampleRate != lastVideoHeader.widthOrSampleRate ||
           frame.heightOrBits != lastVideoHeader.heightOrBits ||
           hardwareName() != QByteArray::fromRawData(made, length) || codec->isVideoDecoderNull();
}

void PvProtoVideoThread::makeVideoDecoder(const HFrameHeader &frame)
{
    if (!codec->isVideoDecoderNull()) {
        emit sig_decoderDestroyed();
        msleep(kLetGoMs);
        codec->destroyVideoDecoder();
    }
    videoParam = {};
    videoParam.codec = codecOfVideoFrame(frame.codecId);
    if (videoParam.codec == 0)
        VANTRA_LOG(Logger::Warning) << "unsupported video codec id " << frame.codecId;
    videoParam.width = frame.widthOrSampleRate;
    videoParam.height = frame.heightOrBits;
    announceRender();
    // Only now: a receiver may have chosen another decoder just before.
    const QByteArray device = hardwareName();
    memcpy(videoParam.hw_device, device.constData(), size_t(device.size()));

    if (!codec->createVideoDecoder(videoParam)) {
        VANTRA_LOG(Logger::Error) << "create video decoder fail";
        return;
    }
    if (videoWidth != videoParam.width || videoHeight != videoParam.height) {
        videoWidth = videoParam.width;
        videoHeight = videoParam.height;
        emit receiveSizeChanged();
    }
    lastVideoHeader = frame;
}

void PvProtoVideoThread::announceRender()
{
    renderStartPending = false;
    emit sig_updateCodecRender(QString::fromLatin1(codecName(videoParam.codec)), videoParam.width,
                               videoParam.height);
    emit receiveRenderStart();
}

bool PvProtoVideoThread::makeAudioDecoder(const HFrameHeader &frame)
{
    if (!codec->isAudioDecoderNull()) {
        msleep(kLetGoMs);
        codec->destroyAudioDecoder();
    }
    audioParam = {};
    const qint32 form = codecOfAudioFrame(frame.codecId);
    if (form == HCodecG711A || form == HCodecG711U)
        audioParam.codec = form;
    else
        VANTRA_LOG(Logger::Warning) << "not support audio codec id " << frame.codecId;
    audioParam.sampleRate = frame.widthOrSampleRate;
    audioParam.sampleSize = frame.heightOrBits;
    audioParam.channels = frame.frameRateOrChannels;
    sampleRate = audioParam.sampleRate;
    channelCount = audioParam.channels;

    if (!codec->createAudioDecoder(audioParam)) {
        // The 3 stands without its mark, so that the channels are not told: that is intended.
        VANTRA_LOG(Logger::Error) << QStringLiteral("create audio decoder fail (%1:%2:3)")
                                         .arg(audioParam.sampleRate)
                                         .arg(audioParam.sampleSize);
        return false;
    }
    lastAudioHeader = frame;
    emit receiveAudioFormat(audioParam.sampleRate, audioParam.channels, audioParam.sampleSize);
    return true;
}

// --- One frame ----------------------------------------------------------------------------------

void PvProtoVideoThread::decodeVideo(HFrameHeader *frame)
{
    if (!codec) {
        VANTRA_LOG(Logger::Warning) << "codec is null";
        return;
    }
    bool changed = false;
    if (frame->isKeyFrame()) {
        changed = needsVideoDecoder(*frame);
        if (changed)
            makeVideoDecoder(*frame);
        else if (renderStartPending)
            announceRender(); // a viewer has come back to a running decoder
    }
    rgbOut = {};
    const bool wantsRgb = isSnap || videoMode == VideoMode_Painter;
    if (!frame->fitsBuffer() ||
        !codec->decodeVideoFrame(frame->payload(), frame->frameSize, frame->isKeyFrame(),
                                 static_cast<quint64>(frame->pts), &yuvOut,
                                 wantsRgb ? &rgbOut : nullptr)) {
        VANTRA_LOG(Logger::Error) << "decode video frame err";
        return;
    }
    afterDecodeVideo(changed);
}

void PvProtoVideoThread::decodeAudio(HFrameHeader *frame)
{
    if (!codec) {
        VANTRA_LOG(Logger::Warning) << "codec is null";
        return;
    }
    const bool sameForm = frame->widthOrSampleRate == lastAudioHeader.widthOrSampleRate &&
                          frame->heightOrBits == lastAudioHeader.heightOrBits &&
                          frame->frameRateOrChannels == lastAudioHeader.frameRateOrChannels &&
                          frame->codecId == lastAudioHeader.codecId;
    if ((codec->isAudioDecoderNull() || !sameForm) && !makeAudioDecoder(*frame))
        return;
    if (!frame->fitsBuffer() ||
        !codec->decodeAudioFrame(frame->payload(), frame->frameSize,
                                 static_cast<quint64>(frame->pts), &pcmOut)) {
        VANTRA_LOG(Logger::Warning) << "decode audio frame err";
        return;
    }
    afterDecodeAudio();
}

// --- Delivery -----------------------------------------------------------------------------------

void PvProtoVideoThread::afterDecodeVideo(bool codecChanged)
{
    const VideoMode mode = videoMode; // which a receiver may change at any time
    switch (mode) {
    case VideoMode_Painter:
        decodeImage();
        return;
    case VideoMode_Opengl:
        deliverPlanes();
        break;
    case VideoMode_D3D9:
    case VideoMode_D3D11:
        deliverSurface(mode, codecChanged);
        break;
    default: // VideoMode_Hwnd: decoded, and handed to nobody
        return;
    }
    if (isSnap)
        decodeImage();
}

void PvProtoVideoThread::deliverPlanes()
{
    const _tag_yuv_frame_s &picture = yuvOut;
    // A picture on the video card has no planes, nor has a grey one all three.
    if (!picture.y || !picture.u || !picture.v || picture.linesize_y <= 0 ||
        picture.linesize_uv <= 0)
        return;
    const auto lumaLine = static_cast<quint32>(picture.linesize_y);
    const auto chromaLine = static_cast<quint32>(picture.linesize_uv);
    if (getHardware() == QLatin1String(kSoftware)) {
        emit receiveFrame(picture.width, picture.height, picture.y, picture.u, picture.v, lumaLine,
                          chromaLine, chromaLine);
        return;
    }
    // The decoder fell back to software: its chroma planes are half as wide as the receiver of two
    // planes would read them, so they are woven into one.
    const int width = (picture.width + 1) / 2;
    const int height = (picture.height + 1) / 2;
    if (width > picture.linesize_uv)
        return;
    const int line = picture.linesize_uv * 2;
    nv12Chroma.resize(line * height);
    auto *chroma = reinterpret_cast<quint8 *>(nv12Chroma.data());
    libyuv::MergeUVPlane(picture.u, picture.linesize_uv, picture.v, picture.linesize_uv, chroma,
                         line, width, height);
    emit receiveFrame(picture.width, picture.height, picture.y, chroma, lumaLine,
                      static_cast<quint32>(line));
}

void PvProtoVideoThread::deliverSurface(VideoMode mode, bool codecChanged)
{
    if (getHardware() == QLatin1String(kSoftware))
        return;
    // The decoder fell back to software, or was made before the receiver chose the other kind of
    // surface: a renderer would take the plane, or that surface, for its own object and call it.
    const char *kind = mode == VideoMode_D3D9 ? kSurfaces : kTextures;
    if (kDecodesToDirect3D &&
        (!codec->isVideoDecoderHardware() ||
         qstrncmp(videoParam.hw_device, kind, sizeof(videoParam.hw_device)) != 0))
        return;
    const _tag_yuv_frame_s &picture = yuvOut;
    if (mode == VideoMode_D3D9)
        emit receiveFrame(picture.width, picture.height, picture.y, codecChanged);
    else
        emit receiveFrame(picture.width, picture.height, picture.y,
                          static_cast<qint32>(picture.linesize_y), codecChanged);
}

QImage PvProtoVideoThread::rgbImage() const
{
    const std::shared_ptr<void> memory = codec ? codec->shareVideoRgb() : nullptr;
    if (!memory || rgbOut.data != memory.get())
        return QImage();
    using Share = std::shared_ptr<void>;
    auto *share = new Share(memory);
    const QImage image(
        rgbOut.data, rgbOut.width, rgbOut.height, rgbOut.linesize, QImage::Format_RGB888,
        [](void *held) { delete static_cast<Share *>(held); }, share);
    if (image.isNull())
        delete share;
    return image;
}

void PvProtoVideoThread::decodeImage()
{
    const QImage image = rgbImage();
    if (image.isNull())
        return; // asked for while the picture was being decoded; the next one has it
    if (isSnap)
        saveSnap(image);
    if (videoMode == VideoMode_Painter)
        emit receiveImage(image, 0);
}

void PvProtoVideoThread::saveSnap(const QImage &image)
{
    isSnap = false;
    saveSnapFile(image, getSnapName());
    QMetaObject::invokeMethod(this, "snapFinsh");
}

void PvProtoVideoThread::afterDecodeAudio()
{
    emit receiveAudio(
        QByteArray(reinterpret_cast<const char *>(pcmOut.data), static_cast<int>(pcmOut.size)));
}
