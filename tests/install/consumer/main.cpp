// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A host that knows nothing but the installed tree: starts the library, plays an address that
// refuses, and ends. Exits with 0 if all that it sees is as the headers promise.
#include "core_audio/audiothread.h"
#include "core_video/ffmpegvideothread.h"
#include "core_videobase/standardvideowidget.h"
#include "core_videobase/videowidgethelpers.h"
#include "logger/logger.h"
#include "uitoolkit/quihelper.h"
#include "vantra.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>

class View : public StandardVideoWidget
{
public:
    using StandardVideoWidget::StandardVideoWidget;

    bool ended = false;

protected:
    void startAudioThread() override
    {
        StandardVideoWidget::startAudioThread();
        connect(audioThread.data(), &AudioThread::receiveLevel, this, &View::receiveLevel);
    }

    bool createVideoThread() override
    {
        auto *thread = new FFmpegVideoThread(this);
        thread->setVideoUrl(QStringLiteral("rtsp://127.0.0.1:1/none"));
        thread->setVideoMode(VideoMode_Painter);
        thread->setOpenSleepTime(100);
        videoThread = thread;
        return true;
    }

    void releaseVideoThread() override
    {
        if (!videoThread)
            return;
        if (videoThread->previewRef() > 0)
            --videoThread->previewRef();
        videoThread->stop();
        stoppedThreads.append(videoThread);
        videoThread = nullptr;
    }

    void finished() override
    {
        StandardVideoWidget::finished();
        ended = true;
        QCoreApplication::quit();
    }
};

static int fail(const char *what)
{
    std::fprintf(stderr, "consumer: %s\n", what);
    return 1;
}

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    if (!Vantra::init())
        return fail("init refused");
    if (!cuteLoggerInstance())
        return fail("no logger");
    if (AbstractVideoWidget::recordPath != QStringLiteral("./video") ||
        AbstractVideoWidget::snapPath != QStringLiteral("snap") ||
        !AbstractVideoThread::debugInfo || !AbstractVideoThread::sharedData)
        return fail("the statics are not reached");
    if (QUIHelper::urlToIp(QStringLiteral("rtsp://192.0.2.1/x")) != QStringLiteral("192.0.2.1"))
        return fail("the toolkit is not reached");

    View view;
    int step = 0;
    demoOsd(&view, step);
    demoGraph(&view, step);
    view.setVideoMode(VideoMode_Painter);
    view.show();
    if (!view.start())
        return fail("start refused");
    QTimer::singleShot(300, &view, [&view] { view.stop(); });
    QTimer::singleShot(30000, &application, &QCoreApplication::quit);
    QApplication::exec();
    if (!view.ended)
        return fail("the thread did not end");
    Vantra::release();
    return 0;
}
