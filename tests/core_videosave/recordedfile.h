// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QVector>

/// What a player finds in a recording.
struct RecordedFile
{
    QString error; ///< of opening, reading or decoding; empty if there was none
    QString format;
    int streams = 0;
    int videoCodec = 0; ///< AVCodecID, 0: none
    int audioCodec = 0;
    int sampleRate = 0;       ///< Hz, as decoded
    bool tellsSound = false;  ///< the header has what a decoder of the sound must know
    QVector<int> pictures;    ///< numbers in the decoded pictures
    QVector<qint64> counters; ///< the same of a test camera, -1: none
    QSize size;               ///< of the first picture
    QVector<bool> keys;       ///< which video packets are key pictures
    QVector<qint64> times;    ///< of the video packets, milliseconds after the first
    QByteArray sound;         ///< decoded, first channel, signed 16 bit
    qint64 start = 0;         ///< time of the beginning, milliseconds
    qint64 duration = 0;      ///< milliseconds
};

/// Reads and decodes the whole file.
RecordedFile readRecording(const QString &fileName);

/// What ffprobe and ffmpeg, reading and decoding the whole file, complain about; empty if nothing.
QString complaintsAbout(const QString &fileName);
