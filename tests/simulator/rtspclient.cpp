// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "rtspclient.h"

#include "support/counterblocks.h"

#include <QCryptographicHash>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

namespace {

QByteArray md5Of(const AVFrame *frame)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    const auto format = AVPixelFormat(frame->format);
    const AVPixFmtDescriptor *description = av_pix_fmt_desc_get(format);
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        const bool chroma = plane == 1 || plane == 2;
        const int height =
            chroma ? AV_CEIL_RSHIFT(frame->height, description->log2_chroma_h) : frame->height;
        const int pixels =
            chroma ? AV_CEIL_RSHIFT(frame->width, description->log2_chroma_w) : frame->width;
        const int bytes = pixels * ((description->comp[plane].depth + 7) / 8);
        for (int y = 0; y < height; ++y)
            hash.addData(reinterpret_cast<const char *>(frame->data[plane]) +
                             qptrdiff(y) * frame->linesize[plane],
                         bytes);
    }
    return hash.result().toHex();
}

} // namespace

bool isGapless(const QList<Picture> &pictures)
{
    for (int i = 0; i < pictures.size(); ++i) {
        if (!pictures[i].counter || (i > 0 && *pictures[i].counter != *pictures[i - 1].counter + 1))
            return false;
    }
    return !pictures.isEmpty();
}

RtspClient::~RtspClient()
{
    close();
}

void RtspClient::close()
{
    avcodec_free_context(&m_decoder);
    av_packet_free(&m_packet);
    av_frame_free(&m_frame);
    m_timer.start();
    m_deadline = m_patience;
    avformat_close_input(&m_format);
    m_video = m_audio = -1;
    m_sound.clear();
    m_pending.clear();
}

int RtspClient::interrupted(void *self)
{
    auto *client = static_cast<RtspClient *>(self);
    client->m_timedOut = client->m_timer.elapsed() > client->m_deadline;
    return client->m_timedOut ? 1 : 0;
}

bool RtspClient::open(const QString &url, const QString &transport)
{
    close();
    m_error = 0;
    m_timedOut = false;
    m_format = avformat_alloc_context();
    m_packet = av_packet_alloc();
    m_frame = av_frame_alloc();
    m_format->interrupt_callback = {&RtspClient::interrupted, this};
    AVDictionary *options = nullptr;
    av_dict_set(&options, "rtsp_transport", qPrintable(transport), 0);
    m_error = avformat_open_input(&m_format, qPrintable(url), nullptr, &options);
    av_dict_free(&options);
    if (m_error >= 0)
        m_error = avformat_find_stream_info(m_format, nullptr);
    if (m_error < 0)
        return false;
    m_error = 0;
    m_video = av_find_best_stream(m_format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    m_audio = av_find_best_stream(m_format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (m_video < 0)
        return false;
    const AVCodecParameters *parameters = m_format->streams[m_video]->codecpar;
    m_decoder = avcodec_alloc_context3(avcodec_find_decoder(parameters->codec_id));
    avcodec_parameters_to_context(m_decoder, parameters);
    m_decoder->thread_count = 1;
    return avcodec_open2(m_decoder, nullptr, nullptr) == 0;
}

QString RtspClient::videoCodec() const
{
    return m_video < 0 ? QString()
                       : avcodec_get_name(m_format->streams[m_video]->codecpar->codec_id);
}

QString RtspClient::audioCodec() const
{
    return m_audio < 0 ? QString()
                       : avcodec_get_name(m_format->streams[m_audio]->codecpar->codec_id);
}

int RtspClient::sampleRate() const
{
    return m_audio < 0 ? 0 : m_format->streams[m_audio]->codecpar->sample_rate;
}

int RtspClient::channels() const
{
    if (m_audio < 0)
        return 0;
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 28, 100)
    return m_format->streams[m_audio]->codecpar->ch_layout.nb_channels;
#else
    return m_format->streams[m_audio]->codecpar->channels;
#endif
}

QSize RtspClient::announcedSize() const
{
    const AVCodecParameters *parameters = m_format->streams[m_video]->codecpar;
    return {parameters->width, parameters->height};
}

bool RtspClient::readPacket()
{
    m_timer.start();
    m_deadline = m_patience;
    m_error = av_read_frame(m_format, m_packet);
    return m_error >= 0;
}

void RtspClient::decode(const AVPacket *packet, QList<Picture> *pictures)
{
    if (avcodec_send_packet(m_decoder, packet) < 0)
        return;
    while (avcodec_receive_frame(m_decoder, m_frame) == 0) {
        Picture picture;
        picture.size = QSize(m_frame->width, m_frame->height);
        picture.counter = vantratest::readCounter(m_frame->data[0], m_frame->linesize[0],
                                                  m_frame->width, m_frame->height);
        picture.scene = vantratest::readSceneId(m_frame->data[0], m_frame->linesize[0],
                                                m_frame->width, m_frame->height);
        picture.md5 = md5Of(m_frame);
        pictures->append(picture);
        av_frame_unref(m_frame);
    }
}

QList<Picture> RtspClient::pictures(int count)
{
    while (m_pending.size() < count) {
        if (!readPacket()) {
            decode(nullptr, &m_pending);
            break;
        }
        if (m_packet->stream_index == m_video)
            decode(m_packet, &m_pending);
        else if (m_packet->stream_index == m_audio)
            m_sound.append(reinterpret_cast<const char *>(m_packet->data), m_packet->size);
        av_packet_unref(m_packet);
    }
    const QList<Picture> result = m_pending.mid(0, count);
    m_pending = m_pending.mid(result.size());
    return result;
}

bool RtspClient::readToEnd(QList<Picture> *result)
{
    const QList<Picture> all = pictures(std::numeric_limits<int>::max());
    if (result != nullptr)
        *result = all;
    return m_error == AVERROR_EOF && !m_timedOut;
}

QByteArray RtspClient::sound(int bytes)
{
    while (m_sound.size() < bytes && readPacket()) {
        if (m_packet->stream_index == m_audio)
            m_sound.append(reinterpret_cast<const char *>(m_packet->data), m_packet->size);
        else if (m_packet->stream_index == m_video)
            decode(m_packet, &m_pending);
        av_packet_unref(m_packet);
    }
    return m_sound;
}

bool RtspClient::isSilent(int milliseconds)
{
    m_timer.start();
    m_deadline = milliseconds;
    m_timedOut = false;
    m_error = av_read_frame(m_format, m_packet);
    av_packet_unref(m_packet);
    const bool silent = m_error < 0 && m_timedOut;
    m_timedOut = false;
    return silent;
}
