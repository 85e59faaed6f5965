// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "videowidgetfakes.h"

#include <QEvent>
#include <QSemaphore>
#include <QtTest>

#include <memory>

namespace videowidgetfakes {

namespace {

constexpr int kDeadlineMs = 20000;

} // namespace

FakeThread::FakeThread(QObject *parent) : AbstractVideoThread(parent) {}

FakeThread::~FakeThread()
{
    deafToStop = false;
    endRun();
}

void FakeThread::post(const Task &task)
{
    QMutexLocker locker(&taskMutex);
    tasks.enqueue(task);
    taskPosted.wakeAll();
}

bool FakeThread::call(const Task &task)
{
    const auto done = std::make_shared<std::atomic<bool>>(false);
    post([task, done] {
        task();
        *done = true;
    });
    return vantratest::waitFor([done] { return done->load(); });
}

bool FakeThread::callWithoutEvents(const Task &task)
{
    const auto done = std::make_shared<QSemaphore>();
    post([task, done] {
        task();
        done->release();
    });
    return done->tryAcquire(1, kDeadlineMs);
}

void FakeThread::end()
{
    post([this] { ended = true; });
}

void FakeThread::setPicture(int width, int height, int degrees, bool audioOnly)
{
    videoWidth = width;
    videoHeight = height;
    rotate = degrees;
    onlyAudio = audioOnly;
}

void FakeThread::stop()
{
    calls << QStringLiteral("stop");
    AbstractVideoThread::stop();
}

void FakeThread::pause()
{
    calls << QStringLiteral("pause");
    AbstractVideoThread::pause();
}

void FakeThread::next()
{
    calls << QStringLiteral("next");
    AbstractVideoThread::next();
}

void FakeThread::seekFile(const QDateTime &dateTime)
{
    calls << QStringLiteral("seekFile ") + dateTime.toString(Qt::ISODate);
}

void FakeThread::setSpeed(double speed)
{
    calls << QStringLiteral("setSpeed %1").arg(speed);
}

void FakeThread::run()
{
    ended = false;
    while (!ended && !(stopped && !deafToStop)) {
        Task task;
        {
            QMutexLocker locker(&taskMutex);
            if (tasks.isEmpty())
                taskPosted.wait(&taskMutex, 5);
            if (!tasks.isEmpty())
                task = tasks.dequeue();
        }
        if (task)
            task();
    }
}

void FakeD3D9::updateFrame(int width, int height, quint8 *data, bool codecChanged)
{
    calls << QStringLiteral("frame %1x%2 %3").arg(width).arg(height).arg(codecChanged);
    this->data = data;
}

void FakeD3D9::setDigitalZoom(bool digitalZoom)
{
    calls << QStringLiteral("zoom %1").arg(digitalZoom);
}

void FakeD3D9::setDigitalZoomRect(const QRectF &rect)
{
    calls << QStringLiteral("zoomRect");
    zoomRect = rect;
}

void FakeD3D11::updateFrame(int width, int height, quint8 *data, qint32 index, bool codecChanged)
{
    calls << QStringLiteral("frame %1x%2 [%3] %4")
                 .arg(width)
                 .arg(height)
                 .arg(index)
                 .arg(codecChanged);
    this->data = data;
}

void FakeYuv::updateFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                          quint32 linesizeY, quint32 linesizeU, quint32 linesizeV)
{
    calls << QStringLiteral("frame %1x%2 %3 %4 %5")
                 .arg(width)
                 .arg(height)
                 .arg(linesizeY)
                 .arg(linesizeU)
                 .arg(linesizeV);
    planes = {dataY, dataU, dataV};
}

void FakeNv12::updateFrame(int width, int height, quint8 *dataY, quint8 *dataUV, quint32 linesizeY,
                           quint32 linesizeUV)
{
    calls << QStringLiteral("frame %1x%2 %3 %4")
                 .arg(width)
                 .arg(height)
                 .arg(linesizeY)
                 .arg(linesizeUV);
    planes = {dataY, dataUV};
}

void FakeAudio::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    calls << QStringLiteral("open %1 %2 %3").arg(sampleRate).arg(channelCount).arg(sampleSize);
}

void FakeAudio::play(const QByteArray &data)
{
    calls << QStringLiteral("play ") + QString::fromLatin1(data);
}

void FakeAudio::receiveVolume(int volume)
{
    calls << QStringLiteral("volume %1").arg(volume);
}

void FakeAudio::receiveMuted(bool muted)
{
    calls << QStringLiteral("muted %1").arg(muted);
}

bool PlayWidget::startAndRun()
{
    return start() && vantratest::waitFor([this] { return isRunning; });
}

