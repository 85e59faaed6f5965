// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QFile>
#include <QMutex>
#include <QString>
#include <QThread>

#include <atomic>

/// What a raw sound writer puts into its file.
enum SaveAudioType : qint32 {
    SaveAudioType_None = 0, ///< nothing
    SaveAudioType_Raw = 1,  ///< bytes as they come
    SaveAudioType_Wav = 2,  ///< bytes as they come, made into WAV at the end
    SaveAudioType_Aac = 3,  ///< an ADTS header in front of each block
};

/// What a raw picture writer puts into its file.
enum SaveVideoType : qint32 {
    SaveVideoType_None = 0, ///< nothing
    SaveVideoType_Yuv = 1,  ///< planes
};

/// Base of every writer that runs on a thread of its own: open() prepares and starts, the thread
/// repeats save() until stop(), then close() finishes. Knows nothing of formats.
///
/// Threads. open(), pause(), stop() and the destructor belong to the owner's thread; init() runs
/// there too, inside open(). save() and close() run on the writer's thread. stop() waits without a
/// limit until close() has returned, unless close() has already begun by itself: then it returns at
/// once. open() during such a close waits for its end, so that init() never meets close().
///
/// A subclass ends the thread in its own destructor (requestStop(), then wait()), since the thread
/// calls its overrides.
class VANTRA_EXPORT AbstractSaveThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(AbstractSaveThread)

public:
    explicit AbstractSaveThread(QObject *parent = nullptr); ///< idle
    ~AbstractSaveThread() override;

    /// Path of the last open(), be it finished.
    QString getFileName() const;
    /// From a successful open() until the thread has left its loop; false while close() runs.
    bool getOpened() const;
    bool getPaused() const; ///< turned on by pause()

    /// Place where a build shows what a writer does; it has no output.
    void debug(const QString &text, const QString &data);
    /// Removes the file if it is there and empty, so that an empty recording leaves nothing behind.
    void checkFile(const QString &fileName);

protected:
    void run() override;

private slots:
    /// Prepares; false keeps the thread from starting. May run again after each close().
    virtual bool init();
    /// One step of the loop. Blocks or waits by itself: the loop does not.
    virtual void save();
    /// Finishes.
    virtual void close();

public slots:
    /// Starts to write `fileName`. While a recording runs this does nothing, and it keeps its file.
    /// Where the system has no thread to give it does not run, and close() is called here.
    virtual void open(QString fileName);
    /// Turns pausing on or off while a recording runs; what it means is up to the writer.
    virtual void pause();
    /// Ends the recording and waits. Without one it returns at once.
    virtual void stop();

protected:
    /// Asks the loop to end. False if there is none: then nothing was changed.
    bool requestStop();

    QMutex mutex;                     ///< for the queues of subclasses
    std::atomic<bool> stopped{false}; ///< asks the loop to end
    std::atomic<bool> opened{false};  ///< see getOpened()
    std::atomic<bool> paused{false};  ///< see getPaused()
    QString flag;                     ///< label that debug() puts in front; empty
    QFile file;                       ///< output of raw writers
    QString fileName;                 ///< path of the last open()

    // For raw writers.
    SaveVideoType saveVideoType = SaveVideoType_None; ///< what comes
    SaveAudioType saveAudioType = SaveAudioType_None; ///< what comes
    qint32 videoWidth = 640;                          ///< pixels
    qint32 videoHeight = 480;                         ///< pixels
    qint32 frameRate = 25;                            ///< pictures per second
    qint32 sampleRate = 8000;                         ///< Hz
    qint32 channelCount = 1;                          ///< of sound
    qint32 profile = 1;                               ///< of AAC, as ADTS numbers it

    /// Whether debug() composes its text.
    static constexpr bool debugEnabled = true;
    /// Raw writers write on the caller's thread rather than queue for the writer's.
    static constexpr bool directSave = true;

private:
    /// Makes changes of more than one flag one step: a stop() either finds a loop that will still
    /// see it, or none, so that no request is left over for the next recording.
    QMutex flagMutex;
};
