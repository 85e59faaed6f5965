// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"
#include "videotypes.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QMutex>
#include <QThread>
#include <QVector>

#include <atomic>

class SaveMp4FFmpeg;

/// Base of every thread that plays a stream: parameters, control flags, time-outs, share counters,
/// and the signals by which pictures, sound and events leave. It has no run() and no decoder.
///
/// Threads. The object lives on the thread that made it, the GUI thread; only run() and what it
/// calls execute on the new thread. Controls such as stop() and snap() run on the caller's thread
/// and set plain fields that the loop polls. These plain fields are shared without a lock on
/// purpose; share counters are atomic.
///
/// Pictures. The receiveFrame signals carry pointers into decoder memory. They are to be connected
/// with Qt::BlockingQueuedConnection, so that the loop stands still until the slot has returned,
/// and a receiver keeps no pointer after that. Hence never call wait() on the GUI thread while
/// run() may emit: stop by flag, and learn the end from QThread::finished.
///
/// Deletion. The object may be deleted at any time, running or not, on the thread it lives on:
/// endRun() sees to that, and every subclass that run() depends on calls it first in its
/// destructor. A receiver that owns the thread as a member deletes it in the body of its own
/// destructor. From within a slot for which run() stands waiting, use deleteLater() instead, as Qt
/// asks of any slot.
class VANTRA_EXPORT AbstractVideoThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(AbstractVideoThread)

