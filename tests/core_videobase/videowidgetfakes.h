// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_audio/audiothread.h"
#include "core_d3d/nv12d3d11widget.h"
#include "core_d3d/nv12d3d9widget.h"
#include "core_opengl/nv12widget.h"
#include "core_opengl/yuvwidget.h"
#include "core_videobase/bannerwidget.h"
#include "core_videobase/standardvideowidget.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"

#include <QDateTime>
#include <QQueue>
#include <QWaitCondition>

#include <functional>

/// What the tests of the video widgets put in the place of streams, surfaces and sound.
namespace videowidgetfakes {

/// A stream thread that does on its thread what the test posts, until it is stopped.
class FakeThread : public AbstractVideoThread
{
    Q_OBJECT

public:
    using Task = std::function<void()>;

    explicit FakeThread(QObject *parent = nullptr);
    ~FakeThread() override;

    /// Runs `task` on the stream thread after those before; at once returned.
    void post(const Task &task);
    /// The same, and runs the event loop until the task has returned; false after a deadline.
    bool call(const Task &task);
    /// The same, without an event loop: the calling thread stands still.
    bool callWithoutEvents(const Task &task);
    /// Leaves run() as a stream does that has ended.
    void end();

    void setPicture(int width, int height, int degrees, bool audioOnly);
    bool connectsTo(const char *signal) const { return receivers(signal) > 0; }
    int receiverCount(const char *signal) const { return receivers(signal); }
    QString recordPath() const { return savePath.at(MANUAL_RECORD); }
    bool isStopAsked() const { return stopAsked; }

    void stop() override;
    void pause() override;
    void next() override;

    QStringList calls; ///< of controls, in order; GUI thread
    /// While true, stop() has no effect, as with a stream that is slow to notice it.
    std::atomic<bool> deafToStop{false};

public slots:
    void seekFile(const QDateTime &dateTime);
    void setSpeed(double speed) override;

protected:
    void run() override;

private:
    QMutex taskMutex;
    QWaitCondition taskPosted;
    QQueue<Task> tasks;
    std::atomic<bool> ended{false};
};

/// Surfaces that write down their calls.
class FakeD3D9 : public Nv12D3D9Widget
{
public:
    using Nv12D3D9Widget::Nv12D3D9Widget;
    void updateFrame(int width, int height, quint8 *data, bool codecChanged) override;
    void clear() override { calls << QStringLiteral("clear"); }
    void setDigitalZoom(bool digitalZoom) override;
    void setDigitalZoomRect(const QRectF &rect) override;

    QStringList calls;
    quint8 *data = nullptr;
    QRectF zoomRect;
};

class FakeD3D11 : public Nv12D3D11Widget
{
public:
    using Nv12D3D11Widget::Nv12D3D11Widget;
    void updateFrame(int width, int height, quint8 *data, qint32 index, bool codecChanged) override;
    void clear() override { calls << QStringLiteral("clear"); }

    QStringList calls;
    quint8 *data = nullptr;
};

class FakeYuv : public YuvWidget
{
public:
    using YuvWidget::YuvWidget;
    void updateFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                     quint32 linesizeY, quint32 linesizeU, quint32 linesizeV) override;
    void clear() override { calls << QStringLiteral("clear"); }

    QStringList calls;
    QList<quint8 *> planes;
};

class FakeNv12 : public Nv12Widget
{
public:
    using Nv12Widget::Nv12Widget;
    void updateFrame(int width, int height, quint8 *dataY, quint8 *dataUV, quint32 linesizeY,
                     quint32 linesizeUV) override;
    void clear() override { calls << QStringLiteral("clear"); }

    QStringList calls;
    QList<quint8 *> planes;
};

/// Sound that writes down what reaches it by name. It lives on the GUI thread unless started.
class FakeAudio : public AudioThread
{
    Q_OBJECT

public:
    ~FakeAudio() override { stopThread(); }
    QStringList calls;

public slots:
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize);
    void play(const QByteArray &data);
    void receiveVolume(int volume);
    void receiveMuted(bool muted);
};

/// A widget whose protected side is open to the test.
template<typename Base>
class Exposed : public Base
{
public:
    using Base::Base;
    using Base::btnClicked;
    using Base::closeEvent;
    using Base::dragEnterEvent;
    using Base::dropEvent;
    using Base::enterEvent;
    using Base::finished;
    using Base::freeD3D11Widgets;
    using Base::freeD3D9Widgets;
    using Base::freeOpenglWidgets;
    using Base::initWidgetHandle;
    using Base::leaveEvent;
    using Base::mouseMoveEvent;
    using Base::mousePressEvent;
    using Base::mouseReleaseEvent;
    using Base::newD3D11Widgets;
    using Base::newD3D9Widgets;
    using Base::newOpenglWidgets;
    using Base::onDecoderDestroyed;
    using Base::onUpdateCodecRender;
    using Base::openAudioOutput;
    using Base::playAudio;
    using Base::receiveFrame;
    using Base::receiveImage;
    using Base::receivePlayFinsh;
    using Base::receivePlayStart;
    using Base::receiveRenderStart;
    using Base::receiveSizeChanged;
    using Base::resizeEvent;
    using Base::startAudioThread;
    using Base::started;
    using Base::stopAudioThread;
    using Base::wheelEvent;

