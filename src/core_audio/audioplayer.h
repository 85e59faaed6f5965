// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QAudioFormat>
#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <atomic>

class QAudioInput;
class QAudioOutput;
class QIODevice;

/// Raw PCM to a speaker and from a microphone: one output and one input, each opened and closed by
/// itself any number of times; an open on an open side closes first.
///
/// Format. 8-bit samples are unsigned, all others signed; little-endian, channels interleaved.
/// Devices. An empty name means the default device. A name that no device has opens a null device,
/// on which nothing plays and nothing is captured; it never falls back to the default.
/// Errors. None are reported: with a device that did not start, play() returns at once and no block
/// arrives from the input.
///
/// Threads. Everything runs on the thread that owns the object, whose event loop releases closed
/// devices. Only setLevel(), getLevel(), getMuted() and getVolume() may be called from any thread
/// while the object lives.
class AudioPlayer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(AudioPlayer)

public:
    explicit AudioPlayer(QObject *parent = nullptr); ///< nothing is open
    ~AudioPlayer() override;

    /// Null while closed. Owned by the player.
    QAudioInput *getAudioInput();
    QAudioOutput *getAudioOutput();

    /// Whether play() measures each block and emits receiveLevel.
    bool getLevel();
    void setLevel(bool level);
    /// Stops blocks in both directions; the volume stays.
    void setMuted(bool muted);
    /// Whether the volume of the output is 0. Looks at the volume, not at what setMuted() stored;
    /// false while the output is closed.
    bool getMuted();
    /// 0 to 100 on the logarithmic scale of the ear, cut to an integer; 100 while closed.
    int getVolume();
    /// 0 to 100; reaches the output that is open now, not one opened later.
    void setVolume(int volume);
    /// An output is open and has not stopped.
    bool isPlaying();
    /// Bytes of each block from an input that is opened from now on: it is asked to capture in
    /// such blocks, and what it delivers otherwise waits until it fills one. 0, as from the start,
    /// passes on what the platform delivers, as it comes.
    void setInputBlockSize(int bytes);

    /// Names of the microphones (`input`) or speakers; both lists get the same. Asks the sound
    /// server and may block for as long as that does not answer: keep it off the GUI thread.
    static void getAudioDevices(QStringList &names, QStringList &names2, bool input);

signals:
    /// A block from the microphone.
    void receiveInputData(const QByteArray &data);
    /// A block about to play, muted or not. The memory is the caller's and valid during the call
    /// only: a listener on another thread copies it in a direct connection.
    void receiveOutputData(const char *data, int len);
    /// The volume was set.
    void receiveVolume(int volume);
    /// The mute state was set.
    void receiveMuted(bool muted);
    /// Peak of a block, 0 to 1 of full scale, -0.5 to 0.5 with 8-bit samples.
    void receiveLevel(double level);

private slots:
    void readyRead();

public slots:
    /// Hz, channels, bits per sample.
    void openAudioInput(int sampleRate, int channelCount, int sampleSize);
    void openAudioInput(const QString &deviceName, int sampleRate, int channelCount,
                        int sampleSize);
    void closeAudioInput(); ///< no block arrives any more
    /// Full volume; changes nothing else.
    void resetAudioInput();
    /// Hz, channels, bits per sample.
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize);
    void openAudioOutput(const QString &deviceName, int sampleRate, int channelCount,
                         int sampleSize);
    void closeAudioOutput(); ///< what the output holds is lost
    /// Full volume; changes nothing else.
    void resetAudioOutput();
    /// Plays `len` bytes, less a rest that is no whole frame. What the output cannot take now is
    /// lost; it never waits. Between a close and the next open only listeners get the block.
    void play(const char *data, int len);

private:
    /// Passes on what is read from the microphone, in blocks of the size set.
    void passOn(const QByteArray &data);
    /// Hands whole frames to the open output.
    void write(const char *data, int len);
    /// Volume of the open output on the user's scale, 0 to 100.
    int volumeNow();
    /// Puts `output` in the place of the present one, which the event loop deletes.
    void replaceOutput(QAudioOutput *output);
    /// Stops an output whose stream the sound server has taken with it, so that the connection can
    /// be made anew. It stays open, and mute.
    void stopDeadOutput();

    bool muted = false;
    std::atomic<bool> level{false};
    QAudioInput *audioInput = nullptr; ///< child of this while open
    QPointer<QIODevice> inputDevice;
    int inputBlockSize = 0;              ///< bytes; 0: blocks as they come
    QByteArray inputRest;                ///< of the open input, less than a block
    int emptyReads = 0;                  ///< of the open input, in a row
    QAudioOutput *audioOutput = nullptr; ///< no parent; written under outputMutex
    QIODevice *outputDevice = nullptr;   ///< keeps its value when closed: only compared, never used

    QPointer<QIODevice> liveOutputDevice; ///< the same; null when the device is gone
    QAudioFormat outputFormat;            ///< of outputDevice
    QMutex outputMutex; ///< keeps audioOutput alive while another thread reads its volume
    /// By which audioOutput uses the connection to the sound server.
    QMetaObject::Connection outputUse;
};
