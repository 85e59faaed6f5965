// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QMutex>
#include <QObject>

#include <memory>

class AudioPlayer;
class MediaCodec;
class QThread;

/// Sound of one widget, on a thread of its own, so that a slow sound server does not hold up the
/// user interface while sound plays. stopThread() waits for the worker, be it inside the server.
///
/// Threads. The owner calls startThread() and stopThread(), which may alternate any number of
/// times. startThread() moves this object to the worker: from then on its slots are to be reached
/// only by queued connections or QMetaObject::invokeMethod with Qt::QueuedConnection, and they do
/// nothing while the worker does not run. setLevel(), setCalcLevel(), getLevel(), getMuted() and
/// getVolume() may be called from any thread at any time.
///
/// Each start makes a new player: not muted, not measuring, nothing open. An object with a parent
/// cannot change threads, so there is none. A subclass that overrides an operation calls
/// stopThread() in its own destructor, because the worker may call the override until then.
class VANTRA_EXPORT AudioThread : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(AudioThread)

public:
    AudioThread();
    /// Stops the worker if it runs.
    ~AudioThread() override;

    void startThread(); ///< nothing while the worker runs
    /// Ends the worker and waits, without a time limit, until its devices are closed. Nothing while
    /// it does not run.
    void stopThread();

    /// Whether the player emits a level for each block. False, and nothing is set, without a
    /// player.
    bool getLevel();
    void setLevel(bool level);
    /// The same as setLevel(), by the name that widgets have for it.
    void setCalcLevel(bool calcLevel);
    /// Whether the volume is 0; false without a player.
    bool getMuted();
    /// 0 to 100; 0 without a player.
    int getVolume();

signals:
    /// For hosts and subclasses; this class does not send it.
    void receiveLevel(double level);
    /// The device's talk is taken; `sn` is its serial number.
    void sig_startTalkDeviceBusy(const QString &sn);
    /// The device refuses talk for any other reason.
    void sig_startTalkError(const QString &sn);

public slots:
    /// Hz, channels, bits per sample, on the default device.
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize);
    void closeAudioOutput(); ///< what it holds is lost
    /// PCM in the format of openAudioOutput().
    void play(const QByteArray &data);
    /// Sets the volume, 0 to 100.
    void receiveVolume(int volume);
    /// Mutes output and input.
    void receiveMuted(bool muted);
    /// Hz, channels, bits per sample, on the default device.
    void openAudioInput(int sampleRate, int channelCount, int sampleSize);
    void closeAudioInput(); ///< no block arrives any more
    /// A block from the microphone, on the worker thread. Empty.
    virtual void receiveInputData(const QByteArray &data);
    /// Begins talk, on the worker thread. Empty.
    virtual void startTalk();
    /// Ends talk, on the worker thread. Empty.
    virtual void stopTalk();

protected:
    /// Bytes of a block of an input opened from now on, on the worker; 0: as the platform likes.
    /// See AudioPlayer.
    void setInputBlockSize(int bytes);

private slots:
    void onStarted();
    void onStoped();

private:
    /// Puts `next` in the place of the player and returns the former one.
    std::unique_ptr<AudioPlayer> exchangePlayer(std::unique_ptr<AudioPlayer> next);

    // The fields are destroyed from the last to the first: worker, codec, player.

    /// Null unless the worker runs. Made, used and deleted there; the pointer changes under
    /// playerMutex, which other threads hold while they read a flag.
    std::unique_ptr<AudioPlayer> player;

protected:
    /// Holds an encoder for talk (G.711 A-law, 8000 Hz, mono, from 16 bits) from birth. Used by the
    /// worker. Its encoder is never destroyed: it stays in its registry until the process ends.
    std::unique_ptr<MediaCodec> codec;

private:
    QMutex playerMutex;
    std::unique_ptr<QThread> thread;
};
