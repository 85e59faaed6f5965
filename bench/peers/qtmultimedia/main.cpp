// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-qtmultimedia: QMediaPlayer with a QVideoWidget, drawing by X11. The player's back end asks
// for no more delay than its own default for RTSP.
#include "window/peerwindow.h"

#include <QMediaPlayer>
#include <QUrl>
#include <QUrlQuery>
#include <QVideoWidget>

namespace {

class QtView final : public PeerView
{
public:
    QtView(QWidget *tile, PeerSource source) : m_source(std::move(source)), m_video(tile)
    {
        m_video.setGeometry(tile->rect());
        m_video.setAspectRatioMode(Qt::IgnoreAspectRatio);
        m_video.show();
        m_player.setMuted(true);
        m_player.setVideoOutput(&m_video);
        connect(&m_player, &QMediaPlayer::mediaStatusChanged, this,
                [this](QMediaPlayer::MediaStatus status) {
                    if (status == QMediaPlayer::EndOfMedia || status == QMediaPlayer::InvalidMedia)
                        tellEnd();
                });
        connect(&m_player, QOverload<QMediaPlayer::Error>::of(&QMediaPlayer::error), this,
                [this] { tellEnd(); });
    }

    void open(bool sub) override
    {
        QUrl address(sub ? m_source.sub : m_source.main);
        address.setScheme(QStringLiteral("rtspt")); // by TCP
        m_ended = true;                             // what it reports of the old one
        m_player.stop();
        m_player.setMedia(address);
        m_ended = false;
        m_player.play();
    }

private:
    void tellEnd()
    {
        if (m_ended)
            return;
        m_ended = true;
        emit ended();
    }

    const PeerSource m_source;
    QVideoWidget m_video;
    QMediaPlayer m_player{nullptr, QMediaPlayer::LowLatency};
    bool m_ended = false;
};

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_GSTREAMER_WINDOW_VIDEOSINK"))
        qputenv("QT_GSTREAMER_WINDOW_VIDEOSINK", "ximagesink");
    return runPeer(argc, argv, [](QWidget *tile, const PeerSource &source) {
        return std::make_unique<QtView>(tile, source);
    });
}
