// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/videowidgetfakes.h"
#include "core_vod/orvovodthread.h"
#include "core_vod/orvovodwidget.h"
#include "support/deviceframes.h"
#include "support/loggedtest.h"
#include "support/privatepulse.h"
#include "support/scriptedbackend.h"
#include "support/waitfor.h"

#include <QDateTime>
#include <QtTest>

namespace vantratest {

/// A playback widget whose protected side is open.
class VodView : public videowidgetfakes::Exposed<OrvoVodWidget>
{
public:
    using Exposed::Exposed;
    using OrvoVodWidget::createVideoThread;
    using OrvoVodWidget::isStart;
    using OrvoVodWidget::releaseVideoThread;
    using OrvoVodWidget::removeStoppedVideoThreads;
    using OrvoVodWidget::stoppedThreads;

    OrvoVodThread *thread() const { return qobject_cast<OrvoVodThread *>(videoThread.data()); }
};

/// What the tests of widgets that play a scripted device share. A read waits until the test feeds
/// it, or lets all reads return.
class VodWidgetCase : public LoggedTest, protected DeviceFrames
{
protected:
    using Op = DeviceScript::Op;
    static constexpr int kChannel = 2;

    static QDateTime noon() { return QDateTime(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC); }

    void setUp() override
    {
        script = std::make_shared<DeviceScript>();
        device = scriptedDevice(script);
    }
    void tearDown() override { device.reset(); }

    /// Gives the view the device, a short patience with each read, and pictures for the painter.
    void prepare(VodView &view) const
    {
        QVERIFY(view.init(device, kChannel));
        VideoPara para = view.getVideoPara();
        para.readTimeout = 50;
        view.setVideoPara(para);
        view.setVideoMode(VideoMode_Painter);
    }
    bool startAndRead(VodView &view) const
    {
        const int before = script->count(Op::vodReadFrame);
        return view.start() && waitFor([&] { return script->count(Op::vodReadFrame) > before; });
    }
    void feed(const DeviceAnswer &answer) { script->enqueue(Op::vodReadFrame, answer); }
    void feedPicture(int number, qint64 pts)
    {
        ScriptedFrame frame = picture(number);
        frame.header.pts = pts;
        feed(frame);
    }
    static int running(const QWidget &view)
    {
        int count = 0;
        const auto threads = view.findChildren<OrvoVodThread *>();
        for (const OrvoVodThread *thread : threads)
            count += thread->isRunning();
        return count;
    }

    std::shared_ptr<DeviceScript> script;
    QSharedPointer<HNetDevice> device;
};

} // namespace vantratest