public:
    /// Index of the recording state that a thread keeps twice.
    enum RecordType {
        MANUAL_RECORD = 0, ///< started by the user from a widget
        AUTO_RECORD = 1,   ///< scheduled by the host
        RECORD_TYPE_MAX = 2,
    };
    Q_ENUM(RecordType)

    /// Gates debug(). A host may change it at any time.
    static bool debugInfo;
    /// For hosts; the library does not read it.
    static bool sharedData;

    explicit AbstractVideoThread(QObject *parent = nullptr); ///< idle; `parent` may be null
    ~AbstractVideoThread() override;

    VideoMode getVideoMode() const;                   ///< form in which pictures leave
    void setVideoMode(const VideoMode &videoMode);    ///< also while it runs
    VideoCore getVideoCore() const;                   ///< for the host alone
    void setVideoCore(const VideoCore &videoCore);    ///< not read by the library
    DecodeType getDecodeType() const;                 ///< scaler of the conversion to RGB
    void setDecodeType(const DecodeType &decodeType); ///< from the next picture on
    /// Name of the hardware decoder as FFmpeg knows it; "none" decodes in software.
    QString getHardware() const;
    void setHardware(const QString &hardware);
    /// "tcp" or "udp".
    QString getTransport() const;
    void setTransport(const QString &transport);
    QString getBufferSize() const;                 ///< for the host alone
    void setBufferSize(const QString &bufferSize); ///< not read by the library
    QString getVideoUrl() const;                   ///< may hold a password
    void setVideoUrl(const QString &videoUrl);     ///< from the next open on
    /// File of the pending snapshot.
    QString getSnapName() const;
    void setSnapName(const QString &snapName);
    /// Frames per second, known once the source is open; of device frames it is what a host has
    /// set.
    int getFrameRate() const;
    void setFrameRate(int frameRate);
    /// Degrees; anything but 0 forces FFmpegVideoThread to decode in software. 0 again with a
    /// close.
    int getRotate() const;
    void setRotate(int rotate);
    int getCaching() const;              ///< for the host alone, milliseconds
    void setCaching(int caching);        ///< not read by the library
    bool getPlayRepeat() const;          ///< for the host alone
    void setPlayRepeat(bool playRepeat); ///< not read by the library
    /// Milliseconds between attempts to open.
    int getOpenSleepTime() const;
    void setOpenSleepTime(int openSleepTime);
    /// Milliseconds; 0: a broken stream ends the thread instead of restarting it.
    int getReadTimeout() const;
    virtual void setReadTimeout(int readTimeout);
    /// Milliseconds.
    int getConnectTimeout() const;
    void setConnectTimeout(int connectTimeout);

    /// Picture size in pixels; 0 until the source is open.
    int getVideoWidth() const;
    int getVideoHeight() const;
    bool getOnlyAudio() const; ///< set by subclasses of hosts; the library's threads never do
    /// The source is open and frames may be read.
    bool getIsOk() const;
    bool getIsPause() const; ///< see pause()
    /// A snapshot is pending.
    bool getIsSnap() const;

    /// Name of this thread in debug texts.
    void setFlag(const QString &flag);
    /// Whether snapFinsh() also emits snapImage.
    void setSnapPreview(bool snapPreview);
    /// Free for subclasses.
    QElapsedTimer *getTimer();
    /// Widgets that show this thread; a widget raises and lowers it.
    std::atomic<int> &previewRef();
    /// Mark of the live widget that holds this thread as the one it started.
    std::atomic<bool> &isOwned();
    /// Widgets plus wanted recordings; the owner of a shared thread stops it only at 0.
    int referenceCount() const;
    /// Whether the last attempts to open have failed. For hosts to poll. Only threads that are fed
    /// frame by frame count them: false with FFmpegVideoThread.
    bool isOpenTimeout() const;
    /// Whether the last open or read has timed out; a refusal is no time-out. For hosts to poll.
    bool isReadTimeout() const;
    /// Notes a sign of life now.
    void updateTime();

    /// Stores a changed size and announces it; does nothing until a first size is known.
    void checkVideoSize(int w, int h);
    /// Size as text, "640x480" or "640*480".
    void setVideoSize(const QString &videoSize);
    /// Parses a local camera address "name|WIDTHxHEIGHT|fps"; what is missing stays as it came, and
    /// a size of "0x0" becomes "640x480".
    static void checkCameraUrl(const QString &url, QString &cameraName, QString &cameraSize,
                               int &cameraFps);

    // Recording. Each RecordType is a recording of its own, and neither needs a viewer. What is
    // wanted stands in isRecording(); the loop brings its writer in line with it at the next
    // frames.

    /// Wants a recording; its file starts at the next video key frame. An index out of range does
    /// nothing.
    void recordStart(RecordType type);
    /// Ends a recording at the next packet.
    void recordStop(RecordType type);
    bool isRecording(RecordType type) const; ///< it is wanted, be there a file or not
    /// Seconds per file; 0 or less: one file without limit. An index out of range is ignored.
    void setSaveInterval(RecordType type, int seconds);
    int getSaveInterval(RecordType type) const;
    /// Folder under which a subclass names its files.
    void setSavePath(RecordType type, const QString &path);
    void setSaveAudio(RecordType type, bool saveAudio); ///< from the next file on; true
    /// Path of the current file; makes its folder.
    void setFileName(RecordType type, const QString &fileName);
    QString getFileName(RecordType type) const;
    /// Makes the folder of a file. A folder that starts with "./" lies beside the program, and each
    /// "." in it is removed.
    void checkPath(const QString &path);

    bool eventFilter(QObject *watched, QEvent *event) override;

    /// For subclasses, at a resize of what they watch. Empty.
    virtual void setGeometry();
    /// The pause after an attempt to open, on the stream thread; returns whether the source is
    /// open.
    virtual bool checkOpen();
    /// Builds the name of the next file and stores it with setFileName. Empty.
    virtual void setMP4FileName(RecordType type);
    /// Gives a closed file its last name. Empty.
    virtual void renameMP4File(RecordType type);

signals:
    /// The source is open; `time` is 0.
    void receivePlayStart(int time);
    /// The session has ended after a successful open; the argument is the thread.
    void receivePlayFinsh(QObject *thread);
    /// A picture in VideoMode_Painter. It may share the thread's buffer: paint or copy it soon.
    void receiveImage(const QImage &image, int time);
    /// A snapshot is on disk, if setSnapPreview asked for this.
    void snapImage(const QImage &image, const QString &snapName);
    void receiveSizeChanged(); ///< the picture has another size
    /// For hosts; the library does not send it.
    void recorderStateChanged(const RecorderState &state, const QString &file);
    /// Comes before the first picture of a session.
    void receiveRenderStart();
    /// Codec ("H264" or "H265") and size are known; the receiver may still choose mode and
    /// hardware.
    void sig_updateCodecRender(const QString &codecFmt, int w, int h);
    /// Planar 4:2:0 picture, lent until the slot returns.
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                      quint32 linesizeY, quint32 linesizeU, quint32 linesizeV);
    /// NV12 picture, lent until the slot returns.
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataUV, quint32 linesizeY,
                      quint32 linesizeUV);
    /// Direct3D 9 surface, lent until the slot returns.
    void receiveFrame(int width, int height, quint8 *data, bool codecChanged);
    /// Direct3D 11 texture and its array index, lent until the slot returns.
    void receiveFrame(int width, int height, quint8 *data, qint32 index, bool codecChanged);
    /// Hz, channels, bits.
    void receiveAudioFormat(int sampleRate, int channelCount, int sampleSize);
    /// Decoded PCM, little-endian.
    void receiveAudio(const QByteArray &data);
    /// The next two are for hosts; the library does not send them.
    void receiveVolume(int volume);
    void receiveMuted(bool muted);
    void receiveDuration(qint64 duration); ///< 0, when a live widget joins a stream that plays
    void receivePosition(qint64 position); ///< milliseconds; what of depends on the source
    /// Comes just before a decoder whose memory may still be shown is destroyed.
    void sig_decoderDestroyed();
    /// The device refuses another stream.
    void sig_connExceedMax();
    /// The device refuses for any other reason.
    void sig_otherError();