    using Base::audioThread;
    using Base::bannerWidget;
    using Base::graphList;
    using Base::hardware;
    using Base::hwndWidget;
    using Base::image;
    using Base::isRunning;
    using Base::noStreamControl;
    using Base::nv12D3D11Widget;
    using Base::nv12D3D9Widget;
    using Base::nv12Widget;
    using Base::onlyAudio;
    using Base::osdList;
    using Base::osdTimer;
    using Base::osdWidget;
    using Base::recordThread;
    using Base::renderMode;
    using Base::rotate;
    using Base::snapPreview;
    using Base::targetRect;
    using Base::videoHeight;
    using Base::videoPara;
    using Base::videoThread;
    using Base::videoWidth;
    using Base::widgetPara;
    using Base::yuvWidget;
    using Base::zoom;
    using Base::zoomCursor;
};

using FrameWidget = Exposed<AbstractVideoWidget>;

/// Plays a FakeThread, one per start, and writes down which of its virtual functions are called.
class PlayWidget : public Exposed<StandardVideoWidget>
{
    Q_OBJECT

public:
    explicit PlayWidget(QWidget *parent = nullptr) : Exposed(parent) {}

    using StandardVideoWidget::connectBaseSignalSlots;
    using StandardVideoWidget::connectStreamSignalSlots;
    using StandardVideoWidget::disconnectBaseSignalSlots;
    using StandardVideoWidget::disconnectStreamSignalSlots;
    using StandardVideoWidget::isStart;
    using StandardVideoWidget::removeStoppedVideoThreads;
    using StandardVideoWidget::stoppedThreads;

    FakeThread *thread() const { return qobject_cast<FakeThread *>(videoThread.data()); }
    /// start() and the report that the thread runs.
    bool startAndRun();
    /// The same in a window, where it paints its pictures.
    bool showAndRun();

    QStringList calls;
    bool canCreate = true;
    std::function<void(const QString &)> onCall; ///< called within each virtual function

    bool createVideoThread() override;
    void releaseVideoThread() override;
    void startAudioThread() override;
    void stopAudioThread() override;
    void closeEvent(QCloseEvent *event) override;
    void started() override;
    void finished() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject *thread) override;
    void receiveImage(const QImage &image, int time) override;
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                      quint32 linesizeY, quint32 linesizeU, quint32 linesizeV) override;
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataUV, quint32 linesizeY,
                      quint32 linesizeUV) override;
    void receiveFrame(int width, int height, quint8 *data, bool codecChanged) override;
    void receiveFrame(int width, int height, quint8 *data, qint32 index,
                      bool codecChanged) override;
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize) override;
    void playAudio(const QByteArray &data) override;

private:
    void note(const QString &call);
};

/// Counts the paint events of a widget.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *widget);
    bool eventFilter(QObject *watched, QEvent *event) override;
    int count = 0;
};

/// Runs the event loop until everything is painted that had to be painted when this was called.
bool settle();

/// Shows the widget and waits until it is painted.
bool shows(QWidget *widget);

/// What the widget shows there, its children included.
QColor pixel(QWidget *widget, int x, int y);

QImage colouredImage(int width, int height, const QColor &color);

/// Emits once each signal by which any stream tells its form and hands over pictures and sound.
/// `memory`: of the planes, 64 bytes.
template<typename Thread>
void emitRound(Thread *thread, QByteArray *memory)
{
    auto *pixel = reinterpret_cast<quint8 *>(memory->data());
    emit thread->sig_updateCodecRender(QStringLiteral("H265"), 4, 4);
    emit thread->receivePlayStart(0);
    emit thread->receiveRenderStart();
    emit thread->receiveFrame(4, 4, pixel, pixel, pixel, 4u, 2u, 2u);
    emit thread->receiveFrame(4, 4, pixel, pixel, 4u, 4u);
    emit thread->receiveFrame(4, 4, pixel, false);
    emit thread->receiveFrame(4, 4, pixel, 0, false);
    emit thread->receiveImage(QImage(4, 4, QImage::Format_RGB32), 0);
    emit thread->snapImage(QImage(), QString());
    emit thread->receiveSizeChanged();
    emit thread->receiveAudio(*memory);
}

/// What the tests of AbstractVideoWidget share: it writes no line of its own.
class AbstractWidgetTest : public vantratest::LoggedTest
{
protected:
    void tearDown() override;
};

} // namespace videowidgetfakes
