// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/clip.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <memory>
#include <numeric>

namespace vantrasim {

namespace {

constexpr std::int64_t kMaxClipBytes = 512LL * 1024 * 1024;
constexpr int kSampleRate = 8000; // Hz
constexpr AVRational kNanosecond = {1, 1000000000};
constexpr std::int64_t kUnknown = INT64_MIN;

struct Free
{
    void operator()(AVFormatContext *p) const { avformat_close_input(&p); }
    void operator()(AVBSFContext *p) const { av_bsf_free(&p); }
    void operator()(AVPacket *p) const { av_packet_free(&p); }
    void operator()(AVCodecContext *p) const { avcodec_free_context(&p); }
    void operator()(AVCodecParserContext *p) const { av_parser_close(p); }
};
template<typename T>
using Owned = std::unique_ptr<T, Free>;

/// A picture with what is needed to find its times.
struct Entry
{
    std::int64_t dts = kUnknown; ///< ns
    std::int64_t pts = kUnknown; ///< ns
    std::int64_t order = 0;      ///< picture order count
    bool startsSequence = false; ///< order counts begin anew here
    bool key = false;
};

constexpr int kH264Idr = 5;
constexpr int kH265BlaWithLeading = 16;
constexpr int kH265LastIdr = 20; // from 16 on: three kinds of BLA, two of IDR
constexpr int kH265Cra = 21;

/// Calls action(type, header) for each NAL unit of a byte stream; `header` is its first byte.
template<typename Action>
void forEachUnit(std::vector<std::uint8_t> &data, VideoForm form, Action action)
{
    for (std::size_t i = 0; i + 3 < data.size(); ++i) {
        if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1)
            continue;
        std::uint8_t &header = data[i + 3];
        action(form == VideoForm::H264 ? header & 0x1F : (header >> 1) & 0x3F, header);
    }
}

bool startsSequence(std::vector<std::uint8_t> &data, VideoForm form)
{
    bool starts = false;
    forEachUnit(data, form, [&](int type, std::uint8_t &) {
        starts = starts ||
                 (form == VideoForm::H264 ? type == kH264Idr
                                          : type >= kH265BlaWithLeading && type <= kH265LastIdr);
    });
    return starts;
}

/// A clip may begin with an open key picture, whose leading pictures a decoder passes over when it
/// starts there. Named a broken link it is taken the same way at the joint of two passes. The two
/// kinds differ in nothing else.
void breakLink(std::vector<std::uint8_t> &data)
{
    forEachUnit(data, VideoForm::H265, [](int type, std::uint8_t &header) {
        if (type == kH265Cra)
            header = static_cast<std::uint8_t>((header & 0x81) | (kH265BlaWithLeading << 1));
    });
}

std::int64_t toNs(std::int64_t time, AVRational base)
{
    return time == AV_NOPTS_VALUE ? kUnknown : av_rescale_q(time, base, kNanosecond);
}

class Reader
{
public:
    Reader(const std::string &file, Clip *clip) : m_file(file), m_clip(clip) {}

    bool read(std::string *error);

private:
    bool open(std::string *error);
    bool openVideo(std::string *error);
    void chooseSound();
    bool takePicture(AVPacket *packet);
    bool addPicture(const AVPacket *packet);
    bool setTimes(std::string *error);
    std::vector<std::int64_t> presentationByOrder() const;

