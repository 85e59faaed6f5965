// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "../core_videosave/recordedfile.h"
#include "recordercase.h"
#include "support/players.h"
#include "support/signalrecorder.h"

#include "core_vod/orvovoddlthread.h"
#include "devicelink/hnetdevice.h"

#include <QDir>
#include <QFileInfo>

namespace vantratest {

constexpr int kDownloadMs = 120000; ///< safeguard

/// A download, and what was heard of it.
struct Download
{
    Download(const QSharedPointer<HNetDevice> &device, int channel, const QDateTime &begin,
             const QDateTime &end, const QString &path)
    {
        thread.bindDevice(device, unsigned(channel));
        thread.setDateTime(begin, end);
        thread.setSavePath(path);
        thread.setReadTimeout(60000); // the first pictures have to be made
        heard.watch(&thread, &AbstractVideoDLThread::sig_downloadStart, "start");
        heard.watch(&thread, &AbstractVideoDLThread::sig_downloadFinsh, "finsh");
        heard.watch(&thread, &AbstractVideoDLThread::sig_downloadPts, "pts");
        heard.watch(&thread, &AbstractVideoDLThread::sig_downloadErrConnExceedMax, "max");
        heard.watch(&thread, &AbstractVideoDLThread::sig_downloadError, "error");
        root = path;
    }

    bool run()
    {
        thread.startDL();
        return thread.wait(kDownloadMs);
    }
    bool ok() const { return heard.calls("finsh").value(0).arguments.value(0).toBool(); }
    /// Without progress.
    QStringList told() const
    {
        QStringList names = heard.names();
        names.removeAll(QStringLiteral("pts"));
        return names;
    }
    /// Paths of all files, in the order of their names.
    QStringList files() const
    {
        QStringList paths;
        for (const QString &day : QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const QDir folder(root + QLatin1Char('/') + day + QStringLiteral("/vod"));
            for (const QString &file : folder.entryList(QDir::Files, QDir::Name))
                paths << folder.filePath(file);
        }
        return paths;
    }
    QStringList names() const
    {
        QStringList names;
        for (const QString &file : files())
            names << QFileInfo(file).fileName();
        return names;
    }

    OrvoVodDLThread thread;
    SignalRecorder heard;
    QString root;
};

constexpr qint64 kMostHoleMs = 500;

/// What is wrong with a file, whoever reads it; empty if nothing. *counters, if given, gets its
/// pictures at the end.
inline QString faultOf(const QString &path, bool sound, QVector<qint64> *counters = nullptr)
{
    const RecordedFile file = readRecording(path);
    if (counters)
        *counters += file.counters;
    QString fault = file.error + complaintsAbout(path);
    if (!file.keys.value(0))
        fault += QStringLiteral(" no key picture at the beginning");
    for (int i = 1; i < file.times.size(); ++i) {
        const qint64 step = file.times.at(i) - file.times.at(i - 1);
        if (step <= 0 || step > kMostHoleMs)
            fault += QStringLiteral(" step of %1 ms at %2").arg(step).arg(i);
    }
    const Playback played = decodeWithGStreamer(path, file.size, sound);
    fault += played.error;
    if (played.pictures.size() != file.counters.size())
        fault += QStringLiteral(" GStreamer shows %1 pictures").arg(played.pictures.size());
    if (sound != (file.audioCodec != 0) || sound == played.sound.isEmpty())
        fault += QStringLiteral(" sound");
    return fault.isEmpty() ? fault : path + QLatin1String(": ") + fault;
}

} // namespace vantratest
