// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/savevideo.h"

#include "core_videosave/rawfile_p.h"

#include <QMutexLocker>

namespace {

QByteArray copyOf(const quint8 *plane, qint64 size)
{
    return QByteArray(reinterpret_cast<const char *>(plane), int(size));
}

} // namespace

SaveVideo::SaveVideo(QObject *parent) : AbstractSaveThread(parent) {}

SaveVideo::~SaveVideo()
{
    requestStop();
    wait();
}

void SaveVideo::save()
{
    QByteArray y;
    QByteArray u;
    QByteArray v;
    {
        const QMutexLocker locker(&mutex);
        if (dataYList.isEmpty() || dataUList.isEmpty() || dataVList.isEmpty())
            return; // at once, so that the thread spins: this is intended
        y = dataYList.takeFirst();
        u = dataUList.takeFirst();
        v = dataVList.takeFirst();
    }
    save(y, u, v);
}

void SaveVideo::save(QByteArray dataY, QByteArray dataU, QByteArray dataV)
{
    const QMutexLocker locker(&m_outputMutex);
    if (saveVideoType != SaveVideoType_Yuv)
        return;
    for (const QByteArray &plane : {dataY, dataU, dataV}) {
        if (!vantra::writeAll(file, plane))
            return;
    }
}

void SaveVideo::close()
{
    {
        const QMutexLocker locker(&mutex);
        dataYList.clear();
        dataUList.clear();
        dataVList.clear();
    }
    const QMutexLocker locker(&m_outputMutex);
    vantra::closeFile(file);
}

void SaveVideo::setPara(SaveVideoType saveVideoType, int videoWidth, int videoHeight, int frameRate)
{
    const QMutexLocker locker(&m_outputMutex);
    this->saveVideoType = saveVideoType;
    this->videoWidth = videoWidth;
    this->videoHeight = videoHeight;
    this->frameRate = frameRate;
}

void SaveVideo::write(quint8 *dataY, quint8 *dataU, quint8 *dataV)
{
    // Held from the look at `opened` on: the end of the recording cannot come in between.
    const QMutexLocker output(&m_outputMutex);
    if (!opened || paused)
        return;
    const qint64 size = qint64(videoWidth) * videoHeight;
    const qint64 quarter = size / 4;
    if (videoWidth < 0 || videoHeight < 0 || size > vantra::kMaxRawBlock || (size > 0 && !dataY) ||
        (quarter > 0 && (!dataU || !dataV)))
        return;
    const QByteArray y = copyOf(dataY, size);
    const QByteArray u = copyOf(dataU, quarter);
    const QByteArray v = copyOf(dataV, quarter);
    if (directSave) {
        save(y, u, v);
    } else {
        const QMutexLocker locker(&mutex);
        dataYList.append(y);
        dataUList.append(u);
        dataVList.append(v);
    }
}