    std::string m_file;
    Clip *m_clip;
    Owned<AVFormatContext> m_format;
    Owned<AVBSFContext> m_filter;
    Owned<AVCodecParserContext> m_parser;
    Owned<AVCodecContext> m_codec; // for the parser alone
    int m_videoIndex = -1;
    int m_audioIndex = -1;
    std::int64_t m_period = 40000000; // ns from one picture to the next
    std::int64_t m_bytes = 0;
    std::vector<Entry> m_entries;
};

bool Reader::open(std::string *error)
{
    AVFormatContext *format = nullptr;
    if (avformat_open_input(&format, ("file:" + m_file).c_str(), nullptr, nullptr) < 0) {
        *error = "cannot be opened as a media file";
        return false;
    }
    m_format.reset(format);
    if (avformat_find_stream_info(format, nullptr) < 0) {
        *error = "its streams cannot be read";
        return false;
    }
    for (unsigned i = 0; i < format->nb_streams && m_videoIndex < 0; ++i) {
        if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            m_videoIndex = static_cast<int>(i);
    }
    if (m_videoIndex < 0) {
        *error = "has no video";
        return false;
    }
    chooseSound();
    return openVideo(error);
}

bool Reader::openVideo(std::string *error)
{
    const AVStream *stream = m_format->streams[m_videoIndex];
    const AVCodecParameters *parameters = stream->codecpar;
    const char *filterName = nullptr;
    if (parameters->codec_id == AV_CODEC_ID_H264) {
        m_clip->video = VideoForm::H264;
        filterName = "h264_mp4toannexb";
    } else if (parameters->codec_id == AV_CODEC_ID_HEVC) {
        m_clip->video = VideoForm::H265;
        filterName = "hevc_mp4toannexb";
    } else {
        *error = std::string("its video is ") + avcodec_get_name(parameters->codec_id) +
                 "; only h264 and hevc can be served";
        return false;
    }
    if (parameters->width <= 0 || parameters->height <= 0) {
        *error = "has no picture that can be decoded";
        return false;
    }
    m_clip->width = parameters->width;
    m_clip->height = parameters->height;
    if (stream->avg_frame_rate.num > 0 && stream->avg_frame_rate.den > 0)
        m_period = av_rescale_q(1, av_inv_q(stream->avg_frame_rate), kNanosecond);

    AVBSFContext *filter = nullptr;
    const AVBitStreamFilter *form = av_bsf_get_by_name(filterName);
    if (form == nullptr || av_bsf_alloc(form, &filter) < 0) {
        *error = std::string("FFmpeg lacks ") + filterName;
        return false;
    }
    m_filter.reset(filter);
    filter->time_base_in = stream->time_base;
    if (avcodec_parameters_copy(filter->par_in, parameters) < 0 || av_bsf_init(filter) < 0) {
        *error = "its parameter sets are damaged";
        return false;
    }
    m_parser.reset(av_parser_init(static_cast<int>(parameters->codec_id)));
    m_codec.reset(avcodec_alloc_context3(nullptr));
    if (!m_parser || !m_codec ||
        avcodec_parameters_to_context(m_codec.get(), filter->par_out) < 0) {
        *error = "FFmpeg lacks the parser of its video";
        return false;
    }
    m_parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    return true;
}

void Reader::chooseSound()
{
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        const AVCodecParameters *parameters = m_format->streams[i]->codecpar;
        if (parameters->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 28, 100)
        const int channels = parameters->ch_layout.nb_channels;
#else
        const int channels = parameters->channels;
#endif
        const bool alaw = parameters->codec_id == AV_CODEC_ID_PCM_ALAW;
        const bool mulaw = parameters->codec_id == AV_CODEC_ID_PCM_MULAW;
        if (m_audioIndex < 0 && (alaw || mulaw) && channels == 1 &&
            parameters->sample_rate == kSampleRate) {
            m_audioIndex = static_cast<int>(i);
            m_clip->audio = alaw ? AudioForm::Pcma : AudioForm::Pcmu;
        } else {
            m_clip->note += std::string(m_clip->note.empty() ? "" : ", ") + "sound " +
                            avcodec_get_name(parameters->codec_id) + " is left out";
        }
    }
}

/// False if memory or the filter fails.
bool Reader::takePicture(AVPacket *packet)
{
    if (av_bsf_send_packet(m_filter.get(), packet) < 0) {
        av_packet_unref(packet);
        return true; // a damaged picture is passed over, as a recorder would do
    }
    Owned<AVPacket> out(av_packet_alloc());
    while (out && av_bsf_receive_packet(m_filter.get(), out.get()) == 0) {
        if (!addPicture(out.get()))
            return false;
        av_packet_unref(out.get());
    }
    return out != nullptr;
}

