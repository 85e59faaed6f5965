// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/pictureforms.h"
#include "core_vod/orvovodthread.h"
#include "support/deviceframes.h"
#include "support/loggedtest.h"
#include "support/scriptedbackend.h"
#include "support/signalrecorder.h"
#include "support/waitfor.h"

#include <QDateTime>
#include <QMutex>
#include <QMutexLocker>
#include <QtTest>

#include <memory>

namespace vantratest {

/// A playback whose hooks a test may call by itself, on its own thread. Its fields are those of the
/// stream thread: to be read there, or when it has ended.
class VodProbe final : public OrvoVodThread
{
    Q_DISABLE_COPY(VodProbe)

public:
    VodProbe() = default;
    ~VodProbe() override { endRun(); }

    using OrvoVodThread::checkConnect;
    using OrvoVodThread::closeVideo;
    using OrvoVodThread::decodeImage;
    using OrvoVodThread::getLatestRecordCodec;
    using OrvoVodThread::initInput;
    using OrvoVodThread::isPause;
    using OrvoVodThread::keyFrameSeen;
    using OrvoVodThread::lastPts;
    using OrvoVodThread::playedOnce;
    using OrvoVodThread::readFrame;
    using OrvoVodThread::timeoutCount;
    using OrvoVodThread::vodStartPara;
};

/// What the tests of playbacks of a scripted device share. The recording is made of numbered
/// pictures: 0, 10 and 20 are key pictures.
class VodThreadCase : public LoggedTest, protected DeviceFrames
{
protected:
    using Op = DeviceScript::Op;
    static constexpr int kChannel = 2;
    static constexpr int kLongMs = 20000; ///< longer than any test reads

    void setUp() override
    {
        script = std::make_shared<DeviceScript>();
        thread = std::make_unique<VodProbe>();
        recorder = std::make_unique<SignalRecorder>();
        thread->bindDevice(scriptedDevice(script));
        thread->setStreamChannel(kChannel, 0);
        thread->setReadTimeout(kLongMs);
        thread->setVideoMode(VideoMode_Painter);
        fed = 0;
        shownNumbers.clear();
        using Thread = AbstractVideoThread;
        Thread *sender = thread.get();
        recorder->watch(sender, &Thread::receivePlayStart, "start");
        recorder->watch(sender, &Thread::receivePlayFinsh, "finsh");
        recorder->watch(sender, &Thread::sig_connExceedMax, "max");
        recorder->watch(sender, &Thread::sig_otherError, "other");
        recorder->watch(sender, &Thread::receivePosition, "position");
        recorder->watch(sender, &Thread::receiveAudioFormat, "audioFormat");
        recorder->watch(sender, &Thread::receiveAudio, "audio");
        recorder->watch(sender, &Thread::sig_updateCodecRender, "codecRender");
        recorder->watch(sender, &Thread::receiveRenderStart, "renderStart");
        recorder->watch(sender, &Thread::snapImage, "snap");
        QObject::connect(
            sender, &Thread::receiveImage, sender,
            [this](const QImage &image) { note(numberIn(image)); }, Qt::DirectConnection);
    }

    void tearDown() override
    {
        letReadsReturn();
        thread.reset();
        recorder.reset();
    }

    // The log.

    static QString line(const QString &text) { return QStringLiteral("(orvodthr)") + text; }
    void expectError(const QString &text) { log->expect(Logger::Error, line(text)); }
    void expectWarning(const QString &text) { log->expect(Logger::Warning, line(text)); }
    int errors(const QString &text) const { return log->count(Logger::Error, line(text)); }
    int infos(const QString &text) const { return log->count(Logger::Info, line(text)); }
    int debugs(const QString &text) const { return log->count(Logger::Debug, line(text)); }

    // The device.

    void feed(const DeviceAnswer &answer)
    {
        ++fed;
        script->enqueue(Op::vodReadFrame, answer);
    }
    void feed(const QVector<ScriptedFrame> &frames)
    {
        for (const ScriptedFrame &frame : frames)
            feed(frame);
    }
    void feedTimes(int times, const DeviceAnswer &answer)
    {
        for (int i = 0; i < times; ++i)
            feed(answer);
    }
    /// A picture with a stamp of its own.
    void feedPicture(int number, qint64 pts)
    {
        ScriptedFrame frame = picture(number);
        frame.header.pts = pts;
        feed(frame);
    }
    /// Feeds a time-out in which `look` runs on the stream thread, behind all that was fed before.
    void feedLook(const std::function<void()> &look)
    {
        DeviceAnswer answer(HRetTimeout);
        answer.first = look;
        feed(answer);
    }
    int reads() const { return script->count(Op::vodReadFrame); }
    /// From now on reads that wait, or would wait, time out at once.
    void letReadsReturn() { script->setAnswer(Op::vodReadFrame, HRetTimeout); }

    // The play.

    /// Starts the thread with a viewer and waits until it reads.
    bool begin(int viewers = 1)
    {
        thread->previewRef() = viewers;
        thread->play();
        return waitFor([&] { return reads() > 0; });
    }
    /// Waits until all that was fed has been dealt with, and the thread reads again.
    bool settle()
    {
        return waitFor([&] { return reads() > fed; });
    }
    bool waitForEnd()
    {
        const bool ended = waitFor([&] { return thread->isFinished(); }) && thread->wait();
        QCoreApplication::processEvents();
        return ended;
    }
    bool end()
    {
        thread->stop();
        letReadsReturn();
        return waitForEnd();
    }

    /// Numbers in the pictures that were shown, in order.
    QVector<int> shown() const
    {
        QMutexLocker lock(&shownMutex);
        QVector<int> numbers = shownNumbers;
        numbers.detach(); // shared with nobody
        return numbers;
    }
    QVector<qint64> positions() const
    {
        QVector<qint64> result;
        for (const auto &call : recorder->calls(QStringLiteral("position")))
            result << call.arguments.value(0).toLongLong();
        return result;
    }

    std::shared_ptr<DeviceScript> script;
    std::unique_ptr<VodProbe> thread;
    std::unique_ptr<SignalRecorder> recorder;
    int fed = 0; ///< answers to reads

private:
    void note(int number)
    {
        QMutexLocker lock(&shownMutex);
        shownNumbers << number;
    }

    mutable QMutex shownMutex;
    QVector<int> shownNumbers;
};

} // namespace vantratest
