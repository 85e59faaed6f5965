// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A video widget from the start of a play to its end, and the controls of picture, recording and
// sound.
#include "support/pixels.h"
#include "videowidgetfakes.h"

#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

using namespace videowidgetfakes;
using vantratest::waitFor;

namespace {

// Writes down how it ends.
class EndingSurface : public FakeD3D9
{
public:
    EndingSurface(QStringList &steps, QWidget *parent) : FakeD3D9(parent), steps(steps) {}
    ~EndingSurface() override { steps << QStringLiteral("delete"); }
    void clear() override { steps << QStringLiteral("clear"); }

protected:
    void hideEvent(QHideEvent *) override { steps << QStringLiteral("hide"); }
    void closeEvent(QCloseEvent *) override { steps << QStringLiteral("close"); }

private:
    QStringList &steps;
};

class ButtonWidget : public FrameWidget
{
public:
    void btnClicked(const QString &btnName) override { clicked << btnName; }
    QStringList clicked;
};

} // namespace

class tst_AbstractWidgetPlay : public AbstractWidgetTest
{
    Q_OBJECT

private slots:
    // --- Start and end of play ------------------------------------------------------------------

    void receivePlayStart_showsTheLayerOfTheMode_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("native");
        QTest::newRow("none") << int(VideoMode_Hwnd) << true;
        QTest::newRow("painter") << int(VideoMode_Painter) << false;
        QTest::newRow("opengl") << int(VideoMode_Opengl) << false;
        QTest::newRow("d3d9") << int(VideoMode_D3D9) << true;
        QTest::newRow("d3d11") << int(VideoMode_D3D11) << true;
    }
    void receivePlayStart_showsTheLayerOfTheMode()
    {
        QFETCH(int, mode);
        QFETCH(bool, native);
        FrameWidget widget;
        widget.resize(400, 300);
        FakeThread thread;
        thread.setPicture(200, 100, 0, false);
        widget.videoThread = &thread;
        widget.setVideoMode(VideoMode(mode));

        widget.receivePlayStart(5);
        QCOMPARE(widget.hwndWidget->updatesEnabled(), !native);
        QCOMPARE(widget.hwndWidget->isHidden(), !native);
        QCOMPARE(widget.osdWidget->isHidden(), native);
        QCOMPARE(widget.videoWidth, 200);
        QCOMPARE(widget.hwndWidget->size(), QSize(200, 100));
        QCOMPARE(widget.osdWidget->size(), QSize(400, 300));
        QVERIFY(widget.osdTimer->isActive());

        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        widget.receivePlayFinsh(&thread);
        QVERIFY(widget.hwndWidget->updatesEnabled());
        QCOMPARE(widget.hwndWidget->isHidden(), !native);
        QVERIFY(!widget.osdTimer->isActive());
        QCOMPARE(ends.count(), 1);
    }

    void receivePlayStart_hasNoSignalOfItsOwn()
    {
        FrameWidget widget;
        QSignalSpy starts(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        widget.receivePlayStart(0);
        QCOMPARE(starts.count(), 0);
    }

    void receivePlayStart_handsTheMuteToTheSound()
    {
        FrameWidget widget;
        const auto audio = QSharedPointer<FakeAudio>::create();
        widget.audioThread = audio;
        WidgetPara para;
        para.muted = true;
        widget.setWidgetPara(para);
        widget.receivePlayStart(0);
        QCoreApplication::sendPostedEvents(audio.data(), QEvent::MetaCall);
        QCOMPARE(audio->calls, QStringList(QStringLiteral("muted 1")));
    }

    void receivePlayFinsh_freesTheDirect3D9SurfaceOnly()
    {
        FrameWidget widget;
        auto *d3d9 = new FakeD3D9(widget.hwndWidget);
        auto *yuv = new FakeYuv(widget.hwndWidget);
        auto *nv12 = new FakeNv12(widget.hwndWidget);
        auto *d3d11 = new FakeD3D11(widget.hwndWidget);
        widget.nv12D3D9Widget = d3d9;
        widget.yuvWidget = yuv;
        widget.nv12Widget = nv12;
        widget.nv12D3D11Widget = d3d11;
        const QPointer<QObject> freed(d3d9);
        widget.receivePlayFinsh(nullptr);
        QVERIFY(!freed);
        QVERIFY(!widget.nv12D3D9Widget);
        QVERIFY(widget.yuvWidget && widget.nv12Widget && widget.nv12D3D11Widget);
        QVERIFY(yuv->calls.isEmpty() && nv12->calls.isEmpty() && d3d11->calls.isEmpty());
    }

    void receivePlayFinsh_tellsTheHost_whenTheSurfaceIsGone()
    {
        FrameWidget widget;
        widget.setVideoMode(VideoMode_D3D9);
        QVERIFY(shows(&widget));
        QStringList steps;
        auto *surface = new EndingSurface(steps, widget.hwndWidget);
        surface->show();
        widget.nv12D3D9Widget = surface;
        widget.osdTimer->start();
        widget.hwndWidget->setUpdatesEnabled(false);
        connect(&widget, &AbstractVideoWidget::sig_receivePlayFinsh, [&] {
            QVERIFY(widget.hwndWidget->updatesEnabled() && !widget.osdTimer->isActive());
            steps << QStringLiteral("signal");
        });
        widget.receivePlayFinsh(nullptr);
        QCOMPARE(steps, QStringList({"clear", "hide", "close", "delete", "signal"}));
    }

    void osdTimer_repaintsThePaintedLayer()
    {
        FrameWidget widget;
        widget.setVideoMode(VideoMode_Painter);
        QVERIFY(shows(&widget));
        widget.osdTimer->setInterval(1);
        widget.receivePlayStart(0);
        QVERIFY(settle());
        PaintCounter paints(widget.osdWidget);
        QVERIFY(waitFor([&] { return paints.count >= 3; }));
    }

    void close_endsThePreviewAndTheTimer()
    {
        FrameWidget widget;
        const QPointer<QObject> preview(new QObject);
        widget.snapPreview = preview;
        widget.osdTimer->start();
        for (const bool accepted : {true, false}) {
            QCloseEvent event;
            event.setAccepted(accepted);
            widget.closeEvent(&event);
            QCOMPARE(event.isAccepted(), accepted);
        }
        QVERIFY(!widget.osdTimer->isActive());
        QVERIFY(preview); // later, not at once
        QVERIFY(waitFor([&] { return !preview; }));
    }

    void close_survivesAPreviewThatIsGone()
    {
        FrameWidget widget;
        auto *preview = new QObject;
        widget.snapPreview = preview;
        delete preview;
        QCloseEvent event;
        widget.closeEvent(&event);
        widget.closeEvent(nullptr);
    }

    void setPalettex_fillsTheBars()
    {
        FrameWidget widget;
        WidgetPara para;
        para.fillColor = Qt::blue;
        widget.setWidgetPara(para);
        widget.setPalettex(true);
        QVERIFY(widget.autoFillBackground());
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
            QCOMPARE(widget.palette().brush(group, QPalette::Window), QBrush(Qt::blue));
        widget.setPalettex(false);
        QVERIFY(!widget.autoFillBackground());
        QCOMPARE(widget.palette().color(QPalette::Window), QColor(Qt::blue));
    }

    void setPalettex_doesNothing_whenThereAreNoBarsOrNoColour()
    {
        FrameWidget widget;
        widget.setPalettex(true);
        QVERIFY(!widget.autoFillBackground()); // transparent fill colour
        WidgetPara para;
        para.fillColor = Qt::blue;
        para.scaleMode = ScaleMode_Fill;
        widget.setWidgetPara(para);
        widget.setPalettex(true);
        QVERIFY(!widget.autoFillBackground());
        widget.setAutoFillBackground(true);
        widget.setPalettex(false);
        QVERIFY(widget.autoFillBackground());
    }

    void bars_takeTheFillColour_duringPlay()
    {
        FrameWidget widget;
        widget.resize(200, 100);
        FakeThread thread;
        thread.setPicture(50, 50, 0, false);
        widget.videoThread = &thread;
        WidgetPara para;
        para.fillColor = QColor(10, 200, 30);
        para.videoMode = VideoMode_D3D9; // the painted layer is hidden
        widget.setWidgetPara(para);
        QVERIFY(shows(&widget));
        widget.receivePlayStart(0);
        QCOMPARE(pixel(&widget, 2, 2), QColor(10, 200, 30));
        QCOMPARE(pixel(&widget, 198, 98), QColor(10, 200, 30));
    }

    // --- Controls -------------------------------------------------------------------------------

    void emptyControls_doNothing()
    {
        FrameWidget widget;
        FakeThread thread;
        const auto audio = QSharedPointer<FakeAudio>::create();
        widget.videoThread = &thread;
        widget.recordThread = &thread;
        widget.audioThread = audio;
        QSignalSpy clicks(&widget, &AbstractVideoWidget::sig_btnClicked);
        widget.snap();
        widget.snap(QStringLiteral("x"), true);
        widget.talkStart();
        widget.talkStop();
        widget.btnClicked(QStringLiteral("x"));
        QCoreApplication::sendPostedEvents(audio.data(), QEvent::MetaCall);
        QCoreApplication::sendPostedEvents(&thread, QEvent::MetaCall);
        QVERIFY(audio->calls.isEmpty() && thread.calls.isEmpty());
        QVERIFY(thread.getSnapName().isEmpty());
        QCOMPARE(clicks.count(), 0);
    }

    void controls_withoutATarget_areIgnored()
    {
        const vantratest::QtWarnings warnings;
        FrameWidget widget;
        widget.recordStart(QStringLiteral("x"));
        widget.recordStop();
        widget.setSaveInterval(1);
        widget.setVolume(1);
        widget.setCalcLevel(true);
        widget.openAudioOutput(8000, 1, 16);
        widget.playAudio(QByteArray("x"));
        widget.stopAudioThread();
        QVERIFY(!widget.audioThread);
        QCOMPARE(warnings.lines(), QStringList());
    }

    void recording_isForwardedToTheRecordThread()
    {
        FrameWidget widget;
        FakeThread thread;
        FakeThread shown;
        widget.recordThread = &thread;
        widget.videoThread = &shown;
        widget.setSaveInterval(7);
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::MANUAL_RECORD), 7);
        widget.recordStart(QStringLiteral("folder"));
        QCOMPARE(thread.recordPath(), QStringLiteral("folder"));
        QVERIFY(thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        QVERIFY(!thread.isRecording(AbstractVideoThread::AUTO_RECORD));
        QVERIFY(!shown.isRecording(AbstractVideoThread::MANUAL_RECORD));
        widget.recordStop();
        QVERIFY(!thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
    }

    void recordingAndSound_areOff_withoutStreamControl()
    {
        FrameWidget widget;
        FakeThread thread;
        widget.recordThread = &thread;
        widget.noStreamControl = true;
        widget.setSaveInterval(7);
        widget.recordStart(QStringLiteral("folder"));
        QVERIFY(thread.getSaveInterval(AbstractVideoThread::MANUAL_RECORD) != 7);
        QVERIFY(thread.recordPath().isEmpty());
        QVERIFY(!thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
        widget.recordStop();
        QVERIFY(thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        widget.startAudioThread();
        QVERIFY(!widget.audioThread);
    }

    void recordThread_thatIsDeleted_isForgotten()
    {
        FrameWidget widget;
        auto *thread = new FakeThread;
        widget.recordThread = thread;
        delete thread;
        widget.recordStart(QStringLiteral("folder"));
        widget.recordStop();
        widget.setSaveInterval(1);
    }

    void sound_isReachedByNameAndQueued()
    {
        FrameWidget widget;
        const auto audio = QSharedPointer<FakeAudio>::create();
        widget.audioThread = audio;
        widget.openAudioOutput(8000, 1, 16);
        widget.playAudio(QByteArray("pcm"));
        widget.setVolume(42);
        widget.setMuted(true);
        QVERIFY(audio->calls.isEmpty());
        QVERIFY(widget.getWidgetPara().muted);
        QCoreApplication::sendPostedEvents(audio.data(), QEvent::MetaCall);
        QCOMPARE(audio->calls,
                 QStringList({QStringLiteral("open 8000 1 16"), QStringLiteral("play pcm"),
                              QStringLiteral("volume 42"), QStringLiteral("muted 1")}));
    }

    void sound_hasTheSlotsThatAreReachedByName()
    {
        const QMetaObject &meta = AudioThread::staticMetaObject;
        for (const char *slot : {"openAudioOutput(int,int,int)", "play(QByteArray)",
                                 "receiveVolume(int)", "receiveMuted(bool)"})
            QVERIFY2(meta.indexOfSlot(slot) >= 0, slot);
    }

    void setMuted_isNotEvenStored_withoutAnAudioThread()
    {
        FrameWidget widget;
        widget.setMuted(true);
        widget.setMuted(true);
        QVERIFY(!widget.getWidgetPara().muted);
    }

    void startAudioThread_startsOne_inPlaceOfTheLast()
    {
        FrameWidget widget;
        widget.startAudioThread();
        QVERIFY(widget.audioThread);
        const QPointer<AudioThread> first(widget.audioThread.data());
        QVERIFY(first->QObject::thread() != QThread::currentThread());
        QVERIFY(waitFor([&] {
            widget.setCalcLevel(true); // a direct call
            return first->getLevel();
        }));
        widget.startAudioThread();
        QVERIFY(!first);
        QVERIFY(widget.audioThread);
        widget.stopAudioThread();
        QVERIFY(widget.audioThread); // the pointer stays
        QVERIFY(!widget.audioThread->getLevel());
    }

    void talkErrors_arePassedOn()
    {
        FrameWidget widget;
        QSignalSpy busy(&widget, &AbstractVideoWidget::sig_startTalkDeviceBusy);
        QSignalSpy error(&widget, &AbstractVideoWidget::sig_startTalkError);
        QSignalSpy level(&widget, &AbstractVideoWidget::receiveLevel);
        widget.startAudioThread();
        emit widget.audioThread->sig_startTalkDeviceBusy(QStringLiteral("a"));
        emit widget.audioThread->sig_startTalkError(QStringLiteral("b"));
        emit widget.audioThread->receiveLevel(0.5); // a host connects that itself
        QVERIFY(waitFor([&] { return busy.count() == 1 && error.count() == 1; }));
        QCOMPARE(busy.first().first().toString(), QStringLiteral("a"));
        QCOMPARE(error.first().first().toString(), QStringLiteral("b"));
        QCOMPARE(level.count(), 0);
    }

    void widget_mayGo_whileItsSoundRuns()
    {
        auto widget = std::make_unique<FrameWidget>();
        widget->startAudioThread();
        const QPointer<AudioThread> audio(widget->audioThread.data());
        widget->playAudio(QByteArray(1000, '\0'));
        widget.reset();
        QVERIFY(!audio);
    }

    void audioThread_mayGo_whileItRuns()
    {
        FrameWidget widget;
        widget.startAudioThread();
        widget.playAudio(QByteArray(1000, '\0'));
        widget.audioThread.reset();
        widget.setVolume(3);
        widget.stopAudioThread();
    }

    void bannerButton_reachesSubclassAndHost()
    {
        ButtonWidget widget;
        WidgetPara para;
        para.banner.icons = QStringList{QStringLiteral(":/primary/volume.svg")};
        para.banner.names = QStringList{QStringLiteral("btnSound")};
        para.banner.tips = QStringList{QString()};
        widget.setWidgetPara(para);
        QSignalSpy clicks(&widget, &AbstractVideoWidget::sig_btnClicked);
        auto *button = widget.bannerWidget->findChild<QPushButton *>(QStringLiteral("btnSound"));
        QVERIFY(button);
        button->click();
        QCOMPARE(widget.clicked, QStringList(QStringLiteral("btnMuted")));
        QCOMPARE(clicks.count(), 1);
        QCOMPARE(clicks.first().first().toString(), QStringLiteral("btnMuted"));
    }
};

QTEST_MAIN(tst_AbstractWidgetPlay)
#include "tst_abstractwidgetplay.moc"
