// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The smallest host: a window that plays one address.
//   vantra-play rtsp://192.168.1.10/stream1
#include "core_video/ffmpegvideothread.h"
#include "core_videobase/standardvideowidget.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QApplication>
#include <QTextStream>
#include <QTimer>

/// A widget plays what its subclass gives it a thread for.
class PlayWidget final : public StandardVideoWidget
{
public:
    explicit PlayWidget(const QString &address) : address(address)
    {
        WidgetPara look = getWidgetPara();
        look.videoMode = VideoMode_Painter;
        look.scaleMode = ScaleMode_Aspect;
        look.textColor = Qt::lightGray;
        look.bgText = tr("no picture yet");
        setWidgetPara(look);
    }

protected:
    bool createVideoThread() override
    {
        if (!videoThread)
            videoThread = new FFmpegVideoThread(this);
        videoThread->setVideoUrl(address);
        videoThread->setVideoMode(widgetPara.videoMode);
        videoThread->setHardware(videoPara.hardware);
        videoThread->setReadTimeout(videoPara.readTimeout);
        videoThread->setConnectTimeout(videoPara.connectTimeout);
        return true;
    }

    void releaseVideoThread() override
    {
        if (!videoThread)
            return;
        if (videoThread->previewRef() > 0)
            --videoThread->previewRef();
        videoThread->stop(); // returns at once; the thread ends by itself
        stoppedThreads.append(videoThread);
        videoThread = nullptr;
    }

private:
    const QString address;
};

int main(int argc, char *argv[])
{
    const QStringList arguments = takeArguments(argc, argv); // no process list shows a password
    QApplication application(argc, argv);
    if (argc != 2) {
        QTextStream(stderr) << "usage: vantra-play rtsp://HOST/PATH\n";
        return 2;
    }
    if (!Vantra::init()) {
        QTextStream(stderr) << "vantra-play: the library cannot start\n";
        return 1;
    }

    PlayWidget widget(arguments[1]);
    // The default of half a second is meant for cameras in the next room.
    VideoPara patience = widget.getVideoPara();
    patience.connectTimeout = 3000;
    patience.readTimeout = 3000;
    widget.setVideoPara(patience);
    widget.setWindowTitle("Vantra");
    widget.resize(960, 540);
    widget.show();
    widget.start();
    // A play that breaks off ends; the host decides to begin again.
    QObject::connect(&widget, &PlayWidget::sig_receivePlayFinsh, &widget, [&widget] {
        if (widget.isVisible())
            QTimer::singleShot(1000, &widget, [&widget] { widget.start(); });
    });

    const int result = QApplication::exec();
    widget.stop();
    Vantra::release();
    return result;
}
