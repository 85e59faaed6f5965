// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/audioplayer.h"

#include "core_audio/pcmlevel_p.h"
#include "core_audio/soundconnection_p.h"

#include <QAudioDeviceInfo>
#include <QAudioInput>
#include <QAudioOutput>
#include <QCoreApplication>
#include <QIODevice>
#include <QMutexLocker>

#include <memory>

namespace {

constexpr qreal kFullVolume = 1.0;
constexpr qreal kVolumeSteps = 100.0; ///< of the user's scale
constexpr int kManyEmptyReads = 50;   ///< about a second of an input that has nothing

/// Share of the user's scale that a linear volume stands for. Qt's curve does not close: it takes
/// full volume on the logarithmic scale to 1.0 and brings that back as 0.99.
qreal logarithmicVolume(qreal linear)
{
    if (linear >= kFullVolume)
        return kFullVolume;
    return QAudio::convertVolume(linear, QAudio::LinearVolumeScale, QAudio::LogarithmicVolumeScale);
}

QAudioFormat pcmFormat(int sampleRate, int channelCount, int sampleSize)
{
    QAudioFormat format;
    format.setSampleRate(sampleRate);
    format.setChannelCount(channelCount);
    format.setSampleSize(sampleSize);
    format.setCodec(QStringLiteral("audio/pcm"));
    format.setSampleType(sampleSize == 8 ? QAudioFormat::UnSignedInt : QAudioFormat::SignedInt);
    format.setByteOrder(QAudioFormat::LittleEndian);
    return format;
}

/// The first device of that name, or a null one.
QAudioDeviceInfo findDevice(QAudio::Mode mode, const QString &deviceName)
{
    const QList<QAudioDeviceInfo> devices = QAudioDeviceInfo::availableDevices(mode);
    for (const QAudioDeviceInfo &device : devices) {
        if (device.deviceName() == deviceName)
            return device;
    }
    return QAudioDeviceInfo();
}

/// Starts a device. If it does start, it uses the connection to the sound server until it is
/// destroyed, or `held` is disconnected.
template<typename Device>
QIODevice *startUsing(Device *device, const std::shared_ptr<soundconnection::Use> &use,
                      QMetaObject::Connection *held = nullptr)
{
    QIODevice *const io = device->start();
    if (device->state() == QAudio::StoppedState)
        return io;
    const auto connection = QObject::connect(device, &QObject::destroyed, [use] {});
    if (held)
        *held = connection;
    return io;
}

} // namespace

AudioPlayer::AudioPlayer(QObject *parent) : QObject(parent) {}

AudioPlayer::~AudioPlayer()
{
    // Qt's PulseAudio devices run pending events while they are destroyed: none of those may reach
    // this object any more.
    QCoreApplication::removePostedEvents(this);
    delete audioInput;
    delete audioOutput;
}

QAudioInput *AudioPlayer::getAudioInput()
{
    return audioInput;
}

QAudioOutput *AudioPlayer::getAudioOutput()
{
    return audioOutput;
}

bool AudioPlayer::getLevel()
{
    return level;
}

void AudioPlayer::setLevel(bool level)
{
    this->level = level;
}

void AudioPlayer::setMuted(bool muted)
{
    this->muted = muted;
    emit receiveMuted(muted);
}

bool AudioPlayer::getMuted()
{
    return volumeNow() == 0;
}

int AudioPlayer::getVolume()
{
    return volumeNow();
}

int AudioPlayer::volumeNow()
{
    qreal volume = kFullVolume;
    {
        QMutexLocker locker(&outputMutex);
        if (audioOutput)
            volume = logarithmicVolume(audioOutput->volume());
    }
    return static_cast<int>(volume * kVolumeSteps);
}

void AudioPlayer::setVolume(int volume)
{
    const QPointer<AudioPlayer> guard(this); // a listener may delete the player
    emit receiveVolume(volume);
    if (!guard)
        return;
    QMutexLocker locker(&outputMutex);
    if (audioOutput) {
        audioOutput->setVolume(QAudio::convertVolume(
            volume / kVolumeSteps, QAudio::LogarithmicVolumeScale, QAudio::LinearVolumeScale));
    }
}

bool AudioPlayer::isPlaying()
{
    return audioOutput && audioOutput->state() != QAudio::StoppedState;
}

void AudioPlayer::getAudioDevices(QStringList &names, QStringList &names2, bool input)
{
    names.clear();
    names2.clear();
    const soundconnection::Use use;
    const QList<QAudioDeviceInfo> devices =
        QAudioDeviceInfo::availableDevices(input ? QAudio::AudioInput : QAudio::AudioOutput);
    for (const QAudioDeviceInfo &device : devices) {
        names.append(device.deviceName());
        names2.append(device.deviceName());
    }
}

void AudioPlayer::readyRead()
{
    if (!inputDevice || !audioInput)
        return;
    // Read even when muted, so that the input does not pile up. Qt's PulseAudio input goes on
    // telling when its stream is dead, and each read would be a warning then: after a while of
    // nothing it is asked before. Its answer is that of its last tick, so that it is not asked
    // always.
    QByteArray data;
    if (emptyReads < kManyEmptyReads || audioInput->bytesReady() > 0)
        data = inputDevice->readAll();
    emptyReads = data.isEmpty() ? qMin(emptyReads + 1, kManyEmptyReads) : 0;
    if (!muted)
        passOn(data);
    else
        inputRest.clear(); // sound of before the silence does not belong to that of after it
}