bool Reader::addPicture(const AVPacket *packet)
{
    if (packet->size <= 0)
        return true;
    m_bytes += packet->size;
    if (m_bytes > kMaxClipBytes)
        return false;
    Clip::Picture picture;
    picture.data.assign(packet->data, packet->data + packet->size);
    std::uint8_t *parsed = nullptr;
    int parsedSize = 0;
    av_parser_parse2(m_parser.get(), m_codec.get(), &parsed, &parsedSize, packet->data,
                     packet->size, packet->pts, packet->dts, packet->pos);
    const AVRational base = m_format->streams[m_videoIndex]->time_base;
    Entry entry;
    entry.dts = toNs(packet->dts, base);
    entry.pts = toNs(packet->pts, base);
    entry.order = m_parser->output_picture_number;
    entry.startsSequence = startsSequence(picture.data, m_clip->video);
    entry.key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    if (m_entries.empty() && !entry.key)
        return true; // nothing can be decoded before the first key picture
    picture.key = entry.key;
    m_entries.push_back(entry);
    m_clip->pictures.push_back(std::move(picture));
    return true;
}

/// Display times for files that carry none: within one sequence, pictures are shown by their order
/// count, one a period.
std::vector<std::int64_t> Reader::presentationByOrder() const
{
    std::vector<std::int64_t> result(m_entries.size());
    for (std::size_t begin = 0; begin < m_entries.size();) {
        std::size_t end = begin + 1;
        while (end < m_entries.size() && !m_entries[end].startsSequence)
            ++end;
        std::vector<std::size_t> shown(end - begin);
        std::iota(shown.begin(), shown.end(), begin);
        std::stable_sort(shown.begin(), shown.end(), [this](std::size_t a, std::size_t b) {
            return m_entries[a].order < m_entries[b].order;
        });
        for (std::size_t rank = 0; rank < shown.size(); ++rank)
            result[shown[rank]] = static_cast<std::int64_t>(begin + rank) * m_period;
        begin = end;
    }
    return result;
}

bool Reader::setTimes(std::string *error)
{
    if (m_entries.empty()) {
        *error = "has no picture that can be decoded";
        return false;
    }
    const bool timed = std::all_of(m_entries.begin(), m_entries.end(),
                                   [](const Entry &entry) { return entry.pts != kUnknown; });
    const std::vector<std::int64_t> byOrder = presentationByOrder();
    std::int64_t first = kUnknown;
    std::int64_t due = 0;
    std::int64_t delay = 0; // lifts every pts to its dts or above
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        const Entry &entry = m_entries[i];
        Clip::Picture &picture = m_clip->pictures[i];
        if (timed && entry.dts != kUnknown && first == kUnknown)
            first = entry.dts - due;
        if (!timed || entry.dts == kUnknown)
            picture.due = i == 0 ? 0 : due + m_period;
        else
            picture.due = std::max(due, entry.dts - first);
        due = picture.due;
        picture.pts = timed ? entry.pts - (first == kUnknown ? 0 : first) : byOrder[i];
        delay = std::max(delay, picture.due - picture.pts);
    }
    for (Clip::Picture &picture : m_clip->pictures)
        picture.pts += delay;
    m_clip->duration = due + m_period;
    return true;
}

bool Reader::read(std::string *error)
{
    if (!open(error))
        return false;
    Owned<AVPacket> packet(av_packet_alloc());
    bool ok = packet != nullptr;
    while (ok && av_read_frame(m_format.get(), packet.get()) >= 0) {
        if (packet->stream_index == m_videoIndex) {
            ok = takePicture(packet.get());
        } else if (packet->stream_index == m_audioIndex) {
            m_bytes += packet->size;
            ok = m_bytes <= kMaxClipBytes;
            if (ok)
                m_clip->sound.insert(m_clip->sound.end(), packet->data,
                                     packet->data + packet->size);
        }
        av_packet_unref(packet.get());
    }
    if (!ok) {
        *error = "is too large to be kept in memory";
        return false;
    }
    if (!setTimes(error))
        return false;
    if (m_clip->video == VideoForm::H265)
        breakLink(m_clip->pictures.front().data);
    return true;
}

} // namespace

bool loadClip(const std::string &file, Clip *clip, std::string *error)
{
    return Reader(file, clip).read(error);
}

} // namespace vantrasim
