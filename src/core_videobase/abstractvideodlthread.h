// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QDateTime>
#include <QSharedPointer>
#include <QString>
#include <QThread>

#include <atomic>

class SaveMp4FFmpeg;
struct HFrameHeader;

/// Base of every thread that copies recorded video into local MP4 files, as it is and as fast as it
/// comes: parameters, the writer, the loop, and the signals that tell of it. Knows nothing of where
/// the frames come from, nor of how files are named and cut; subclasses do.
///
/// One run copies one span. Set all parameters, startDL(), and learn the end from
/// sig_downloadFinsh(), sig_downloadError() or QThread::finished. After the last of these, and not
/// before, the object can be started again. What a run ends with:
///
/// | end | signals |
/// | --- | --- |
/// | refused, since the source takes no further connection | sig_downloadErrConnExceedMax() |
/// | refused otherwise | sig_downloadError() |
/// | frames that cannot be stored, or a full disk | sig_downloadError(), sig_downloadFinsh(false) |
/// | five time-outs in a row, or a read error | sig_downloadFinsh(false) |
/// | end of the recording | sig_downloadFinsh(true) |
/// | stopDL() | sig_downloadFinsh(false) |
///
/// A refused download never began, so it has no sig_downloadFinsh(). In the other rows the last
/// file is complete and has its final name before sig_downloadFinsh().
///
/// Threads. The object lives on the host's thread, which calls the setters, while no download runs,
/// startDL() and stopDL(). Everything protected runs on the download thread, which emits all
/// signals too: connect them queued, or automatically to an object of the host's thread, but not
/// blocking, since stopDL() waits for that thread.
class VANTRA_EXPORT AbstractVideoDLThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(AbstractVideoDLThread)

public:
    explicit AbstractVideoDLThread(QObject *parent = nullptr); ///< idle
    /// Ends a download that still runs. A subclass calls stopDL() in its own destructor, since the
    /// loop calls its overrides.
    ~AbstractVideoDLThread() override;

    /// Nothing while a download runs, as it still does when it reports its end: to start the next
    /// one, wait for QThread::finished.
    void startDL();
    /// Ends the download and waits, without a limit, until the last file is complete. The loop
    /// looks up after each read, so after a fifth of the read time-out at the latest. Without a
    /// download it returns at once.
    void stopDL();

    /// Root of the folders for files.
    void setSavePath(const QString &savePath);
    /// The span, as the source understands it.
    void setDateTime(const QDateTime &beginTime, const QDateTime &endTime);
    /// Seconds of recording per file; below 1: one file. Files are cut at key pictures only.
    void setSaveInterval(int seconds);
    /// Whether sound goes into the files too; it does not by default.
    void setSaveAudio(bool saveAudio);
    /// Milliseconds without a frame that end a download; 300 by default.
    void setReadTimeout(int readTimeout);

signals:
    /// The source is open and the loop begins.
    void sig_downloadStart();
    /// The loop has ended; `ok` only if the recording ended by itself and nothing was lost for want
    /// of room. What cannot be opened or written for another reason is told by the log alone.
    void sig_downloadFinsh(bool ok);
    /// Progress: stamp of the newest picture, in milliseconds of the recording. Comes in steps of
    /// more than a second of the recording, and only while a file is being written.
    void sig_downloadPts(const qint64 &time);
    /// The source refuses, since it takes no further connection.
    void sig_downloadErrConnExceedMax();
    /// The download has failed: the source refuses, describes nothing that can be stored, or the
    /// disk is full or refuses the bytes of a file, or the file has gone while it was written.
    void sig_downloadError();

protected:
    void run() override;

    /// Begins a run: nothing is known of the recording yet.
    virtual void initOption();
    /// Makes the folder of this run, `saveDir`.
    virtual void makeSaveSubDir();
    /// Opens the source. On false the run is over, and the subclass has emitted why.
    virtual bool beforeDownload();
    /// Closes the source and the file.
    virtual void afterDownload();
    /// Reads one frame into the buffer `frame`, waiting for `timeoutMs` at most. A
    /// DeviceReadResult: 0 frame, 1 end of the recording, 2 time-out, anything else an error.
    virtual int readFrame(HFrameHeader *frame, int timeoutMs) = 0;
    /// Stores a frame; anything but 0 fails the download.
    virtual int handleSaveMP4(HFrameHeader *frame) = 0;

    static constexpr int kMaxTimeouts = 5; ///< in a row

    std::atomic<bool> isStop{true}; ///< asks the loop to end
    /// Read time-outs in a row. Whoever takes a frame resets it; a new run does not.
    int timeoutCount = 0;
    bool saveAudio = false;  ///< see setSaveAudio()
    int saveInterval = -1;   ///< seconds
    int readTimeout = 300;   ///< milliseconds
    QString savePath;        ///< root of the folders
    QString saveDir;         ///< folder of this run
    QDateTime beginTime;     ///< of the span
    QDateTime endTime;       ///< of the span
    qint64 fileStartPts = 0; ///< stamp of the first frame of the current file, milliseconds
    qint64 curPts = 0;       ///< stamp of the newest picture, milliseconds
    qint64 sparePts = 0;     ///< reset with its neighbours; for hosts, the library does not read it
    qint64 lastReportPts = 0; ///< stamp at the last sig_downloadPts(), milliseconds
    /// The writer. It joins what the recording has gaps in between.
    QSharedPointer<SaveMp4FFmpeg> saver;
    /// Something that was to be stored is lost, as for want of room; fails the download, also where
    /// afterDownload() finds it out. Reset by run().
    bool storeFailed = false;
};
