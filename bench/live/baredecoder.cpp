// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "baredecoder.h"

#include "devicelink/hframeheader.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <utility>
#include <vector>

namespace {

constexpr int kReadMs = 200;

} // namespace

BareDecoder::BareDecoder(QSharedPointer<HNetDevice> device, int channel)
    : m_device(std::move(device)), m_channel(channel), m_thread([this] { run(); })
{
}

BareDecoder::~BareDecoder()
{
    m_stop = true;
    m_thread.join();
}

void BareDecoder::run()
{
    std::vector<unsigned char> buffer(kHFrameBufferSize);
    auto *frame = reinterpret_cast<HFrameHeader *>(buffer.data());
    const AVCodec *decoder = avcodec_find_decoder(AV_CODEC_ID_H264);
    AVCodecContext *context = avcodec_alloc_context3(decoder);
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    avcodec_open2(context, decoder, nullptr);
    AVPacket *packet = av_packet_alloc();
    AVFrame *picture = av_frame_alloc();
    m_device->enableMediaTransmit(m_channel, 0, true);
    while (!m_stop) {
        if (m_device->readFrame(m_channel, 0, frame, kReadMs) != HRetOk || !frame->isVideo())
            continue;
        packet->data = frame->payload();
        packet->size = int(frame->frameSize);
        if (avcodec_send_packet(context, packet) >= 0 &&
            avcodec_receive_frame(context, picture) >= 0)
            ++m_pictures;
    }
    m_device->enableMediaTransmit(m_channel, 0, false);
    packet->data = nullptr;
    packet->size = 0;
    av_frame_free(&picture);
    av_packet_free(&packet);
    avcodec_free_context(&context);
}
