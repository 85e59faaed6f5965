// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-mpv: libmpv with its profile for low delay, embedded by window number, drawing by X11.
// With PEER_UNTIMED=yes pictures are drawn as fast as they come, of which some are then never seen.
#include "window/peerwindow.h"

#include <mpv/client.h>

#include <clocale>

namespace {

class MpvView final : public PeerView
{
public:
    MpvView(QWidget *tile, PeerSource source) : m_source(std::move(source)), m_mpv(mpv_create())
    {
        const QByteArray window = QByteArray::number(qulonglong(tile->winId()));
        const QByteArray untimed = qEnvironmentVariableIsSet("PEER_UNTIMED") ? "yes" : "no";
        const char *const options[][2] = {
            {"wid", window.constData()},
            {"profile", "low-latency"},
            {"untimed", untimed.constData()},
            {"vo", "x11"},
            {"hwdec", "no"},
            {"rtsp-transport", "tcp"},
            {"aid", "no"},
            {"idle", "yes"},
            {"terminal", "no"},
            {"config", "no"},
            {"osc", "no"},
            {"ytdl", "no"},
            {"load-scripts", "no"},
            {"osd-level", "0"},
            {"input-default-bindings", "no"},
            {"keepaspect", "no"},
        };
        for (const auto &option : options) {
            if (mpv_set_option_string(m_mpv, option[0], option[1]) < 0)
                qWarning("mpv does not take %s=%s", option[0], option[1]);
        }
        mpv_set_wakeup_callback(
            m_mpv,
            [](void *self) {
                QMetaObject::invokeMethod(
                    static_cast<MpvView *>(self),
                    [self] { static_cast<MpvView *>(self)->takeEvents(); }, Qt::QueuedConnection);
            },
            this);
        mpv_initialize(m_mpv);
    }

    ~MpvView() override
    {
        mpv_set_wakeup_callback(m_mpv, nullptr, nullptr);
        mpv_terminate_destroy(m_mpv);
    }

    void open(bool sub) override
    {
        const QByteArray address = (sub ? m_source.sub : m_source.main).toUtf8();
        const char *command[] = {"loadfile", address.constData(), nullptr};
        mpv_command_async(m_mpv, 0, command);
    }

private:
    void takeEvents()
    {
        for (;;) {
            const mpv_event *event = mpv_wait_event(m_mpv, 0);
            if (event->event_id == MPV_EVENT_NONE)
                return;
            if (event->event_id != MPV_EVENT_END_FILE)
                continue;
            const auto *end = static_cast<const mpv_event_end_file *>(event->data);
            if (end->reason == MPV_END_FILE_REASON_EOF || end->reason == MPV_END_FILE_REASON_ERROR)
                emit ended();
        }
    }

    const PeerSource m_source;
    mpv_handle *const m_mpv;
};

} // namespace

int main(int argc, char **argv)
{
    return runPeer(
        argc, argv,
        [](QWidget *tile, const PeerSource &source) {
            return std::make_unique<MpvView>(tile, source);
        },
        [] { std::setlocale(LC_NUMERIC, "C"); }); // Qt has set it; libmpv demands it
}
