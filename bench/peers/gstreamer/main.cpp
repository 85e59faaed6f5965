// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-gstreamer: a GStreamer pipeline for each tile, drawing by X11 as fast as pictures come.
#include "window/peerwindow.h"

#include <gst/gst.h>
#include <gst/video/videooverlay.h>

namespace {

class GstView final : public PeerView
{
public:
    GstView(QWidget *tile, PeerSource source)
        : m_source(std::move(source)), m_size(tile->size()), m_window(tile->winId())
    {
    }
    ~GstView() override { close(); }

    void open(bool sub) override
    {
        close();
        const QString text =
            QStringLiteral("rtspsrc location=\"%1\" protocols=tcp latency=0 ! rtph264depay ! "
                           "avdec_h264 max-threads=1 output-corrupt=false ! videoconvertscale ! "
                           "video/x-raw,width=%2,height=%3 ! "
                           "ximagesink name=sink sync=false force-aspect-ratio=false")
                .arg(sub ? m_source.sub : m_source.main)
                .arg(m_size.width())
                .arg(m_size.height());
        m_pipeline = gst_parse_launch(text.toUtf8().constData(), nullptr);
        if (m_pipeline == nullptr)
            return;
        GstElement *sink = gst_bin_get_by_name(GST_BIN(m_pipeline), "sink");
        gst_video_overlay_set_window_handle(GST_VIDEO_OVERLAY(sink), guintptr(m_window));
        gst_object_unref(sink);
        GstBus *bus = gst_element_get_bus(m_pipeline);
        m_watch = gst_bus_add_watch(
            bus,
            [](GstBus *, GstMessage *message, gpointer self) -> gboolean {
                const auto type = GST_MESSAGE_TYPE(message);
                if (type == GST_MESSAGE_EOS || type == GST_MESSAGE_ERROR) {
                    auto *view = static_cast<GstView *>(self);
                    view->m_watch = 0;
                    emit view->ended();
                    return G_SOURCE_REMOVE;
                }
                return G_SOURCE_CONTINUE;
            },
            this);
        gst_object_unref(bus);
        gst_element_set_state(m_pipeline, GST_STATE_PLAYING);
    }

private:
    void close()
    {
        if (m_watch != 0)
            g_source_remove(m_watch);
        m_watch = 0;
        if (m_pipeline == nullptr)
            return;
        gst_element_set_state(m_pipeline, GST_STATE_NULL);
        gst_object_unref(m_pipeline);
        m_pipeline = nullptr;
    }

    const PeerSource m_source;
    const QSize m_size;
    const WId m_window;
    GstElement *m_pipeline = nullptr;
    guint m_watch = 0;
};

} // namespace

int main(int argc, char **argv)
{
    gst_init(nullptr, nullptr);
    return runPeer(argc, argv, [](QWidget *tile, const PeerSource &source) {
        return std::make_unique<GstView>(tile, source);
    });
}
