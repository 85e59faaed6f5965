// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/mount.h"

#include "simulator/rtsp/clipsource.h"
#include "simulator/rtsp/roads.h"

#include <gst/video/video.h>

#include <algorithm>

namespace vantrasim {

namespace {

constexpr char kPlayKey[] = "vantra-play";
constexpr double kBitsPerPixel = 0.14;
constexpr int kMinKbps = 200;

int bitrateOf(const CameraOptions &camera)
{
    if (camera.kbps > 0)
        return camera.kbps;
    return std::max(
        static_cast<int>(kBitsPerPixel * camera.width * camera.height * camera.fps / 1000),
        kMinKbps);
}

/// One thread and no look-ahead: each picture leaves whole, and as soon as it is painted.
std::string encoderOf(const CameraOptions &camera)
{
    const std::string rate = std::to_string(bitrateOf(camera));
    const std::string gop = std::to_string(camera.gop > 0 ? camera.gop : camera.fps);
    if (camera.video == VideoForm::H264) {
        return "x264enc name=venc tune=zerolatency speed-preset=ultrafast threads=1 "
               "sliced-threads=false bframes=0 aud=false option-string=scenecut=0 key-int-max=" +
               gop + " bitrate=" + rate +
               " ! video/x-h264,profile=baseline,stream-format=byte-stream,alignment=au";
    }
    return "x265enc name=venc tune=zerolatency speed-preset=ultrafast "
           "option-string=pools=none:frame-threads=1:wpp=0:bframes=0:scenecut=0:open-gop=0 "
           "key-int-max=" +
           gop + " bitrate=" + rate + " ! video/x-h265,stream-format=byte-stream,alignment=au";
}

std::string payloaderOf(VideoForm form, bool repeatParameterSets)
{
    return std::string(form == VideoForm::H264 ? "rtph264pay" : "rtph265pay") +
           " name=pay0 pt=96 config-interval=" + (repeatParameterSets ? "-1" : "0");
}

GstPadProbeReturn dropWhileStalled(GstPad *, GstPadProbeInfo *, gpointer stalled)
{
    return *static_cast<std::atomic<bool> *>(stalled) ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

} // namespace

Mount::Mount(const CameraOptions &camera) : m_name(camera.name), m_camera(camera)
{
    m_state->width = camera.width;
    m_state->height = camera.height;
    m_state->fps = camera.fps;
}

Mount::Mount(const ClipOptions &options, std::shared_ptr<const Clip> clip)
    : m_name(options.name), m_clip(std::move(clip)), m_once(options.once)
{
}

bool Mount::hasAudio() const
{
    return (m_clip ? m_clip->audio : m_camera.audio) != AudioForm::None;
}

std::string Mount::launch() const
{
    // A picture that cannot be taken yet holds up the painter: no frame of the counter is lost.
    static const std::string kAppsrc = " is-live=true format=time block=true max-bytes=0 ";
    const AudioForm audio = m_clip ? m_clip->audio : m_camera.audio;
    std::string text = "( appsrc name=vsrc" + kAppsrc;
    if (m_clip)
        text += "max-buffers=50 ! " + payloaderOf(m_clip->video, false);
    else
        text +=
            "max-buffers=3 ! " + encoderOf(m_camera) + " ! " + payloaderOf(m_camera.video, true);
    if (audio != AudioForm::None) {
        const bool alaw = audio == AudioForm::Pcma;
        text += " appsrc name=asrc" + kAppsrc + "max-buffers=50 ! ";
        if (!m_clip)
            text += alaw ? "alawenc ! " : "mulawenc ! ";
        text += alaw ? "rtppcmapay name=pay1 pt=8" : "rtppcmupay name=pay1 pt=0";
    }
    return text + " )";
}

void Mount::publish(GstRTSPMountPoints *mountPoints)
{
    GstRTSPMediaFactory *factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, launch().c_str());
    gst_rtsp_media_factory_set_shared(factory, isCamera() ? TRUE : FALSE);
    gst_rtsp_media_factory_add_role(factory, kViewerRole, GST_RTSP_PERM_MEDIA_FACTORY_ACCESS,
                                    G_TYPE_BOOLEAN, TRUE, GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT,
                                    G_TYPE_BOOLEAN, TRUE, nullptr);
    g_signal_connect(factory, "media-configure", G_CALLBACK(onConfigure), this);
    gst_rtsp_mount_points_add_factory(mountPoints, path().c_str(), factory); // takes the reference
}

void Mount::onConfigure(GstRTSPMediaFactory *, GstRTSPMedia *media, gpointer self)
{
    static_cast<Mount *>(self)->configure(media);
}

void Mount::configure(GstRTSPMedia *media)
{
    std::unique_ptr<Source> source;
    if (m_clip)
        source = std::make_unique<ClipSource>(m_clip, m_once);
    else
        source = std::make_unique<CameraSource>(m_camera, m_state);
    GstElement *element = gst_rtsp_media_get_element(media);
    auto play = std::make_shared<Play>(this);
    play->feeder = std::make_unique<Feeder>(element, std::move(source), hasAudio(), m_count);
    gst_object_unref(element);
    if (m_sendLog)
        play->feeder->setPictureObserver(
            [log = m_sendLog, name = m_name](std::uint64_t number) { log->note(name, number); });
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        play->stalled = m_stalled;
        play->feeder->setStalled(m_stalled);
        m_plays.erase(std::remove_if(m_plays.begin(), m_plays.end(),
                                     [](const auto &weak) { return weak.expired(); }),
                      m_plays.end());
        m_plays.push_back(play);
    }
    g_object_set_data_full(
        G_OBJECT(media), kPlayKey, new std::shared_ptr<Play>(play),
        [](gpointer data) { delete static_cast<std::shared_ptr<Play> *>(data); });
    g_signal_connect(media, "prepared", G_CALLBACK(onPrepared), nullptr);
    g_signal_connect(media, "unprepared", G_CALLBACK(onUnprepared), nullptr);
    g_signal_connect(media, "new-state", G_CALLBACK(onNewState), nullptr);
    play->feeder->start();
}

