// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/ffmpeg_p.h"

#include "log.h"

#include <QWriteLocker>

#include <climits>

namespace {

constexpr char kLogTag[] = "(ffpg)";
constexpr int kErrorTextSize = 64;            // bytes, terminator included
constexpr unsigned kKeySize = sizeof(void *); // the key of a record is the value of its context

template<typename Handle>
Handle *findHandle(Handle *head, AVCodecContext *ctx)
{
    Handle *found = nullptr;
    HASH_FIND(hh, head, &ctx, kKeySize, found);
    return found;
}

template<typename Handle>
bool addHandle(Handle *&head, Handle *handle)
{
    if (findHandle(head, handle->ctx))
        return false;
    HASH_ADD(hh, head, ctx, kKeySize, handle);
    return true;
}

template<typename Handle>
void removeHandle(Handle *&head, QReadWriteLock &lock, Handle *handle)
{
    const QWriteLocker locker(&lock);
    if (findHandle(head, handle->ctx) == handle)
        HASH_DELETE(hh, head, handle);
}

} // namespace

vdec_handle_s *video_decoders = nullptr;
adec_handle_s *audio_decoders = nullptr;
aenc_handle_s *audio_encoders = nullptr;
QReadWriteLock video_decoders_lock;
QReadWriteLock audio_decoders_lock;
QReadWriteLock audio_encoders_lock;

int add_video_decoder(vdec_handle_s *handle)
{
    if (addHandle(video_decoders, handle))
        return 0;
    VANTRA_LOG(Logger::Warning) << QString::asprintf("decoder %p was existed",
                                                     static_cast<void *>(handle));
    return -1;
}

int add_audio_decoder(adec_handle_s *handle)
{
    if (addHandle(audio_decoders, handle))
        return 0;
    VANTRA_LOG(Logger::Error) << QString::asprintf("audio decoder %p was existed",
                                                   static_cast<void *>(handle));
    return -1;
}

int add_audio_encoder(aenc_handle_s *handle)
{
    if (addHandle(audio_encoders, handle))
        return 0;
    // "decoder" is intended: both registries tell it in the same words.
    VANTRA_LOG(Logger::Error) << QString::asprintf("audio decoder %p was existed",
                                                   static_cast<void *>(handle));
    return -1;
}

void remove_video_decoder(vdec_handle_s *handle)
{
    removeHandle(video_decoders, video_decoders_lock, handle);
}

void remove_audio_decoder(adec_handle_s *handle)
{
    removeHandle(audio_decoders, audio_decoders_lock, handle);
}

void remove_audio_encoder(aenc_handle_s *handle)
{
    removeHandle(audio_encoders, audio_encoders_lock, handle);
}

enum AVPixelFormat get_hw_format(AVCodecContext *ctx, const enum AVPixelFormat *formats)
{
    // The codec context is all that FFmpeg hands over; the registry leads from it to the handle.
    video_decoders_lock.lockForRead();
    const vdec_handle_s *handle = findHandle(video_decoders, ctx);
    const enum AVPixelFormat wanted = handle ? handle->hw_pix_fmt : AV_PIX_FMT_NONE;
    video_decoders_lock.unlock();

    if (!handle) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("found no decoder with ctx %p",
                                                       static_cast<void *>(ctx));
    } else {
        for (; *formats != AV_PIX_FMT_NONE; ++formats) {
            if (*formats == wanted)
                return wanted;
        }
    }
    // No way back to software here: the mode of a handle is fixed when it is made.
    VANTRA_LOG(Logger::Error) << QString::asprintf("ctx %p failed to get hw surface format",
                                                   static_cast<void *>(ctx));
    return AV_PIX_FMT_NONE;
}

AVPacket borrowed_packet(unsigned char *data, unsigned int size, uint64_t pts)
{
    AVPacket packet = {};
    packet.data = data;
    packet.size = static_cast<int>(size);
    packet.pts = packet.dts = static_cast<int64_t>(pts);
    return packet;
}

bool is_valid_input(const unsigned char *data, unsigned int size)
{
    return data && size <= static_cast<unsigned int>(INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE);
}

QString error_text(int code)
{
    char text[kErrorTextSize] = {};
    av_strerror(code, text, sizeof(text));
    return QString::fromUtf8(text);
}

QString failed_with(const char *call, int code)
{
    return QString::asprintf("%s failed with %x (%s)", call, static_cast<unsigned int>(code),
                             qUtf8Printable(error_text(code)));
}
