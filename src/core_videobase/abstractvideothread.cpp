// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/abstractvideothread.h"

#include "core_videosave/savemp4ffmpeg.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMetaMethod>
#include <QTimer>

namespace {

constexpr int kOpenPauseStepMs = 100; ///< a stop cuts the pause between two opens short by this
constexpr int kEndPollMs = 10;        ///< how often endRun() looks for a blocked run()

/// Throws away what is queued for the objects that are being destroyed with `child`, which is a
/// part of them, and for their other parts. An object that is deleted by its parent has already
/// left the parent's list of children; that tells it from one that is deleted by itself.
void discardEventsOfDyingParents(const QObject *child)
{
    for (QObject *parent = child->parent();
         parent && !parent->children().contains(const_cast<QObject *>(child));
         child = parent, parent = parent->parent()) {
        QCoreApplication::removePostedEvents(parent, QEvent::MetaCall);
        const QList<QObject *> others = parent->findChildren<QObject *>();
        for (QObject *other : others)
            QCoreApplication::removePostedEvents(other, QEvent::MetaCall);
    }
}

} // namespace

bool AbstractVideoThread::debugInfo = true;
bool AbstractVideoThread::sharedData = true;

AbstractVideoThread::AbstractVideoThread(QObject *parent)
    : QThread(parent), parentObject(parent), saveInterval(RECORD_TYPE_MAX, kNoSaveLimit),
      savePath(RECORD_TYPE_MAX), recording(RECORD_TYPE_MAX, false),
      saveAudio(RECORD_TYPE_MAX, true), saveTimer(RECORD_TYPE_MAX), fileName(RECORD_TYPE_MAX),
      saver(RECORD_TYPE_MAX)
{
    for (SaveMp4FFmpeg *&writer : saver)
        writer = new SaveMp4FFmpeg;
    qRegisterMetaType<RecorderState>("RecorderState");
}

AbstractVideoThread::~AbstractVideoThread()
{
    endRun();
    qDeleteAll(saver);
}

// --- Hooks and slots ----------------------------------------------------------------------------

bool AbstractVideoThread::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize)
        setGeometry();
    return QThread::eventFilter(watched, event);
}

void AbstractVideoThread::setGeometry() {}
void AbstractVideoThread::setMP4FileName(RecordType) {}
void AbstractVideoThread::renameMP4File(RecordType) {}

bool AbstractVideoThread::checkOpen()
{
    const int steps = openSleepTime / kOpenPauseStepMs;
    for (int i = 0; i < steps && !stopped && !isOk; ++i)
        msleep(kOpenPauseStepMs);
    playedOnce = isOk;
    return playedOnce;
}

void AbstractVideoThread::debug(const QString &head, const QString &msg, const QString &url)
{
    Q_UNUSED(msg)
    Q_UNUSED(url)
    if (!debugInfo)
        return;
    const QString name = locked(flag);
    const QString text = name.isEmpty() ? head : QStringLiteral("标识[%1] %2").arg(name, head);
    // Deliberately without an output: a build that wants to follow a thread prints `text` here.
    Q_UNUSED(text)
}

void AbstractVideoThread::debug(const QString &head, const QString &msg)
{
    debug(head, msg, getVideoUrl());
}

void AbstractVideoThread::setImage(const QImage &image)
{
    updateTime();
    emit receiveImage(image, 0);
}

void AbstractVideoThread::setYuv(quint8 *dataY, quint8 *dataU, quint8 *dataV, int width, int height)
{
    updateTime();
    const auto chroma = static_cast<quint32>(width / 2);
    emit receiveFrame(width, height, dataY, dataU, dataV, static_cast<quint32>(width), chroma,
                      chroma);
}

void AbstractVideoThread::setPcm(const char *data, int len)
{
    updateTime();
    emit receiveAudio(QByteArray(data, qMax(len, 0)));
}

void AbstractVideoThread::readMediaInfo() {}

qint64 AbstractVideoThread::getDuration()
{
    return duration;
}

qint64 AbstractVideoThread::getPosition()
{
    return position;
}

void AbstractVideoThread::setPosition(qint64 value)
{
    position = value;
    emit receivePosition(value);
}

double AbstractVideoThread::getSpeed()
{
    return 1.0;
}

void AbstractVideoThread::setSpeed(double) {}

void AbstractVideoThread::stop2()
{
    if (getReadTimeout() > 0 && getIsOk() && isRunning()) {
        debug(QStringLiteral("重新打开"), QString());
        askToReopen();
        return;
    }
    // No class of this library has that name, on purpose: a host's own class may.
    for (QObject *object = parent(); object; object = object->parent()) {
        if (object->inherits("VideoWidget")) {
            QMetaObject::invokeMethod(object, "stop");
            return;
        }
    }
}

void AbstractVideoThread::play()
{
    if (isRunning())
        return;
    stopped = false;
    stopAsked = false;
    isPause = false;
    isSnap = false;
    start(QThread::InheritPriority);
}

void AbstractVideoThread::stop()
{
    if (!isRunning()) {
        restartPending = false;
        return;
    }
    askToStop();
    isPause = false;
    isSnap = false;
}

void AbstractVideoThread::askToStop()
{
    stopAsked = true;
    stopped = true;
}

void AbstractVideoThread::askToReopen()
{
    isOk = false;
}

void AbstractVideoThread::pause()
{
    if (isRunning())
        isPause = true;
}

void AbstractVideoThread::next()
{
    if (isRunning())
        isPause = false;
}

// --- End of a session, end of the object --------------------------------------------------------

void AbstractVideoThread::resetSession()
{
    if (!playedOnce)
        return;
    playedOnce = false;
    duration = 0;
    position = 0;
    videoWidth = 0;
    videoHeight = 0;
    rotate = 0;
    errorCount = 0;
    setSnapName(QString());
    stopped = isOk = isPause = isSnap = false;
    emit receivePlayFinsh(this);
}

void AbstractVideoThread::restartAfterRun()
{
    restartPending = true;
    QMetaObject::invokeMethod(
        this, [this] { startOnceIdle(); }, Qt::QueuedConnection);
}

void AbstractVideoThread::startOnceIdle()
{
    if (!restartPending)
        return;
    if (isRunning()) {
        // run() is about to return; QThread::start() would do nothing now.
        QTimer::singleShot(1, this, [this] { startOnceIdle(); });
        return;
    }
    restartPending = false;
    start();
}

void AbstractVideoThread::endRun()
{
    restartPending = false;
    if (QThread::currentThread() == this || wait(0))
        return;
    for (int i = QThread::staticMetaObject.methodCount(); i < metaObject()->methodCount(); ++i) {
        const QMetaMethod method = metaObject()->method(i);
        if (method.methodType() == QMetaMethod::Signal)
            disconnect(this, method, nullptr, QMetaMethod());
    }
    // A run() that stands in a blocking signal goes on when the event it has posted is executed or
    // destroyed, and disconnecting does neither. A close may clear the flags, so they are set anew.
    do {
        askToStop();
        quit(); // for a run() that is an event loop
        QCoreApplication::removePostedEvents(this);
        discardEventsOfDyingParents(this);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    } while (!wait(kEndPollMs));
    restartPending = false;
}
