// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recordedfiles.h"

#include "statistics.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace {

constexpr int kProbeMs = 10000;

QString sizeText(qint64 bytes)
{
    return QStringLiteral("%1 kB").arg((bytes + 999) / 1000);
}

QString lengthText(double seconds)
{
    return seconds < 0 ? QStringLiteral("unreadable")
                       : QStringLiteral("%1 s").arg(seconds, 0, 'f', 1);
}

} // namespace

RecordedFile readRecordedFile(int view, const QString &path)
{
    RecordedFile file;
    file.view = view;
    file.path = path;
    file.bytes = QFileInfo(path).size();
    QProcess probe;
    probe.start(QStringLiteral("ffprobe"),
                {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path});
    if (!probe.waitForFinished(kProbeMs)) {
        probe.kill();
        probe.waitForFinished();
        return file;
    }
    bool isNumber = false;
    const double seconds = probe.readAllStandardOutput().trimmed().toDouble(&isNumber);
    if (isNumber && probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0)
        file.seconds = seconds;
    return file;
}

QString recordingsTable(const QVector<RecordedFile> &files)
{
    QVector<QStringList> rows{{"view", "length", "size", "recording"}};
    qint64 bytes = 0;
    double seconds = 0;
    for (const RecordedFile &file : files) {
        rows.append({QString::number(file.view), lengthText(file.seconds), sizeText(file.bytes),
                     QDir::toNativeSeparators(file.path)});
        bytes += file.bytes;
        seconds += qMax(0.0, file.seconds);
    }
    return textTable(rows, {1, 2}) +
           QStringLiteral("recordings %1, %2, %3\n")
               .arg(QString::number(files.size()), lengthText(seconds), sizeText(bytes));
}
