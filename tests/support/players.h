// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVector>

namespace vantratest {

/// A program's end.
struct ProgramResult
{
    bool clean = false; ///< it ended by itself, with 0
    QByteArray output;
    QByteArray errors; ///< what it wrote to standard error
};
/// Runs a program to its end and ends it by force after `milliseconds`.
ProgramResult runProgram(const QString &program, const QStringList &arguments,
                         int milliseconds = 60000);

/// What ffprobe says of a file, packet by packet. Times are in seconds of the file's timeline.
struct ProbedStream
{
    QString codec; ///< empty: there is no such stream
    QSize size;
    int sampleRate = 0; ///< Hz
    int channels = 0;
    double duration = 0;
    QVector<double> times; ///< of its packets, in the order of the file
    QVector<bool> keys;
};
struct ProbedFile
{
    QString error; ///< whatever ffprobe complained about; empty if nothing
    QString format;
    double duration = 0;
    ProbedStream video;
    ProbedStream audio;
};
ProbedFile probeFile(const QString &file);

/// What another player makes of a file.
struct Playback
{
    QString error;                ///< whatever it complained about; empty if nothing
    QVector<QByteArray> pictures; ///< MD5 of each decoded picture, as by pictureMd5()
    QByteArray sound;             ///< decoded, mixed to one channel, 16 bit in native order
};
/// The pictures of a file, and its sound if told so, through `ffmpeg`, as they are.
Playback decodeWithFFmpeg(const QString &file, bool sound = false);
/// The same through GStreamer's decodebin; the size is that of the pictures, the width a multiple
/// of 4.
Playback decodeWithGStreamer(const QString &file, QSize pictures, bool sound);

/// What a browser's video element tells when it has come to the end of a file, or to an error.
struct Shown
{
    QString error; ///< empty if there was none
    bool ended = false;
    double duration = 0; ///< seconds
    double time = 0;     ///< position at the end, seconds
    QSize size;
    int pictures = 0;      ///< decoded
    qint64 soundBytes = 0; ///< decoded, of the coded sound
};
/// Path of a browser that plays without a display; empty if there is none.
QString browserProgram();
/// 77 if the browser is missing, as mediaExitCode(), or 1 where VANTRA_REQUIRE_BROWSER is set.
int browserExitCode();
/// Plays all files to their ends, side by side on one page. As many answers as files; empty with
/// *failure if the browser gave none.
QVector<Shown> playInBrowser(const QStringList &files, QString *failure);

} // namespace vantratest
