// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_codec/ffmpeg.h"
#include "core_videobase/abstractvideothread.h"
#include "devicelink/encpara.h"
#include "devicelink/hframeheader.h"

#include <QByteArray>
#include <QDate>

#include <memory>

class MediaCodec;

/// Plays a stream that comes from a device frame by frame: reads, decodes while somebody watches,
/// hands pictures and sound on in the order read, and records, watched or not. How to reach the
/// device and how to read from it is up to the subclass.
///
/// Threads. run() and all that it calls execute on the stream thread: everything below but the
/// constructor, the destructor, pause(), next() and setReadTimeout(). It blocks in readFrame(), at
/// most a fifth of readTimeout for one frame; in checkConnect(); in the pause after a failed open;
/// in the disk when a recording ends; and in blocking signals. It holds nothing while it emits.
///
/// Time-outs. Each read that times out asks the device for the stream again, by initInput(); the
/// fifth in a row raises isReadTimeout(). With a readTimeout below 5 a read does not wait, and a
/// quiet stream is looked at every 10 ms. A failed open is tried again for ever, openSleepTime
/// apart. Four read errors in a row end run(), which never starts again by itself; so does the end
/// of a recording.
///
/// Pictures. Planes and surfaces lie in the memory of the decoder. A QImage shares it, so that it
/// may be painted after the decoder is gone. A subclass whose overrides or members run() uses calls
/// endRun() in its own destructor.
class VANTRA_EXPORT PvProtoVideoThread : public AbstractVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(PvProtoVideoThread)

public:
    explicit PvProtoVideoThread(QObject *parent = nullptr); ///< idle
    ~PvProtoVideoThread() override;

    void setReadTimeout(int readTimeout) override;

public slots:
    /// While paused nothing is read at all.
    void pause() override;
    void next() override;

protected slots:
    /// Connects, starts the stream and makes the session ready; returns whether the source is open.
    virtual bool openVideo();
    /// Ends the session and lets go of the decoders, after every receiver has let go of their
    /// memory. May be called without an open. A subclass that extends it calls this one.
    virtual void closeVideo();

protected:
    /// Replaces `codec` by a new one, without decoders.
    virtual void initOption();
    /// Asks the device to send. Called at each open and after each time-out of a read, so it must
    /// bear to be repeated. Returns true here.
    virtual bool initInput();
    /// Forgets what the last session has decoded and recorded.
    virtual void initOther();
    /// Waits until the device is connected. Returns true here.
    virtual bool checkConnect();
    /// Reads one frame into `frame`, the head of a buffer of kHFrameBufferSize bytes, and waits for
    /// it at most `timeoutMs`. Returns a DeviceReadResult; anything else is an error too.
    virtual int readFrame(HFrameHeader *frame, int timeoutMs) = 0;
    /// For each frame read while nobody watches. Empty.
    virtual void handlePreviewClose();
    /// Delivers the last picture as an image: to the pending snapshot, and for VideoMode_Painter to
    /// the widgets. Without an RGB picture it does nothing, and the snapshot stays pending.
    virtual void decodeImage();
    /// For each frame read, before saveMP4(). Empty.
    virtual void beforeSaveMP4(HFrameHeader *frame);
    /// Asks what the stream is made of now; 0: both records are filled. Returns -1 here.
    virtual int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio);

    void run() override;

    /// Lets go of the decoders, after every receiver has let go of their memory.
    void destroyDecoders();
    /// Decodes a video frame and delivers the picture. A key frame in a new form makes a new
    /// decoder first.
    void decodeVideo(HFrameHeader *frame);
    /// Decodes an audio frame and sends the sound; in a new form by a new decoder.
    void decodeAudio(HFrameHeader *frame);
    /// Delivers `yuvOut` by the video mode; `codecChanged`: it is the first of a new decoder.
    void afterDecodeVideo(bool codecChanged);
    /// Delivers `pcmOut`.
    void afterDecodeAudio();

    // For decodeImage().

    /// `rgbOut` as an image that shares the decoder's memory; null if there is none. The next
    /// picture is written into the same bytes: a receiver that has not copied it by then sees it
    /// tear, which is accepted, but never freed memory.
    QImage rgbImage() const;
    /// Saves the pending snapshot under its name, if it has one, and has snapFinsh() called.
    void saveSnap(const QImage &image);

    /// Brings the writers in line with what is wanted, and hands them the frame.
    void saveMP4(HFrameHeader *frame);
    /// Ends the file of one recording, of all recordings.
    void closeMP4(RecordType type);
    void closeAllMP4();
    /// Whether the day is another than at the last call. Who asks first at midnight is told, the
    /// second recording is not: that is intended.
    bool isDateChanged();
    /// Whether the device tells another stream than the running recording was made with.
    bool isCodecChanged(bool checkAudio);
    /// Notes what the running recording is made with.
    void setCurRecordCodec(const HVideoEncPara &video, const HAudioEncPara &audio);

    std::unique_ptr<MediaCodec> codec; ///< made by initOption()
    _tag_vdec_param_s videoParam = {}; ///< of the open video decoder
    _tag_adec_param_s audioParam = {}; ///< of the open audio decoder
    _tag_yuv_frame_s yuvOut = {};      ///< last picture, in memory of the decoder
    _tag_audio_frame_s pcmOut = {};    ///< last sound, in memory of the decoder
    _tag_rgb_frame_s rgbOut = {};      ///< the last picture in RGB; zero if it was not asked for
    HFrameHeader lastVideoHeader = {}; ///< of the frame that made the video decoder
    HFrameHeader lastAudioHeader = {}; ///< of the frame that made the audio decoder
    HVideoEncPara curVideoPara;        ///< what the running recording was made with
    HAudioEncPara curAudioPara;        ///< likewise
    QDate recordDate;     ///< day of the running automatic recording; invalid: not known
    int timeoutCount = 0; ///< reads in a row that timed out

private:
    void reopen();
    void handleFrame(HFrameHeader *frame);
    void handleTimeout();

    QByteArray hardwareName() const;
    bool needsVideoDecoder(const HFrameHeader &frame) const;
    void makeVideoDecoder(const HFrameHeader &frame);
    bool makeAudioDecoder(const HFrameHeader &frame);
    void announceRender();
    void deliverPlanes();
    void deliverSurface(VideoMode mode, bool codecChanged);

    void renewMP4();
    void startMP4(RecordType type);

    QByteArray nv12Chroma; ///< the chroma of a software picture for receivers of two planes
};
