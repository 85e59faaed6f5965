// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
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
    int sampleRate = 0;    ///< Hz, as decoded
    QVector<int> pictures; ///< numbers in the decoded pictures
    QVector<qint64> times; ///< of the video packets, milliseconds after the first
    QByteArray sound;      ///< decoded, first channel, signed 16 bit
    qint64 duration = 0;   ///< milliseconds
};

/// Reads and decodes the whole file.
RecordedFile readRecording(const QString &fileName);