public slots:
    /// Place where a build can hook diagnostic output; it has none of its own.
    void debug(const QString &head, const QString &msg, const QString &url);
    void debug(const QString &head, const QString &msg);
    void setImage(const QImage &image); ///< sends receiveImage
    /// `dataU` and `dataV` have half the line size of `dataY`, which is `width`.
    void setYuv(quint8 *dataY, quint8 *dataU, quint8 *dataV, int width, int height);
    void setPcm(const char *data, int len);    ///< sends receiveAudio
    virtual void readMediaInfo();              ///< for subclasses; nothing here
    virtual qint64 getDuration();              ///< milliseconds; 0 for live streams
    virtual qint64 getPosition();              ///< as last told
    virtual void setPosition(qint64 position); ///< stores and tells it
    virtual double getSpeed();                 ///< 1.0 here
    virtual void setSpeed(double speed);       ///< nothing here
    /// Soft stop after a fault: reopens, or asks a host's object of class "VideoWidget" to stop.
    virtual void stop2();
    /// Starts the thread; nothing if it runs.
    virtual void play();
    /// Asks the thread to end and returns at once.
    virtual void stop();
    virtual void pause(); ///< reading stops, the source stays open
    /// Resumes after pause().
    virtual void next();
    /// Saves the next decoded picture as JPEG. Nothing while no widget shows the thread.
    virtual void snap(const QString &snapName = QString());
    /// Runs on the GUI thread when the file of a snapshot is written.
    virtual void snapFinsh();