Mount::Play *Mount::playOf(GstRTSPMedia *media)
{
    auto *play = static_cast<std::shared_ptr<Play> *>(g_object_get_data(G_OBJECT(media), kPlayKey));
    return play == nullptr ? nullptr : play->get();
}

bool Mount::owns(GstRTSPMedia *media) const
{
    const Play *play = playOf(media);
    return play != nullptr && play->mount == this;
}

/// Sender reports would reach a client while nothing else does, and keep its time-out from running.
void Mount::gateRtcp(GstRTSPMedia *media)
{
    GstElement *pipeline = pipelineOf(media);
    if (pipeline == nullptr)
        return;
    GstIterator *bins = gst_bin_iterate_all_by_element_factory_name(GST_BIN(pipeline), "rtpbin");
    gst_iterator_foreach(
        bins,
        [](const GValue *bin, gpointer stalled) {
            gst_element_foreach_src_pad(
                GST_ELEMENT(g_value_get_object(bin)),
                [](GstElement *, GstPad *pad, gpointer flag) -> gboolean {
                    if (g_str_has_prefix(GST_PAD_NAME(pad), "send_rtcp_src") != FALSE)
                        gst_pad_add_probe(
                            pad,
                            static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                         GST_PAD_PROBE_TYPE_BUFFER_LIST),
                            dropWhileStalled, flag, nullptr);
                    return TRUE;
                },
                stalled);
        },
        &playOf(media)->stalled);
    gst_iterator_free(bins);
    gst_object_unref(pipeline);
}

void Mount::onPrepared(GstRTSPMedia *media, gpointer)
{
    gateRtcp(media);
}

void Mount::onUnprepared(GstRTSPMedia *media, gpointer)
{
    playOf(media)->feeder->stop();
}

void Mount::onNewState(GstRTSPMedia *media, int state, gpointer)
{
    playOf(media)->feeder->setPlaying(state == GST_STATE_PLAYING);
}

void Mount::openRoads(GstRTSPMedia *media)
{
    Play *play = playOf(media);
    if (play == nullptr || !play->mount->isCamera() || play->roadsOpen)
        return; // a clip has one viewer
    play->roadsOpen = true;
    vantrasim::openRoads(media);
}

void Mount::addViewer(GstRTSPMedia *media)
{
    Play *play = playOf(media);
    if (play == nullptr || play->viewers++ == 0)
        return; // the first one begins with the first picture
    GstElement *element = gst_rtsp_media_get_element(media);
    if (GstElement *encoder = gst_bin_get_by_name(GST_BIN(element), "venc")) {
        if (GstPad *pad = gst_element_get_static_pad(encoder, "src")) {
            gst_pad_send_event(
                pad, gst_video_event_new_upstream_force_key_unit(GST_CLOCK_TIME_NONE, TRUE, 0));
            gst_object_unref(pad);
        }
        gst_object_unref(encoder);
    }
    gst_object_unref(element);
}

void Mount::forEachPlay(const std::function<void(Play &)> &action)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const std::weak_ptr<Play> &weak : m_plays) {
        if (const std::shared_ptr<Play> play = weak.lock())
            action(*play);
    }
}

void Mount::setStalled(bool stalled)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stalled = stalled;
    }
    forEachPlay([stalled](Play &play) {
        play.stalled = stalled;
        play.feeder->setStalled(stalled);
    });
}

void Mount::setSize(int width, int height)
{
    m_state->width = width;
    m_state->height = height;
}

void Mount::setFps(int fps)
{
    m_state->fps = fps;
}

void Mount::finish()
{
    forEachPlay([](Play &play) { play.feeder->finish(); });
}

} // namespace vantrasim