bool PlayWidget::showAndRun()
{
    setVideoMode(VideoMode_Painter);
    show();
    return QTest::qWaitForWindowExposed(this) && startAndRun();
}

void PlayWidget::note(const QString &call)
{
    calls << call;
    if (onCall)
        onCall(call);
}

bool PlayWidget::createVideoThread()
{
    note(QStringLiteral("createVideoThread"));
    if (!canCreate)
        return false;
    if (!videoThread)
        videoThread = new FakeThread(this);
    return true;
}

void PlayWidget::releaseVideoThread()
{
    note(QStringLiteral("releaseVideoThread"));
    if (!videoThread)
        return;
    if (videoThread->previewRef() > 0)
        --videoThread->previewRef();
    videoThread->stop();
    stoppedThreads.append(videoThread);
    videoThread = nullptr;
}

void PlayWidget::startAudioThread()
{
    note(QStringLiteral("startAudioThread"));
    Exposed::startAudioThread();
}

void PlayWidget::stopAudioThread()
{
    note(QStringLiteral("stopAudioThread"));
    Exposed::stopAudioThread();
}

void PlayWidget::closeEvent(QCloseEvent *event)
{
    note(QStringLiteral("closeEvent"));
    Exposed::closeEvent(event);
}

void PlayWidget::started()
{
    Exposed::started();
    note(QStringLiteral("started"));
}

void PlayWidget::finished()
{
    Exposed::finished();
    note(QStringLiteral("finished"));
}

void PlayWidget::receivePlayStart(int time)
{
    const QPointer<PlayWidget> self(this);
    Exposed::receivePlayStart(time);
    if (self) // the test may delete the widget in the report
        note(QStringLiteral("receivePlayStart"));
}

void PlayWidget::receivePlayFinsh(QObject *thread)
{
    note(QStringLiteral("receivePlayFinsh"));
    Exposed::receivePlayFinsh(thread);
}

void PlayWidget::receiveImage(const QImage &image, int time)
{
    Exposed::receiveImage(image, time);
    note(QStringLiteral("receiveImage"));
}

void PlayWidget::receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                              quint32 linesizeY, quint32 linesizeU, quint32 linesizeV)
{
    Exposed::receiveFrame(width, height, dataY, dataU, dataV, linesizeY, linesizeU, linesizeV);
    note(QStringLiteral("planar"));
}

void PlayWidget::receiveFrame(int width, int height, quint8 *dataY, quint8 *dataUV,
                              quint32 linesizeY, quint32 linesizeUV)
{
    Exposed::receiveFrame(width, height, dataY, dataUV, linesizeY, linesizeUV);
    note(QStringLiteral("nv12"));
}

void PlayWidget::receiveFrame(int width, int height, quint8 *data, bool codecChanged)
{
    Exposed::receiveFrame(width, height, data, codecChanged);
    note(QStringLiteral("d3d9"));
}

void PlayWidget::receiveFrame(int width, int height, quint8 *data, qint32 index, bool codecChanged)
{
    Exposed::receiveFrame(width, height, data, index, codecChanged);
    note(QStringLiteral("d3d11"));
}

void PlayWidget::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    Exposed::openAudioOutput(sampleRate, channelCount, sampleSize);
    note(QStringLiteral("openAudioOutput"));
}

void PlayWidget::playAudio(const QByteArray &data)
{
    Exposed::playAudio(data);
    note(QStringLiteral("playAudio"));
}

PaintCounter::PaintCounter(QWidget *widget)
{
    widget->installEventFilter(this);
}

bool PaintCounter::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Paint)
        ++count;
    return QObject::eventFilter(watched, event);
}

bool settle()
{
    // Repaints are scheduled in the order in which they are asked for, so that of a second window
    // comes after all that were asked for before.
    for (int round = 0; round < 2; ++round) {
        QWidget other;
        PaintCounter counter(&other);
        other.resize(20, 20);
        other.show();
        if (!vantratest::waitFor([&] { return counter.count > 0; }))
            return false;
        const int before = counter.count;
        other.update();
        if (!vantratest::waitFor([&] { return counter.count > before; }))
            return false;
    }
    return true;
}

bool shows(QWidget *widget)
{
    widget->show();
    return QTest::qWaitForWindowExposed(widget) && settle();
}

QColor pixel(QWidget *widget, int x, int y)
{
    return widget->grab().toImage().pixelColor(x, y);
}

QImage colouredImage(int width, int height, const QColor &color)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

void AbstractWidgetTest::tearDown()
{
    for (const auto &line : log->lines())
        QVERIFY(!line.file.contains(QLatin1String("videowidget")));
}

} // namespace videowidgetfakes
