// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-vlc: libVLC, embedded by window number. Debian's libVLC cannot open rtsp addresses, so its
// host reads them with libavformat and hands the stream on through a pipe, as MPEG-TS, whose clock
// libVLC can follow. It draws by X11 only where OpenGL cannot be loaded.
#include "window/peerwindow.h"

#include <vlc/vlc.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace {

constexpr int kIoBytes = 32 * 1024;

/// Reads an address on a thread of its own and writes it to a pipe, until either breaks off.
class Reader
{
public:
    Reader(QByteArray address, int output)
        : m_address(std::move(address)), m_output(output), m_thread([this] { run(); })
    {
    }
    ~Reader()
    {
        m_stop = true;
        m_thread.join();
    }

private:
    void run()
    {
        AVFormatContext *input = avformat_alloc_context();
        input->interrupt_callback = {
            [](void *self) { return int(static_cast<Reader *>(self)->m_stop); }, this};
        AVDictionary *options = nullptr;
        av_dict_set(&options, "rtsp_transport", "tcp", 0);
        av_dict_set(&options, "fflags", "nobuffer", 0);
        if (avformat_open_input(&input, m_address.constData(), nullptr, &options) >= 0) {
            copy(input);
            avformat_close_input(&input);
        }
        av_dict_free(&options);
        ::close(m_output);
    }

    void copy(AVFormatContext *input)
    {
        AVFormatContext *output = nullptr;
        avformat_alloc_output_context2(&output, nullptr, "mpegts", nullptr);
        output->pb = avio_alloc_context(
            static_cast<unsigned char *>(av_malloc(kIoBytes)), kIoBytes, 1, this, nullptr,
            [](void *self, uint8_t *data, int size) -> int {
                return ::write(static_cast<Reader *>(self)->m_output, data, size_t(size)) == size
                           ? size
                           : AVERROR(EPIPE);
            },
            nullptr);
        output->flags |= AVFMT_FLAG_FLUSH_PACKETS;
        output->max_delay = 0;
        AVStream *stream = avformat_new_stream(output, nullptr);
        avcodec_parameters_copy(stream->codecpar, input->streams[0]->codecpar);
        AVPacket *packet = av_packet_alloc();
        if (avformat_write_header(output, nullptr) >= 0) {
            while (!m_stop && av_read_frame(input, packet) >= 0) {
                if (packet->stream_index == 0 && packet->pts == AV_NOPTS_VALUE)
                    packet->pts = packet->dts = 0;
                av_packet_rescale_ts(packet, input->streams[0]->time_base, stream->time_base);
                const bool written =
                    packet->stream_index != 0 || av_write_frame(output, packet) >= 0;
                av_packet_unref(packet);
                if (!written && output->pb->error != 0)
                    break;
            }
        }
        av_packet_free(&packet);
        av_freep(&output->pb->buffer);
        avio_context_free(&output->pb);
        avformat_free_context(output);
    }

    const QByteArray m_address;
    const int m_output;
    std::atomic<bool> m_stop{false};
    std::thread m_thread; // the last: it uses all the others
};

libvlc_instance_t *library()
{
    static const char *const options[] = {
        "--no-audio",        "--no-osd",         "--vout=xcb_x11",    "--no-video-title-show",
        "--file-caching=50", "--clock-jitter=0", "--clock-synchro=0", "--avcodec-threads=1",
        "--quiet",           "--avcodec-hw=none"};
    static libvlc_instance_t *instance = libvlc_new(int(std::size(options)), options);
    return instance;
}

class VlcView final : public PeerView
{
public:
    VlcView(QWidget *tile, PeerSource source)
        : m_source(std::move(source)), m_player(libvlc_media_player_new(library()))
    {
        libvlc_media_player_set_xwindow(m_player, uint32_t(tile->winId()));
        libvlc_event_manager_t *events = libvlc_media_player_event_manager(m_player);
        for (const auto event : {libvlc_MediaPlayerEndReached, libvlc_MediaPlayerEncounteredError})
            libvlc_event_attach(events, event, onEnd, this);
    }

    ~VlcView() override
    {
        close();
        libvlc_media_player_release(m_player);
    }

    void open(bool sub) override
    {
        close();
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return;
        m_input = ends[0];
        m_reader = std::make_unique<Reader>((sub ? m_source.sub : m_source.main).toUtf8(), ends[1]);
        libvlc_media_t *media = libvlc_media_new_fd(library(), m_input);
        libvlc_media_add_option(media, ":demux=ts");
        libvlc_media_player_set_media(m_player, media);
        libvlc_media_release(media);
        libvlc_media_player_play(m_player);
    }

private:
    static void onEnd(const libvlc_event_t *, void *self)
    {
        QMetaObject::invokeMethod(
            static_cast<VlcView *>(self), [self] { emit static_cast<VlcView *>(self)->ended(); },
            Qt::QueuedConnection);
    }

    void close()
    {
        if (m_input < 0)
            return;
        // The read end must be gone before the reader can be waited for, and libVLC have let go of
        // it before that.
        libvlc_media_player_stop(m_player);
        ::close(m_input);
        m_input = -1;
        m_reader.reset();
    }

    const PeerSource m_source;
    libvlc_media_player_t *const m_player;
    int m_input = -1;
    std::unique_ptr<Reader> m_reader;
};

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    return runPeer(argc, argv, [](QWidget *tile, const PeerSource &source) {
        return std::make_unique<VlcView>(tile, source);
    });
}
