// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "framereader.h"

#include <QElapsedTimer>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>

namespace {

constexpr int kGuard = 4096;
constexpr char kGuardByte = char(0xA7);
constexpr int kPatienceMs = 20000;
constexpr int kReadMs = 200;

} // namespace

FrameBuffer::FrameBuffer() : m_bytes(int(kHFrameBufferSize), '\0')
{
    m_bytes.append(QByteArray(kGuard, kGuardByte));
}

QByteArray FrameBuffer::payload() const
{
    const quint32 size = std::min(header()->frameSize, kHFrameMaxPayload);
    return m_bytes.mid(int(kHFramePayloadOffset), int(size));
}

bool FrameBuffer::isGuardWhole() const
{
    return m_bytes.endsWith(QByteArray(kGuard, kGuardByte));
}

PictureReader::PictureReader() : m_frame(av_frame_alloc()) {}

PictureReader::~PictureReader()
{
    avcodec_free_context(&m_context);
    av_frame_free(&m_frame);
}

std::optional<SeenPicture> PictureReader::decode(quint32 codec, const QByteArray &unit)
{
    if (m_context == nullptr || codec != m_codec) {
        avcodec_free_context(&m_context);
        const auto *decoder =
            avcodec_find_decoder(codec == 0 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC);
        m_context = avcodec_alloc_context3(decoder);
        m_context->flags |= AV_CODEC_FLAG_LOW_DELAY;
        m_context->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_EXPLODE;
        m_context->thread_count = 1;
        avcodec_open2(m_context, decoder, nullptr);
        m_codec = codec;
    }
    AVPacket *packet = av_packet_alloc();
    av_new_packet(packet, unit.size());
    std::copy(unit.begin(), unit.end(), packet->data);
    const bool sent = avcodec_send_packet(m_context, packet) >= 0;
    av_packet_free(&packet);
    if (!sent || avcodec_receive_frame(m_context, m_frame) < 0) {
        ++m_errors;
        return std::nullopt;
    }
    m_errors += m_frame->decode_error_flags != 0 ? 1 : 0;
    SeenPicture seen;
    const uchar *luma = m_frame->data[0];
    const int stride = m_frame->linesize[0];
    seen.size = QSize(m_frame->width, m_frame->height);
    seen.counter = vantratest::readCounter(luma, stride, m_frame->width, m_frame->height);
    seen.scene = vantratest::readSceneId(luma, stride, m_frame->width, m_frame->height);
    seen.roomY = luma[qptrdiff(m_frame->height / 2) * stride + 2];
    return seen;
}

QByteArray belowStrip(const AVFrame *frame, int top)
{
    QByteArray bytes;
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane == 0 ? 1 : 2;
        for (int y = top / half; y < frame->height / half; ++y)
            bytes.append(reinterpret_cast<const char *>(frame->data[plane]) +
                             qptrdiff(y) * frame->linesize[plane],
                         frame->width / half);
    }
    return bytes;
}

QVector<ReadPicture> readPictures(HNetDevice &device, int channel, int stream, int count)
{
    QVector<ReadPicture> pictures;
    PictureReader reader;
    FrameBuffer buffer;
    QElapsedTimer quiet;
    quiet.start();
    while (pictures.size() < count && quiet.elapsed() < kPatienceMs) {
        const HRetError answer = device.readFrame(channel, stream, buffer.header(), kReadMs);
        if (answer == HRetTimeout)
            continue;
        if (answer != HRetOk || !buffer.isGuardWhole())
            break;
        quiet.restart();
        if (!buffer.header()->isVideo())
            continue;
        if (const auto seen = reader.decode(buffer))
            pictures.append({*buffer.header(), *seen});
    }
    return pictures;
}

bool isGapless(const QVector<ReadPicture> &pictures)
{
    for (int i = 0; i < pictures.size(); ++i) {
        if (!pictures[i].seen.counter ||
            (i > 0 &&
             *pictures[i].seen.counter != ((*pictures[i - 1].seen.counter + 1) & 0xFFFFFF)))
            return false;
    }
    return !pictures.isEmpty();
}