void AudioPlayer::passOn(const QByteArray &data)
{
    const int size = inputBlockSize;
    if (size <= 0) {
        emit receiveInputData(data);
        return;
    }
    inputRest += data;
    while (inputRest.size() >= size) { // a listener that closes the input leaves no rest
        const QByteArray block = inputRest.left(size);
        inputRest.remove(0, size);
        emit receiveInputData(block);
    }
}

void AudioPlayer::setInputBlockSize(int bytes)
{
    inputBlockSize = bytes;
    inputRest.clear();
}

void AudioPlayer::openAudioInput(int sampleRate, int channelCount, int sampleSize)
{
    openAudioInput(QString(), sampleRate, channelCount, sampleSize);
}

void AudioPlayer::openAudioInput(const QString &deviceName, int sampleRate, int channelCount,
                                 int sampleSize)
{
    closeAudioInput();
    const auto use = std::make_shared<soundconnection::Use>();
    const QAudioFormat format = pcmFormat(sampleRate, channelCount, sampleSize);
    audioInput = deviceName.isEmpty()
                     ? new QAudioInput(format, this)
                     : new QAudioInput(findDevice(QAudio::AudioInput, deviceName), format, this);
    if (inputBlockSize > 0)
        audioInput->setBufferSize(inputBlockSize);
    inputDevice = startUsing(audioInput, use);
    emptyReads = 0;
    if (inputDevice) {
        connect(inputDevice, &QIODevice::readyRead, this, &AudioPlayer::readyRead,
                Qt::UniqueConnection);
    }
}

void AudioPlayer::closeAudioInput()
{
    if (!audioInput)
        return;
    if (inputDevice)
        disconnect(inputDevice, &QIODevice::readyRead, this, &AudioPlayer::readyRead);
    // No longer a child: it runs pending events while it is destroyed, and would meet its own
    // deferred deletion there if the player were destroyed first.
    audioInput->setParent(nullptr);
    audioInput->deleteLater();
    audioInput = nullptr;
    inputRest.clear();
}

void AudioPlayer::resetAudioInput()
{
    if (audioInput)
        audioInput->setVolume(kFullVolume);
}

void AudioPlayer::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    openAudioOutput(QString(), sampleRate, channelCount, sampleSize);
}

void AudioPlayer::openAudioOutput(const QString &deviceName, int sampleRate, int channelCount,
                                  int sampleSize)
{
    replaceOutput(nullptr);
    const auto use = std::make_shared<soundconnection::Use>();
    const QAudioFormat format = pcmFormat(sampleRate, channelCount, sampleSize);
    auto *output = deviceName.isEmpty()
                       ? new QAudioOutput(format)
                       : new QAudioOutput(findDevice(QAudio::AudioOutput, deviceName), format);
    replaceOutput(output);
    outputFormat = output->format();
    outputDevice = startUsing(output, use, &outputUse);
    liveOutputDevice = outputDevice;
}

void AudioPlayer::closeAudioOutput()
{
    // outputDevice keeps its value, as intended: play() goes on telling its listeners.
    replaceOutput(nullptr);
}

void AudioPlayer::replaceOutput(QAudioOutput *output)
{
    QMutexLocker locker(&outputMutex);
    if (audioOutput)
        audioOutput->deleteLater();
    audioOutput = output;
}

void AudioPlayer::stopDeadOutput()
{
    if (!audioOutput || audioOutput->bytesFree() >= 0)
        return;
    // A listener may open another one in its place, or delete the player.
    const QMetaObject::Connection former = outputUse;
    audioOutput->stop();
    QObject::disconnect(former);
}

void AudioPlayer::resetAudioOutput()
{
    QMutexLocker locker(&outputMutex);
    if (audioOutput)
        audioOutput->setVolume(kFullVolume);
}

void AudioPlayer::play(const char *data, int len)
{
    if (!outputDevice)
        return;
    const QPointer<AudioPlayer> guard(this); // a listener may delete the player
    emit receiveOutputData(data, len);
    if (!guard)
        return;
    stopDeadOutput();
    if (!guard)
        return;
    if (!muted)
        write(data, len);
    if (level) {
        emit receiveLevel(
            pcmLevel(data, len, outputFormat.sampleSize(), outputFormat.channelCount()));
    }
}

void AudioPlayer::write(const char *data, int len)
{
    // Qt's PulseAudio output keeps the lock of its connection for ever if the server refuses a
    // write, and every later open in this process would hang. At less than full volume an empty
    // write is refused, and of a block that does not fit the rest becomes one. So it never gets
    // half a frame, nor more than it has room for, which is none when its stream is dead. What is
    // left is a server that dies between the two calls.
    const int frameBytes = outputFormat.bytesPerFrame();
    if (!data || len <= 0 || frameBytes <= 0 || !audioOutput || !liveOutputDevice)
        return;
    const int fitting = qMin(len, audioOutput->bytesFree());
    const int bytes = fitting - fitting % frameBytes;
    if (bytes > 0)
        liveOutputDevice->write(data, bytes);
}
