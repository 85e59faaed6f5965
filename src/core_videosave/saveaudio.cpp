// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/saveaudio.h"

#include "core_videosave/adtsheader_p.h"
#include "core_videosave/rawfile_p.h"
#include "core_videosave/wavfile_p.h"

#include <QMutexLocker>

SaveAudio::SaveAudio(QObject *parent) : AbstractSaveThread(parent) {}

SaveAudio::~SaveAudio()
{
    requestStop();
    wait();
}

void SaveAudio::save()
{
    QByteArray buffer;
    {
        const QMutexLocker locker(&mutex);
        if (bufferList.isEmpty())
            return; // at once, so that the thread spins: this is intended
        buffer = bufferList.takeFirst();
    }
    save(buffer);
}

void SaveAudio::save(QByteArray buffer)
{
    const QMutexLocker locker(&m_outputMutex);
    switch (saveAudioType) {
    case SaveAudioType_Raw:
    case SaveAudioType_Wav:
        vantra::writeAll(file, buffer);
        break;
    case SaveAudioType_Aac: {
        const vantra::AdtsHeader header =
            vantra::adtsHeader(buffer.size(), sampleRate, channelCount, profile);
        const QByteArray bytes(reinterpret_cast<const char *>(header.data()), int(header.size()));
        if (vantra::writeAll(file, bytes))
            vantra::writeAll(file, buffer);
        break;
    }
    default:
        break;
    }
}

void SaveAudio::close()
{
    {
        const QMutexLocker locker(&mutex);
        bufferList = QList<QByteArray>();
    }
    const QMutexLocker locker(&m_outputMutex);
    vantra::closeFile(file); // what it still holds belongs into the WAV file
    if (saveAudioType != SaveAudioType_Wav)
        return;
    QString target = fileName;
    target.replace(QLatin1String("pcm"), QLatin1String("wav"));
    vantra::convertToWav(fileName, target, sampleRate, channelCount, true);
}

void SaveAudio::setPara(SaveAudioType saveAudioType, int sampleRate, int channelCount, int profile)
{
    const QMutexLocker locker(&m_outputMutex);
    this->saveAudioType = saveAudioType;
    this->sampleRate = sampleRate;
    this->channelCount = channelCount;
    this->profile = profile;
}

void SaveAudio::write(const char *data, qlonglong len)
{
    // Held from the look at `opened` on: the end of the recording cannot come in between.
    const QMutexLocker output(&m_outputMutex);
    if (!opened || paused)
        return;
    if (len < 0 || len > vantra::kMaxRawBlock || (!data && len > 0))
        return;
    const QByteArray buffer(data, int(len));
    if (directSave) {
        save(buffer);
    } else {
        const QMutexLocker locker(&mutex);
        bufferList.append(buffer);
    }
}
