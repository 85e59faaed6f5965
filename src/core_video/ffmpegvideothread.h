// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideothread.h"
#include "devicelink/encpara.h"

#include <memory>

struct AVFrame;
struct AVPacket;
struct AVStream;

/// Plays a URL as it comes: reads packets, decodes them while somebody watches, hands pictures and
/// sound on, and opens the source again when it breaks. A live reader: no pacing, no seek, no
/// speed, no pause. Of a file the end counts as a read error.
///
/// Threads. run() and all functions below but the constructor and the destructor execute on the
/// stream thread. It blocks in FFmpeg, which a stop() or a time-out interrupts; in the TCP probe
/// before each open, at most 500 ms; in the pause after a failed open, which a stop() cuts short;
/// in blocking signals; and where a recording ends a file, until that is written. It holds nothing
/// while it emits.
///
/// Time-outs. connectTimeout guards the open and readTimeout each read, measured from the last good
/// one (3 s where they are below 1). Three read errors in a row end run(), which then starts again
/// if readTimeout is above 0. A failed open is tried again for ever, openSleepTime apart.
class VANTRA_EXPORT FFmpegVideoThread : public AbstractVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(FFmpegVideoThread)

public:
    explicit FFmpegVideoThread(QObject *parent = nullptr); ///< idle
    /// A subclass whose overrides or members run() uses calls endRun() in its own destructor.
    ~FFmpegVideoThread() override;

protected:
    /// Finds videoUrl, before each open; false fails that open.
    virtual bool parseVideoUrl();
    /// Asks what the source is sending now, after each open and each read. 0: both records are
    /// filled. A valid record that differs from the last one known forces a full reopen.
    virtual int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio);
    /// Takes every packet that was read, watched or not, to the recordings that are wanted. Files
    /// are opened, and ended when their time is over, at key pictures (`isKeyVideo`) alone. Waits
    /// for the disk only where a file ends.
    virtual void saveMP4(AVPacket *packet, bool isKeyVideo);

    void run() override;

protected slots:
    bool openVideo();  ///< one attempt, with the probe
    void closeVideo(); ///< ends recordings too

protected:
    int videoIndex = -1;      ///< number of the stream, -1: the source has none
    int audioIndex = -1;      ///< likewise, of sound
    bool isOpening = false;   ///< what the interrupt callback is to watch
    bool isReading = false;   ///< likewise
    bool isCutShort = false;  ///< the callback has ended FFmpeg's call
    qint64 openStartTime = 0; ///< av_gettime() at the start of the open, microseconds
    int videoCodecId;         ///< AVCodecID of the open stream
    int audioCodecId;         ///< likewise, of sound
    /// As last told by getLatestRecordCodec(); where that gave nothing, as found in the stream.
    HVideoEncPara curVideoPara;
    HAudioEncPara curAudioPara; ///< likewise, of sound

private:
    friend int avinterruptCallBackFun(void *context);
    struct Session;

    /// What became of the loop after one read.
    enum class Read { GoOn, Leave, Restart };

    bool initInput();
    bool initVideo();
    bool initHardware();
    bool initAudioInput();
    bool initResampler();
    bool initData();

    Read readPacket();
    Read handlePacket();
    bool interruptIsDue();

    bool rotateMP4(RecordType type);
    const AVStream *videoStream() const;
    void endFiles();
    HVideoEncPara builtVideoPara() const;
    HAudioEncPara builtAudioPara() const;

    QString codecName() const;
    void decodeVideo();
    void deliver();
    void decodeImage();
    void snapHardwareFrame();
    void decodeAudio();
    QImage toRgb(const AVFrame *frame, int width, int height);
    void saveSnap(const QImage &image);

    bool isReadUnderWay = false; ///< this side of isReading, which subclasses may set
    qint64 notDueAt = 0;         ///< coarseTimeMs() at which that was found not to be due; 0: never
    std::unique_ptr<Session> session; ///< what one open has built; empty while closed
    /// The last session met pictures of another shape than its open had found. Then the next open
    /// looks at several, in case the source describes itself wrongly.
    bool isShapeDoubtful = false;
};

/// Interrupt callback of FFmpeg, with the thread as context: not 0 makes a blocking call give up.
int avinterruptCallBackFun(void *context);
