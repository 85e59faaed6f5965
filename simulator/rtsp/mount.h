// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/rtsp/camerasource.h"
#include "simulator/rtsp/clip.h"
#include "simulator/rtsp/feeder.h"
#include "simulator/rtsp/sendlog.h"

#include <gst/rtsp-server/rtsp-server.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vantrasim {

/// The role under which a client that gave the right password is known.
constexpr char kViewerRole[] = "viewer";

/// One address of the server: a test camera, whose viewers all share one encoder, or a clip, which
/// starts anew for each client. Made and changed on the thread of the main loop; its media live on
/// threads of the RTSP library.
class Mount
{
public:
    explicit Mount(const CameraOptions &camera);
    Mount(const ClipOptions &options, std::shared_ptr<const Clip> clip);
    Mount(const Mount &) = delete;
    Mount &operator=(const Mount &) = delete;

    /// Where media made from now on note the pictures that they send.
    void setSendLog(std::shared_ptr<SendLog> log) { m_sendLog = std::move(log); }

    const std::string &name() const { return m_name; }
    std::string path() const { return "/" + m_name; }
    bool isCamera() const { return m_clip == nullptr; }

    /// Puts a new factory on the path: who asks from now on gets a new media, with the codec of
    /// now.
    void publish(GstRTSPMountPoints *mountPoints);

    /// Holds back everything that would be sent, RTCP included, on present and later media.
    void setStalled(bool stalled);
    void setSize(int width, int height);
    void setFps(int fps);
    /// For media made after the next publish().
    void setVideoForm(VideoForm form) { m_camera.video = form; }
    /// Ends the streams of the present media.
    void finish();

    /// Whether `media` was made by this mount.
    bool owns(GstRTSPMedia *media) const;
    /// Tells that one more client plays `media`. It gets a key frame at once, instead of up to a
    /// second later.
    static void addViewer(GstRTSPMedia *media);

    /// Readies `media` for viewers by TCP and by UDP, whichever comes first. Before the first one
    /// plays: see the source.
    static void openRoads(GstRTSPMedia *media);

    const FeedCount &count() const { return *m_count; }
    /// Number of the next frame of a camera.
    std::uint32_t counter() const { return m_state->counter; }

private:
    /// What belongs to one media; it dies with it.
    struct Play
    {
        explicit Play(Mount *owner) : mount(owner) {}
        Mount *mount;
        std::atomic<bool> stalled{false};
        std::unique_ptr<Feeder> feeder;
        std::atomic<int> viewers{0}; ///< that have asked to play, gone ones included
        bool roadsOpen = false;      ///< see openRoads(); of the main loop's thread
    };

    std::string launch() const;
    bool hasAudio() const;
    void configure(GstRTSPMedia *media);
    void forEachPlay(const std::function<void(Play &)> &action);
    static Play *playOf(GstRTSPMedia *media);
    static void gateRtcp(GstRTSPMedia *media);
    static void onConfigure(GstRTSPMediaFactory *, GstRTSPMedia *media, gpointer self);
    static void onPrepared(GstRTSPMedia *media, gpointer);
    static void onUnprepared(GstRTSPMedia *media, gpointer);
    static void onNewState(GstRTSPMedia *media, int state, gpointer);

    std::string m_name;
    CameraOptions m_camera;
    std::shared_ptr<CameraState> m_state = std::make_shared<CameraState>();
    std::shared_ptr<const Clip> m_clip; // none: a camera
    bool m_once = false;
    std::shared_ptr<SendLog> m_sendLog; // none: nothing is noted
    std::shared_ptr<FeedCount> m_count = std::make_shared<FeedCount>();

    std::mutex m_mutex; // guards what follows
    bool m_stalled = false;
    std::vector<std::weak_ptr<Play>> m_plays;
};

} // namespace vantrasim