protected:
    /// Resets what belongs to one session and reports its end, if the source had opened; for
    /// closeVideo() of subclasses, on the stream thread. Clears `stopped` too: the object is then
    /// ready for the next play().
    void resetSession();

    /// For the end of run(): starts the thread again, from the thread that the object lives on, as
    /// soon as run() has returned. Dropped with the object, by a stop() while the thread does not
    /// run, and by whoever clears restartPending: run() does so first, so that a start by another
    /// hand takes its place.
    void restartAfterRun();

    /// Ends run() and waits for it; first thing in the destructor of every class whose members or
    /// virtual functions run() uses. From then on no signal of this object reaches anybody but
    /// started, finished and destroyed. A slot for which run() stands waiting is still called while
    /// its receiver is whole, and is dropped where the receiver is just being destroyed with this
    /// object as a child; other queued slots of the calling thread may run meanwhile.
    void endRun();

    /// Milliseconds since the last sign of life.
    qint64 quietMs() const;

    // For the loop of subclasses, which keeps the writers in line with what is wanted.

    /// Folder for setMP4FileName(); empty out of range.
    QString getSavePath(RecordType type) const;
    /// Whether the current file has had its seconds; or its disk was full and has room again; or
    /// it is lost for another reason, see SaveMp4FFmpeg::isFileLost(), and some seconds old. A file
    /// without a limit only ends for the latter two.
    bool isFileExpired(RecordType type) const;
    /// Opens the next file of a recording, whose name and parameters are set. If that fails, the
    /// writer does not run, and the next key frame may try again.
    void openMP4(RecordType type);
    /// Ends the file of a recording, if its writer runs, and has it renamed. Waits for the disk.
    void closeMP4(RecordType type);

    static constexpr int kNoSaveLimit = -1; ///< value of saveInterval: one file without limit
    static bool isRecordType(int type) { return type >= 0 && type < RECORD_TYPE_MAX; } ///< in range

    QMutex mutex; ///< for subclasses

    // Control flags: written by the caller's thread and the loop, plain on purpose.
    bool stopped = false; ///< asks the loop to end
    bool isOk = false;    ///< see getIsOk()
    bool isPause = false; ///< see pause()
    bool isSnap = false;  ///< see getIsSnap()

    QString flag;       ///< see setFlag()
    int errorCount = 0; ///< read errors in a row
    /// Last sign of life. Read by quietMs() and written by updateTime(), on any thread.
    QDateTime lastTime = QDateTime::currentDateTimeUtc();
    QElapsedTimer timer;             ///< see getTimer()
    QObject *parentObject = nullptr; ///< as given to the constructor

    VideoMode videoMode = VideoMode_Hwnd;      ///< in force
    QString videoSize = QStringLiteral("0x0"); ///< see setVideoSize()
    int videoWidth = 0;                        ///< pixels
    int videoHeight = 0;                       ///< pixels
    int frameRate = 0;                         ///< per second
    int rotate = 0;                            ///< degrees

    int sampleRate = 8000;  ///< Hz
    int channelCount = 1;   ///< of sound
    int profile = 1;        ///< audio profile of the decoder
    bool onlyAudio = false; ///< see getOnlyAudio()

    QString snapName;    ///< see getSnapName()
    qint64 duration = 0; ///< milliseconds
    qint64 position = 0; ///< milliseconds

    VideoCore videoCore = VideoCore_None;       ///< see getVideoCore()
    QString videoUrl;                           ///< may hold a password
    QString bufferSize = QStringLiteral("0x0"); ///< see getBufferSize()
    DecodeType decodeType = DecodeType_Fast;    ///< see getDecodeType()
    QString hardware = QStringLiteral("none");  ///< see getHardware()
    QString transport = QStringLiteral("tcp");  ///< see getTransport()
    int caching = 500;                          ///< see getCaching()
    bool playRepeat = false;                    ///< see getPlayRepeat()
    int openSleepTime = 3000;                   ///< milliseconds
    int readTimeout = 0;                        ///< milliseconds
    int connectTimeout = 500;                   ///< milliseconds

    // By RecordType. The vectors are never copied, so a detach on either thread is safe.
    QVector<int> saveInterval;        ///< seconds
    QVector<QString> savePath;        ///< folders
    QVector<bool> recording;          ///< what is wanted
    QVector<bool> saveAudio;          ///< with sound
    QVector<QElapsedTimer> saveTimer; ///< since the begin of the file
    QVector<QString> fileName;        ///< path of the current file
    /// The writers, made here and deleted when the loop has ended; without a parent, so that no
    /// other owner ends them before. Driven by the loop alone.
    QVector<SaveMp4FFmpeg *> saver;

    std::atomic<int> openFailCount{0};     ///< in a row
    std::atomic<bool> readTimedOut{false}; ///< see isReadTimeout()
    std::atomic<bool> keyFrameSeen{false}; ///< decoding has begun at a key frame
    std::atomic<bool> snapPreview{false};  ///< see setSnapPreview()
    std::atomic<int> previewCount{0};      ///< see previewRef()
    std::atomic<bool> owned{false};        ///< see isOwned()
    bool renderStartPending = true; ///< the render signals must precede the next decoded frame
    bool playedOnce = false;        ///< the source has opened since the last close
    /// A stop() that came while running and that play() has not taken back. Unlike `stopped` it
    /// outlives resetSession(), so that a stop which meets a close is not lost.
    std::atomic<bool> stopAsked{false};
    std::atomic<bool> restartPending{false}; ///< restartAfterRun() has been called

private:
    // The writes that another thread than the loop makes, each under a name, so that the list of
    // what is shared on purpose can name nothing but these.
    void askToStop();
    void askToReopen();
    void setSnapPending(bool pending);

    QString locked(const QString &text) const;
    void setLocked(QString &text, const QString &value);
    void startOnceIdle();

    /// Guards the texts of the accessors and lastTime, which do not bear a reader beside a writer.
    /// Leaf lock: held for one copy.
    mutable QMutex valueMutex;
};
