// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/abstractvideothread.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QMetaMethod>
#include <QMutexLocker>
#include <QTimer>

namespace {

constexpr int kOpenPauseStepMs = 100; ///< a stop cuts the pause between two opens short by this
constexpr int kEndPollMs = 10;        ///< how often endRun() looks for a blocked run()
constexpr int kNoSaveLimit = -1;

/// Throws away what is queued for the objects that are being destroyed with `child`, which is a part
/// of them, and for their other parts. An object that is deleted by its parent has already left the
/// parent's list of children; that tells it from one that is deleted by itself.
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
    : QThread(parent),
      parentObject(parent),
      saveInterval(RECORD_TYPE_MAX, kNoSaveLimit),
      savePath(RECORD_TYPE_MAX),
      recording(RECORD_TYPE_MAX, false),
      saveAudio(RECORD_TYPE_MAX, true),
      saveTimer(RECORD_TYPE_MAX),
      fileName(RECORD_TYPE_MAX)
{
    qRegisterMetaType<RecorderState>("RecorderState");
}

AbstractVideoThread::~AbstractVideoThread()
{
    endRun();
}

// --- Parameters ---------------------------------------------------------------------------------

QString AbstractVideoThread::locked(const QString &text) const
{
    QMutexLocker lock(&textMutex);
    return text;
}

void AbstractVideoThread::setLocked(QString &text, const QString &value)
{
    QMutexLocker lock(&textMutex);
    text = value;
}

VideoMode AbstractVideoThread::getVideoMode() const { return videoMode; }
void AbstractVideoThread::setVideoMode(const VideoMode &mode) { videoMode = mode; }
VideoCore AbstractVideoThread::getVideoCore() const { return videoCore; }
void AbstractVideoThread::setVideoCore(const VideoCore &core) { videoCore = core; }
DecodeType AbstractVideoThread::getDecodeType() const { return decodeType; }
void AbstractVideoThread::setDecodeType(const DecodeType &type) { decodeType = type; }
QString AbstractVideoThread::getHardware() const { return locked(hardware); }
void AbstractVideoThread::setHardware(const QString &name) { setLocked(hardware, name); }
QString AbstractVideoThread::getTransport() const { return locked(transport); }
void AbstractVideoThread::setTransport(const QString &name) { setLocked(transport, name); }
QString AbstractVideoThread::getBufferSize() const { return locked(bufferSize); }
void AbstractVideoThread::setBufferSize(const QString &size) { setLocked(bufferSize, size); }
QString AbstractVideoThread::getVideoUrl() const { return locked(videoUrl); }
void AbstractVideoThread::setVideoUrl(const QString &url) { setLocked(videoUrl, url); }
QString AbstractVideoThread::getSnapName() const { return locked(snapName); }
void AbstractVideoThread::setSnapName(const QString &name) { setLocked(snapName, name); }
int AbstractVideoThread::getFrameRate() const { return frameRate; }
void AbstractVideoThread::setFrameRate(int rate) { frameRate = rate; }
int AbstractVideoThread::getRotate() const { return rotate; }
void AbstractVideoThread::setRotate(int degrees) { rotate = degrees; }
int AbstractVideoThread::getCaching() const { return caching; }
void AbstractVideoThread::setCaching(int milliseconds) { caching = milliseconds; }
bool AbstractVideoThread::getPlayRepeat() const { return playRepeat; }
void AbstractVideoThread::setPlayRepeat(bool repeat) { playRepeat = repeat; }
int AbstractVideoThread::getOpenSleepTime() const { return openSleepTime; }
void AbstractVideoThread::setOpenSleepTime(int milliseconds) { openSleepTime = milliseconds; }
int AbstractVideoThread::getReadTimeout() const { return readTimeout; }
void AbstractVideoThread::setReadTimeout(int milliseconds) { readTimeout = milliseconds; }
int AbstractVideoThread::getConnectTimeout() const { return connectTimeout; }
void AbstractVideoThread::setConnectTimeout(int milliseconds) { connectTimeout = milliseconds; }

int AbstractVideoThread::getVideoWidth() const { return videoWidth; }
int AbstractVideoThread::getVideoHeight() const { return videoHeight; }
bool AbstractVideoThread::getOnlyAudio() const { return onlyAudio; }
bool AbstractVideoThread::getIsOk() const { return isOk; }
bool AbstractVideoThread::getIsPause() const { return isPause; }
bool AbstractVideoThread::getIsSnap() const { return isSnap; }

void AbstractVideoThread::setFlag(const QString &name) { setLocked(flag, name); }
void AbstractVideoThread::setSnapPreview(bool preview) { snapPreview = preview; }
QElapsedTimer *AbstractVideoThread::getTimer() { return &timer; }
std::atomic<int> &AbstractVideoThread::previewRef() { return previewCount; }
std::atomic<bool> &AbstractVideoThread::isOwned() { return owned; }

int AbstractVideoThread::referenceCount() const
{
    return previewCount + recording.count(true);
}

bool AbstractVideoThread::isOpenTimeout() const { return openFailCount > 0; }
bool AbstractVideoThread::isReadTimeout() const { return readTimedOut; }

void AbstractVideoThread::updateTime()
{
    lastTime = QDateTime::currentDateTime();
}

void AbstractVideoThread::checkVideoSize(int w, int h)
{
    if (w <= 0 || h <= 0 || videoWidth <= 0 || videoHeight <= 0)
        return;
    if (w == videoWidth && h == videoHeight)
        return;
    videoWidth = w;
    videoHeight = h;
    QMetaObject::invokeMethod(this, "receiveSizeChanged");
}

void AbstractVideoThread::setVideoSize(const QString &size)
{
    setLocked(videoSize, size);
    QStringList parts;
    if (size.contains(QLatin1Char('*')))
        parts = size.split(QLatin1Char('*'));
    else if (size.contains(QLatin1Char('x')))
        parts = size.split(QLatin1Char('x'));
    if (parts.size() == 2) {
        videoWidth = parts.at(0).toInt();
        videoHeight = parts.at(1).toInt();
    }
}

void AbstractVideoThread::checkCameraUrl(const QString &url, QString &cameraName,
                                         QString &cameraSize, int &cameraFps)
{
    const QStringList parts = url.split(QLatin1Char('|'));
    cameraName = parts.at(0);
    if (parts.size() > 1) {
        QStringList sizes;
        if (parts.at(1).contains(QLatin1Char('*')))
            sizes = parts.at(1).split(QLatin1Char('*'));
        else if (parts.at(1).contains(QLatin1Char('x')))
            sizes = parts.at(1).split(QLatin1Char('x'));
        cameraSize = QStringLiteral("0x0");
        if (sizes.size() == 2)
            cameraSize = QStringLiteral("%1x%2").arg(sizes.at(0).toInt()).arg(sizes.at(1).toInt());
        if (parts.size() > 2)
            cameraFps = parts.at(2).toInt();
    }
    if (cameraSize == QLatin1String("0x0"))
        cameraSize = QStringLiteral("640x480");
}

// --- Recording ----------------------------------------------------------------------------------

void AbstractVideoThread::recordStart(RecordType type)
{
    if (isRecordType(type))
        recording[type] = true;
}

void AbstractVideoThread::recordStop(RecordType type)
{
    if (isRecordType(type))
        recording[type] = false;
}

bool AbstractVideoThread::isRecording(RecordType type) const
{
    return isRecordType(type) && recording.at(type);
}

void AbstractVideoThread::setSaveInterval(RecordType type, int seconds)
{
    if (isRecordType(type))
        saveInterval[type] = seconds;
}

int AbstractVideoThread::getSaveInterval(RecordType type) const
{
    return isRecordType(type) ? saveInterval.at(type) : kNoSaveLimit;
}

void AbstractVideoThread::setSavePath(RecordType type, const QString &path)
{
    if (isRecordType(type))
        setLocked(savePath[type], path);
}

void AbstractVideoThread::setSaveAudio(RecordType type, bool audio)
{
    if (isRecordType(type))
        saveAudio[type] = audio;
}

void AbstractVideoThread::setFileName(RecordType type, const QString &name)
{
    if (!isRecordType(type))
        return;
    setLocked(fileName[type], name);
    checkPath(name);
}

QString AbstractVideoThread::getFileName(RecordType type) const
{
    return isRecordType(type) ? locked(fileName.at(type)) : QString();
}

void AbstractVideoThread::checkPath(const QString &path)
{
    QString dir = QFileInfo(path).path();
    if (dir.startsWith(QLatin1String("./"))) {
        // Every dot goes, also one inside a folder's name: that is intended.
        dir.remove(QLatin1Char('.'));
        dir.prepend(QCoreApplication::applicationDirPath());
    }
    const QDir folder(dir);
    if (!folder.exists())
        folder.mkpath(dir);
}

// --- Snapshots ----------------------------------------------------------------------------------

void AbstractVideoThread::snap(const QString &name)
{
    // Without a viewer nothing is decoded, and there is no picture to save.
    if (previewCount <= 0 || !isRunning())
        return;
    // The flag comes last: the loop may act on it at once, and needs name and folder then.
    setSnapName(name);
    checkPath(name);
    isSnap = true;
}

void AbstractVideoThread::snapFinsh()
{
    QString name = getSnapName();
    // A close that came first has cleared the name.
    const QImage image = name.isEmpty() ? QImage() : QImage(name);
    const QString png = QStringLiteral(".png");
    if (name.endsWith(png)) {
        // The loop writes JPEG data whatever the name says; the name is put right here.
        QFile::remove(name);
        name.replace(name.size() - png.size(), png.size(), QStringLiteral(".jpg"));
        setSnapName(name);
        image.save(name, "jpg", -1);
    }
    isSnap = false;
    if (snapPreview)
        emit snapImage(image, name);
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
qint64 AbstractVideoThread::getDuration() { return duration; }
qint64 AbstractVideoThread::getPosition() { return position; }

void AbstractVideoThread::setPosition(qint64 value)
{
    position = value;
    emit receivePosition(value);
}

double AbstractVideoThread::getSpeed() { return 1.0; }
void AbstractVideoThread::setSpeed(double) {}

void AbstractVideoThread::stop2()
{
    if (readTimeout > 0 && isOk && isRunning()) {
        debug(QStringLiteral("重新打开"), QString());
        isOk = false;
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
    stopAsked = true;
    stopped = true;
    isPause = false;
    isSnap = false;
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
    QMetaObject::invokeMethod(this, [this] { startOnceIdle(); }, Qt::QueuedConnection);
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
        stopAsked = true;
        stopped = true;
        quit(); // for a run() that is an event loop
        QCoreApplication::removePostedEvents(this);
        discardEventsOfDyingParents(this);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    } while (!wait(kEndPollMs));
    restartPending = false;
}
