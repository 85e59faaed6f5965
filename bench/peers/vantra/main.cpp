// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-vantra: live views of this library. PEER_OUTPUT=opengl shows them by OpenGL.
#include "window/peerwindow.h"

#include "core_live/livevideowidget.h"
#include "core_live/videothrmux/devlivethrset.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_videobase/abstractvideothread.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "logger/logger.h"
#include "vantra.h"

namespace {

constexpr int kTimeoutMs = 3000;
constexpr int kPauseBetweenOpensMs = 500; ///< as of the other peers

class VantraView final : public PeerView
{
public:
    VantraView(QWidget *tile, const PeerSource &source) : m_widget(HTransportRtsp, tile)
    {
        static int serial = 0;
        const QVector<RtspCamera> cameras{{source.main, source.sub}};
        const auto device = QSharedPointer<HNetDevice>::create(
            std::make_unique<RtspCameraBackend>(cameras, QString::number(++serial)));
        const auto set =
            DevLiveThrSetManager::Instance()->newVideoThreadSet(device, HTransportRtsp);
        for (const QSharedPointer<AbstractVideoThread> &thread : set->getChannelThreads())
            thread->setOpenSleepTime(kPauseBetweenOpensMs);

        WidgetPara look = m_widget.getWidgetPara();
        look.videoMode = qgetenv("PEER_OUTPUT") == "opengl" ? VideoMode_Opengl : VideoMode_Painter;
        look.scaleMode = ScaleMode_Fill;
        look.muted = true;
        m_widget.setWidgetPara(look);
        VideoPara video = m_widget.getVideoPara();
        video.connectTimeout = video.readTimeout = kTimeoutMs;
        m_widget.setVideoPara(video);
        m_widget.setGeometry(tile->rect());
        m_widget.init(device, 0, -1);
        m_widget.show();
    }

    ~VantraView() override
    {
        m_widget.playStop(true);
        m_widget.stop(false);
    }

    void open(bool sub) override
    {
        if (m_started) {
            m_widget.replay(sub ? 1 : 0);
            return;
        }
        m_started = m_widget.start();
        m_widget.playStart(sub ? 1 : 0);
    }

private:
    LiveVideoWidget m_widget;
    bool m_started = false;
};

} // namespace

int main(int argc, char **argv)
{
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    return runPeer(
        argc, argv,
        [](QWidget *tile, const PeerSource &source) {
            return std::make_unique<VantraView>(tile, source);
        },
        [] { Vantra::init(); }, [] { Vantra::release(); });
}
