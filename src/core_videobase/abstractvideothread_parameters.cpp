// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// AbstractVideoThread: what a host sets and asks.
#include "core_videobase/abstractvideothread.h"

#include <QMutexLocker>

QString AbstractVideoThread::locked(const QString &text) const
{
    QMutexLocker lock(&valueMutex);
    return text;
}

void AbstractVideoThread::setLocked(QString &text, const QString &value)
{
    QMutexLocker lock(&valueMutex);
    text = value;
}

VideoMode AbstractVideoThread::getVideoMode() const
{
    return videoMode;
}

void AbstractVideoThread::setVideoMode(const VideoMode &mode)
{
    videoMode = mode;
}

VideoCore AbstractVideoThread::getVideoCore() const
{
    return videoCore;
}

void AbstractVideoThread::setVideoCore(const VideoCore &core)
{
    videoCore = core;
}

DecodeType AbstractVideoThread::getDecodeType() const
{
    return decodeType;
}

void AbstractVideoThread::setDecodeType(const DecodeType &type)
{
    decodeType = type;
}

QString AbstractVideoThread::getHardware() const
{
    return locked(hardware);
}

void AbstractVideoThread::setHardware(const QString &name)
{
    setLocked(hardware, name);
}

QString AbstractVideoThread::getTransport() const
{
    return locked(transport);
}

void AbstractVideoThread::setTransport(const QString &name)
{
    setLocked(transport, name);
}

QString AbstractVideoThread::getBufferSize() const
{
    return locked(bufferSize);
}

void AbstractVideoThread::setBufferSize(const QString &size)
{
    setLocked(bufferSize, size);
}

QString AbstractVideoThread::getVideoUrl() const
{
    return locked(videoUrl);
}

void AbstractVideoThread::setVideoUrl(const QString &url)
{
    setLocked(videoUrl, url);
}

QString AbstractVideoThread::getSnapName() const
{
    return locked(snapName);
}

void AbstractVideoThread::setSnapName(const QString &name)
{
    setLocked(snapName, name);
}

int AbstractVideoThread::getFrameRate() const
{
    return frameRate;
}

void AbstractVideoThread::setFrameRate(int rate)
{
    frameRate = rate;
}

int AbstractVideoThread::getRotate() const
{
    return rotate;
}

void AbstractVideoThread::setRotate(int degrees)
{
    rotate = degrees;
}

int AbstractVideoThread::getCaching() const
{
    return caching;
}

void AbstractVideoThread::setCaching(int milliseconds)
{
    caching = milliseconds;
}

bool AbstractVideoThread::getPlayRepeat() const
{
    return playRepeat;
}

void AbstractVideoThread::setPlayRepeat(bool repeat)
{
    playRepeat = repeat;
}

int AbstractVideoThread::getOpenSleepTime() const
{
    return openSleepTime;
}

void AbstractVideoThread::setOpenSleepTime(int milliseconds)
{
    openSleepTime = milliseconds;
}

int AbstractVideoThread::getReadTimeout() const
{
    return readTimeout;
}

void AbstractVideoThread::setReadTimeout(int milliseconds)
{
    readTimeout = milliseconds;
}

int AbstractVideoThread::getConnectTimeout() const
{
    return connectTimeout;
}

void AbstractVideoThread::setConnectTimeout(int milliseconds)
{
    connectTimeout = milliseconds;
}

int AbstractVideoThread::getVideoWidth() const
{
    return videoWidth;
}

int AbstractVideoThread::getVideoHeight() const
{
    return videoHeight;
}

bool AbstractVideoThread::getOnlyAudio() const
{
    return onlyAudio;
}

bool AbstractVideoThread::getIsOk() const
{
    return isOk;
}

bool AbstractVideoThread::getIsPause() const
{
    return isPause;
}

bool AbstractVideoThread::getIsSnap() const
{
    return isSnap;
}

void AbstractVideoThread::setFlag(const QString &name)
{
    setLocked(flag, name);
}

void AbstractVideoThread::setSnapPreview(bool preview)
{
    snapPreview = preview;
}

QElapsedTimer *AbstractVideoThread::getTimer()
{
    return &timer;
}

std::atomic<int> &AbstractVideoThread::previewRef()
{
    return previewCount;
}

std::atomic<bool> &AbstractVideoThread::isOwned()
{
    return owned;
}

int AbstractVideoThread::referenceCount() const
{
    return previewCount + recording.count(true);
}

bool AbstractVideoThread::isOpenTimeout() const
{
    return openFailCount > 0;
}

bool AbstractVideoThread::isReadTimeout() const
{
    return readTimedOut;
}

// In UTC: FFmpeg asks for the time that has gone dozens of times for each picture, and a local time
// costs a look at the system's file of time zones each time.

void AbstractVideoThread::updateTime()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QMutexLocker lock(&valueMutex);
    lastTime = now;
}

qint64 AbstractVideoThread::quietMs() const
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QMutexLocker lock(&valueMutex);
    return lastTime.isValid() ? now - lastTime.toMSecsSinceEpoch() : 0;
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
