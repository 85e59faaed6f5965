// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/h265sets_p.h"
#include "core_videosave/mp4timestamps_p.h"
#include "core_videosave/packetqueue_p.h"
#include "devicelink/encpara.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

/// A stream of the file, as a producer needs to know it.
struct Mp4Stream
{
    int index = -1; ///< -1: the file has none
    AVRational timebase = {0, 1};
    AVCodecID codec = AV_CODEC_ID_NONE; ///< of the file
};

/// The file of one recording, from createMp4() to closeMp4(): muxer, sound transcoder, filter. Used
/// by one thread at a time. Every packet that the muxer has taken is handed to the system at once,
/// so that a process that is killed loses no finished fragment.
class Mp4File
{
    Q_DISABLE_COPY(Mp4File)

public:
    Mp4File();
    /// Closes what is still open, without a trailer.
    ~Mp4File();

    /// Creates the file and its streams by those parameters that are usable. 0, or -1 with a line
    /// in the log. `fileName` is UTF-8.
    int createMp4(const QByteArray &fileName, const HVideoEncPara &video,
                  const HAudioEncPara &audio);
    /// Starts the transcoder. False with a line in the log; the file stays open.
    bool createEncoder(const HAudioEncPara &audio);
    /// Writes the trailer and closes. Nothing happens without a file.
    void closeMp4();

    /// Whether the system has refused bytes of the file because there was no room for them. The
    /// file gets none any more then, also when there is room again. Holds until the next
    /// createMp4().
    bool isDiskFull() const;
    /// Whether what is written from now on is lost: the system has refused bytes of the file, for
    /// want of room or any other reason, and it gets none any more; or it has gone from its folder,
    /// which is looked at with each key picture. Holds until the next createMp4().
    bool isLost() const;

    Mp4Stream videoStream() const { return streamAt(videoIndex); }
    Mp4Stream audioStream() const { return streamAt(audioIndex); }

    /// Writes a picture, or a block of sound once it has become AAC. A failure is a line in the
    /// log, and does not stop the next one. Refused are: video that is none, or of the other codec;
    /// pictures before the first with parameter sets, which would make a file that nobody can play;
    /// stamps that no file can hold. Sound that `followsPictures` has no time of its own but that
    /// of a picture, perhaps the same again and again: its frames then follow each other. The
    /// packet is used up.
    void write(AVPacket *packet, bool followsPictures);

    /// Which pictures change nothing that can be seen from outside, after what has been written;
    /// nothing if each may. Holds until the next packet that is none of them.
    std::optional<PlainPictures> plainPictures() const;

private:
    struct EncoderDeleter
    {
        void operator()(void *encoder) const;
    };
    /// How much the muxer holds back until a fragment is complete.
    struct Held
    {
        qint64 bytes = 0;
        int packets = 0;
    };

    Mp4Stream streamAt(int index) const;
    int addStreams(const HVideoEncPara &video, const HAudioEncPara &audio);
    AVStream *addStream(AVCodecID id);
    void describe(AVCodecParameters *parameters, const HVideoEncPara &video);
    void describe(AVCodecParameters *parameters, const HAudioEncPara &audio);
    int openFile(const QByteArray &fileName);
    void lookForFile();
    std::unique_ptr<void, EncoderDeleter> newEncoder() const;
    int fail();
    void closeFile();

    void writeVideo(AVPacket *packet);
    void writeAudio(const AVPacket *packet, bool followsPictures);
    bool audioG711ToAAC(const AVPacket *in);
    void writeAac(const AVPacket *in, const quint8 *frame, int size, qint64 pts);
    qint64 aacFrameTime() const;
    void writeSilence(void *encoder, int frames, qint64 pts);
    void beginSound(qint64 pictureTime);
    void endSound();
    bool isKeyPicture(const AVPacket *packet) const;
    int writeToMuxer(AVPacket *packet);
    int limitHeld(const AVPacket *packet);

    // In this order, so that each goes before what it uses.
    AVIOContextPtr pb;
    AVFormatOutputPtr fmtCtx;
    AVBSFContextPtr bsfCtx;
    std::unique_ptr<void, EncoderDeleter> aacEncoder;
    std::vector<quint8> aacBuffer; ///< what one call of the transcoder gives
    std::vector<quint8> aacFrames; ///< what one packet has become: ADTS frames one after the other
    int videoIndex = -1;
    int audioIndex = -1;
    int frameSamples = 0; ///< of the device's sound in one AAC frame
    bool headerWritten = false;
    bool noRoom = false; ///< of a file that is closed, or could not be opened
    bool lost = false;   ///< the same, or it has gone
    QString place;       ///< where the file is to be found; empty if not in a folder
    H265Sets h265Sets;
    bool awaitsParameterSets = true;   ///< of the video
    bool holdsFragments = false;       ///< nothing goes to the system before a key picture
    std::optional<qint64> lastPicture; ///< stamp it came with; nothing if it was refused
    HAudioEncPara soundPara;
    int aacWritten = 0;                 ///< frames of sound
    qint64 soundPts = 0;                ///< of the last frame of sound
    qint64 blockPts = 0;                ///< of the block that it was made of
    std::optional<qint64> firstPicture; ///< its time in the file, in units of the video
    FileTimeline timeline;
    Held held;
};

/// Whether a packet is, by itself, one of PlainPictures.
bool isPlainPicture(AVCodecID codec, const AVPacket *packet);
/// Whether an FFmpeg result says that the disk, or the share of it, is full.
bool meansNoRoom(int result);
/// AVCodecID of a HAVCodecID, 0 for one that cannot be recorded.
AVCodecID getCodecId(int codecId);
/// Bytes of the ADTS frame that begins there, header and all; `size` if it is none.
int adtsFrameSize(const quint8 *data, int size);
