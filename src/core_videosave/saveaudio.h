// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractsavethread.h"

#include <QByteArray>
#include <QList>
#include <QMutex>

/// Writes sound as it comes: PCM, PCM that becomes WAV at the end, or AAC with ADTS headers.
///
/// It does not open its `file`: a subclass does so in an init() of its own, write-only. Without
/// that every block is lost. The end of the recording closes the file. Nothing is logged: a block
/// that cannot be written is lost, and the next one is tried.
///
/// Threads. write() may be called on any thread and waits for the disk there; the writer's own
/// thread meanwhile repeats an idle save() without a pause, which keeps one core busy. All else is
/// for the owner's thread.
///
/// WAV: the recording goes into a file named as open() says, and at the end into one with every
/// "pcm" in that path made "wav", and the first one is removed. A path without "pcm" makes the two
/// the same, and nothing is left of the recording.
class VANTRA_EXPORT SaveAudio : public AbstractSaveThread
{
    Q_OBJECT
    Q_DISABLE_COPY(SaveAudio)

public:
    explicit SaveAudio(QObject *parent = nullptr); ///< idle
    /// Ends a recording that still runs, as stop() does.
    ~SaveAudio() override;

private slots:
    /// Writes the oldest waiting block; returns at once when there is none.
    void save() override;
    void save(QByteArray buffer);
    /// Drops the blocks that wait, finishes the file.
    void close() override;

public slots:
    /// What comes: rate in Hz, number of channels, AAC profile as ADTS numbers it. Only stored.
    void setPara(SaveAudioType saveAudioType, int sampleRate, int channelCount, int profile);
    /// A block of `len` bytes. Dropped while nothing is open and while pausing.
    void write(const char *data, qlonglong len);

protected:
    QList<QByteArray> bufferList; ///< blocks that wait for the thread; under `mutex`

private:
    /// For `file` and the parameters. Apart from `mutex`, which the idle thread takes without end.
    QRecursiveMutex m_outputMutex;
};
