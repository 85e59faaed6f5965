// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/sceneencoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <string>

namespace vantrasim {

namespace {

constexpr char kH264Parameters[] =
    "cabac=1:8x8dct=0:no-deblock=1:weightp=0:bframes=0:ref=1:scenecut=0:aud=0:nal-hrd=none:"
    "aq-mode=0:mbtree=0:rc-lookahead=0:sync-lookahead=0:threads=1:sliced-threads=0:open-gop=0:"
    "no-psy=1";
constexpr char kH265Parameters[] =
    "pools=none:frame-threads=1:no-wpp=1:ctu=16:min-cu-size=16:max-tu-size=16:bframes=0:ref=1:"
    "scenecut=0:open-gop=0:no-sao=1:no-deblock=1:no-temporal-mvp=1:no-weightp=1:no-signhide=1:"
    "aq-mode=0:no-cutree=1:rc-lookahead=0:repeat-headers=0:info=0:aud=0:hrd=0:log-level=none";

} // namespace

void SceneEncoder::Free::operator()(AVCodecContext *context) const
{
    avcodec_free_context(&context);
}

void SceneEncoder::Free::operator()(AVFrame *frame) const
{
    av_frame_free(&frame);
}

void SceneEncoder::Free::operator()(AVPacket *packet) const
{
    av_packet_free(&packet);
}

SceneEncoder::SceneEncoder() = default;
SceneEncoder::~SceneEncoder() = default;

bool SceneEncoder::open(const Form &form)
{
    const bool h264 = form.codec == 1;
    const auto *codec = avcodec_find_encoder_by_name(h264 ? "libx264" : "libx265");
    m_context.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
    m_frame.reset(av_frame_alloc());
    m_packet.reset(av_packet_alloc());
    if (!m_context || !m_frame || !m_packet)
        return false;
    m_context->width = form.width;
    m_context->height = form.height;
    m_context->pix_fmt = AV_PIX_FMT_YUV420P;
    m_context->time_base = {1, form.fps};
    m_context->framerate = {form.fps, 1};
    m_context->gop_size = form.gop;
    m_context->max_b_frames = 0;
    m_context->thread_count = 1;
    m_context->log_level_offset = AV_LOG_DEBUG - AV_LOG_INFO; // what it would tell is for debugging
    m_context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const std::string gop = std::to_string(form.gop);
    const std::string parameters = std::string(h264 ? kH264Parameters : kH265Parameters) +
                                   ":keyint=" + gop + ":min-keyint=" + gop +
                                   ":qp=" + std::to_string(form.quality);
    void *options = m_context->priv_data;
    if (av_opt_set(options, "preset", "ultrafast", 0) < 0 ||
        av_opt_set(options, "tune", "zerolatency", 0) < 0 ||
        av_opt_set(options, h264 ? "x264-params" : "x265-params", parameters.c_str(), 0) < 0 ||
        avcodec_open2(m_context.get(), codec, nullptr) < 0)
        return false;
    m_frame->format = AV_PIX_FMT_YUV420P;
    m_frame->width = form.width;
    m_frame->height = form.height;
    if (m_context->extradata_size > 0)
        m_parameterSets.assign(m_context->extradata,
                               m_context->extradata + m_context->extradata_size);
    return av_frame_get_buffer(m_frame.get(), 0) >= 0;
}

bool SceneEncoder::encode(const I420View &picture, Bytes *coded)
{
    if (!m_context || av_frame_make_writable(m_frame.get()) < 0)
        return false;
    for (int plane = 0; plane < 3; ++plane) {
        const int lines = plane == 0 ? picture.height : picture.height / 2;
        const int width = plane == 0 ? picture.width : picture.width / 2;
        for (int y = 0; y < lines; ++y) {
            const std::uint8_t *from =
                picture.plane[plane] + std::ptrdiff_t(y) * picture.stride[plane];
            std::copy(from, from + width,
                      m_frame->data[plane] + std::ptrdiff_t(y) * m_frame->linesize[plane]);
        }
    }
    m_frame->pts = m_next++;
    if (avcodec_send_frame(m_context.get(), m_frame.get()) < 0 ||
        avcodec_receive_packet(m_context.get(), m_packet.get()) < 0)
        return false;
    coded->assign(m_packet->data, m_packet->data + m_packet->size);
    av_packet_unref(m_packet.get());
    return true;
}

} // namespace vantrasim
