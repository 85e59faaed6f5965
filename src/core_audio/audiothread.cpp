// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/audiothread.h"

#include "core_audio/audioplayer.h"
#include "core_codec/mediacodec.h"
#include "processend_p.h"

#include <QMutexLocker>
#include <QThread>

namespace {

constexpr int kG711ALaw = 33; ///< HAVCodecID of the device link

/// What devices take as talk.
constexpr _tag_aenc_param_s kTalkEncoder = {kG711ALaw, 8000, 16, 1};

/// Goes at the very end of the thread, behind the devices that were deleted later.
thread_local std::unique_ptr<processend::Worker> t_worker;

/// A device has been opened: Qt's sound plugin has made the connection that its devices share and
/// that it destroys when the process ends, without a look at who uses it.
void endBeforeTheServer()
{
    static const bool isFirst = (processend::precedeWhatExists(), true);
    Q_UNUSED(isFirst)
}

} // namespace

AudioThread::AudioThread()
    : codec(std::make_unique<MediaCodec>()), thread(std::make_unique<QThread>())
{
    codec->destroyAudioEncoder();
    codec->createAudioEncoder(kTalkEncoder);
}

AudioThread::~AudioThread()
{
    if (QThread::currentThread() != thread.get()) {
        stopThread();
        return;
    }
    // Deleted by an event of its own loop: the worker cannot wait for itself, and a QThread must
    // not be destroyed before it has ended. Its own thread deletes it then.
    onStoped();
    QThread *worker = thread.release();
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    if (worker->isFinished())
        worker->deleteLater();
    worker->quit();
}

void AudioThread::startThread()
{
    moveToThread(thread.get());
    connect(thread.get(), &QThread::started, this, &AudioThread::onStarted, Qt::UniqueConnection);
    connect(thread.get(), &QThread::finished, this, &AudioThread::onStoped, Qt::UniqueConnection);
    thread->start(QThread::InheritPriority);
}

void AudioThread::stopThread()
{
    if (thread->isRunning())
        thread->quit();
    // Also when it is just ending by itself; returns at once when it has ended or never ran.
    thread->wait();
}

bool AudioThread::getLevel()
{
    QMutexLocker locker(&playerMutex);
    return player && player->getLevel();
}

void AudioThread::setLevel(bool level)
{
    QMutexLocker locker(&playerMutex);
    if (player)
        player->setLevel(level);
}

void AudioThread::setCalcLevel(bool calcLevel)
{
    setLevel(calcLevel);
}

bool AudioThread::getMuted()
{
    QMutexLocker locker(&playerMutex);
    return player && player->getMuted();
}

int AudioThread::getVolume()
{
    QMutexLocker locker(&playerMutex);
    return player ? player->getVolume() : 0;
}

void AudioThread::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    if (!player)
        return;
    player->openAudioOutput(sampleRate, channelCount, sampleSize);
    endBeforeTheServer();
}

void AudioThread::closeAudioOutput()
{
    if (player)
        player->closeAudioOutput();
}

void AudioThread::play(const QByteArray &data)
{
    if (player)
        player->play(data.constData(), data.size());
}

void AudioThread::receiveVolume(int volume)
{
    if (player)
        player->setVolume(volume);
}

void AudioThread::receiveMuted(bool muted)
{
    if (player)
        player->setMuted(muted);
}

void AudioThread::openAudioInput(int sampleRate, int channelCount, int sampleSize)
{
    if (!player)
        return;
    player->openAudioInput(sampleRate, channelCount, sampleSize);
    endBeforeTheServer();
}

void AudioThread::closeAudioInput()
{
    if (player)
        player->closeAudioInput();
}

void AudioThread::setInputBlockSize(int bytes)
{
    if (player)
        player->setInputBlockSize(bytes);
}

void AudioThread::receiveInputData(const QByteArray &) {}

void AudioThread::startTalk() {}

void AudioThread::stopTalk() {}

void AudioThread::onStarted()
{
    t_worker = std::make_unique<processend::Worker>([worker = thread.get()] { worker->quit(); });
    exchangePlayer(std::make_unique<AudioPlayer>());
    connect(player.get(), &AudioPlayer::receiveInputData, this, &AudioThread::receiveInputData,
            Qt::UniqueConnection);
}

void AudioThread::onStoped()
{
    if (t_worker)
        t_worker->isEnding(); // the QThread may go from now on
    const std::unique_ptr<AudioPlayer> former = exchangePlayer(nullptr);
    if (!former)
        return;
    disconnect(former.get(), &AudioPlayer::receiveInputData, this, &AudioThread::receiveInputData);
    former->closeAudioInput();
    former->closeAudioOutput();
}

std::unique_ptr<AudioPlayer> AudioThread::exchangePlayer(std::unique_ptr<AudioPlayer> next)
{
    QMutexLocker locker(&playerMutex);
    player.swap(next);
    return next;
}
