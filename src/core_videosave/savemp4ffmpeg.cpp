// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/savemp4ffmpeg.h"

#include "core_videosave/mp4file_p.h"
#include "core_videosave/mp4timestamps_p.h"
#include "core_videosave/packetqueue_p.h"
#include "devicelink/hframeheader.h"
#include "log.h"

#include <QMutexLocker>
#include <QtDebug>

#include <atomic>
#include <cstring>
#include <utility>

namespace {

constexpr char kLogTag[] = "(svmp4ff)";

constexpr int kDefaultReadTimeout = 500; // milliseconds

} // namespace

/// All that one recording needs. The file belongs to the owner's thread until the writer runs, then
/// to the writer; a producer only ever touches what stands under `producerMutex`, and the queue.
struct SaveMp4FFmpeg::Recording
{
    /// Where packets go; nowhere while nothing is open.
    struct Streams
    {
        Mp4Stream video;
        Mp4Stream audio;

        const Mp4Stream &of(bool isVideo) const { return isVideo ? video : audio; }
    };

    std::atomic<int> readTimeout{kDefaultReadTimeout};
    HVideoEncPara vcodecPar;
    HAudioEncPara acodecPar;
    Mp4File file;
    PacketQueue queue;
    std::atomic<bool> diskFull{false};
    std::atomic<bool> fileLost{false};
    std::atomic<bool> soundFollowsPictures{false}; ///< packets of a demuxer have come

    QMutex producerMutex; ///< held for arithmetic only
    AVRational vTimebase = {1, 1000};
    bool join = false;
    Mp4Timestamps timestamps;
    Streams streams;
    QString streamsFile; ///< name of the file that they are in

    void post(AVPacketPtr packet, bool isVideo, AVCodecID codec);
    CountingSemaphore::Result awaitPacket(const std::atomic<bool> &stopped);
    void write(AVPacket *packet);
};

SaveMp4FFmpeg::SaveMp4FFmpeg(QObject *parent)
    : AbstractSaveThread(parent), m(std::make_unique<Recording>())
{
}

SaveMp4FFmpeg::~SaveMp4FFmpeg()
{
    endThread();
    wait(); // for a close() under way too
}

bool SaveMp4FFmpeg::isQueueEmpty() const
{
    return m->queue.isQueueEmpty();
}

bool SaveMp4FFmpeg::isQueueFull() const
{
    return m->queue.isQueueFull();
}

bool SaveMp4FFmpeg::isDiskFull() const
{
    return m->diskFull;
}

bool SaveMp4FFmpeg::isFileLost() const
{
    return m->fileLost;
}

void SaveMp4FFmpeg::setPara(HVideoEncPara vcodecPar, HAudioEncPara acodecPar, int readTimeout)
{
    m->vcodecPar = vcodecPar;
    m->acodecPar = acodecPar;
    m->readTimeout = readTimeout;
}

void SaveMp4FFmpeg::setTimebase(AVRational vTimebase)
{
    const QMutexLocker locker(&m->producerMutex);
    m->vTimebase = vTimebase;
}

void SaveMp4FFmpeg::setJoin(bool enable)
{
    const QMutexLocker locker(&m->producerMutex);
    m->join = enable;
}

bool SaveMp4FFmpeg::init()
{
    if (fileName.isEmpty()) {
        qCritical();
        return false;
    }
    m->queue.clearQueue();
    m->diskFull = false;
    m->fileLost = false;
    {
        const QMutexLocker locker(&m->producerMutex);
        m->timestamps.begin();
        m->soundFollowsPictures = false;
        m->streams = {};
    }
    if (!m->queue.semaphore.create()) {
        VANTRA_LOG(Logger::Error) << "creat sem null";
        return false;
    }
    if (m->file.createMp4(fileName.toUtf8(), m->vcodecPar, m->acodecPar) != 0) {
        VANTRA_LOG(Logger::Error) << "creat mp4 err";
        m->diskFull = m->file.isDiskFull();
        return false;
    }
    if (m->acodecPar.isValid() && !m->file.createEncoder(m->acodecPar))
        return false;
    const QMutexLocker locker(&m->producerMutex);
    m->streams = {m->file.videoStream(), m->file.audioStream()};
    m->streamsFile = fileName;
    return true;
}

void SaveMp4FFmpeg::writeData(AVPacket *pkt, bool video)
{
    if (!pkt)
        return;
    const bool hasItsBytes = pkt->size == 0 || (pkt->size > 0 && pkt->data);
    AVPacketPtr clone(hasItsBytes ? av_packet_clone(pkt) : nullptr);
    Recording::Streams streams;
    qint64 pts = 0;
    {
        const QMutexLocker locker(&m->producerMutex);
        // Recorded or not, a picture tells the sound its time.
        if (video)
            m->timestamps.newestPicture(pkt->pts);
        streams = m->streams;
        const Mp4Stream &stream = streams.of(video);
        if (clone && stream.index >= 0)
            pts = rescaleTime(m->timestamps.packetTime(), m->vTimebase, stream.timebase);
    }
    const Mp4Stream &stream = streams.of(video);
    if (stream.index < 0) {
        VANTRA_LOG(Logger::Warning)
            << QStringLiteral("find av stream [%1:%2] err")
                   .arg(QString::number(streams.video.index), QString::number(streams.audio.index));
        return;
    }
    if (!clone) {
        VANTRA_LOG(Logger::Warning) << "clone pkt err";
        return;
    }
    if (!video)
        m->soundFollowsPictures = true;
    clone->stream_index = stream.index;
    clone->pts = pts;
    clone->dts = clone->pts; // no reordering: pictures are shown as they are decoded
    clone->duration = 0;
    clone->pos = -1;
    m->post(std::move(clone), video, stream.codec);
}

void SaveMp4FFmpeg::writeData(HFrameHeader *frame)
{
    if (!frame)
        return;
    const bool video = frame->isVideo();
    Recording::Streams streams;
    {
        const QMutexLocker locker(&m->producerMutex);
        streams = m->streams;
    }
    const Mp4Stream stream = video ? streams.video : frame->isAudio() ? streams.audio : Mp4Stream();
    if (stream.index < 0) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("find av stream (%1:%2) err")
                                         .arg(QString::number(streams.video.index),
                                              QString::number(streams.audio.index));
        return;
    }
    AVPacketPtr packet(av_packet_alloc());
    if (!packet) {
        VANTRA_LOG(Logger::Error) << "allock pkg err";
        qCritical();
        return;
    }
    if (!frame->fitsBuffer() ||
        av_new_packet(packet.get(), static_cast<int>(frame->frameSize)) != 0) {
        qCritical();
        return;
    }
    memcpy(packet->data, frame->payload(), frame->frameSize);
    packet->stream_index = stream.index;
    if (frame->isKeyFrame())
        packet->flags |= AV_PKT_FLAG_KEY;

    Mp4Timestamps::FrameTime time;
    QString name;
    {
        const QMutexLocker locker(&m->producerMutex);
        time = m->timestamps.frameTime(video, frame->pts, m->join);
        packet->pts = rescaleTime(time.time, m->vTimebase, stream.timebase);
        if (time.tell)
            name = m->streamsFile;
    }
    if (time.tell) {
        VANTRA_LOG(Logger::Warning)
            << QStringLiteral("%1 pts (%2:%3)")
                   .arg(name, QString::number(frame->pts), QString::number(time.previous));
    }
    packet->dts = packet->pts;
    packet->duration = 0;
    packet->pos = -1;
    m->post(std::move(packet), video, stream.codec);
}

/// What is in a picture is looked at only where it may gather: that takes as long as it is large.
void SaveMp4FFmpeg::Recording::post(AVPacketPtr packet, bool isVideo, AVCodecID codec)
{
    PacketKind kind = isVideo ? PacketKind::Picture : PacketKind::Sound;
    if (isVideo && queue.mayGather(*packet) && isPlainPicture(codec, packet.get()))
        kind = PacketKind::PlainPicture;
    queue.writePacket(std::move(packet), kind);
}

void SaveMp4FFmpeg::save()
{
    const CountingSemaphore::Result result = m->awaitPacket(stopped);
    if (result == CountingSemaphore::TimedOut)
        VANTRA_LOG(Logger::Info) << "wait data timeout";
    else if (result != CountingSemaphore::Signalled)
        VANTRA_LOG(Logger::Warning) << "wait sem err " << static_cast<quint32>(result);
    if (m->queue.isQueueEmpty())
        return;
    const AVPacketPtr packet = m->queue.dequeue();
    if (!packet) {
        VANTRA_LOG(Logger::Warning) << "deque null";
        return;
    }
    m->write(packet.get());
}

void SaveMp4FFmpeg::Recording::write(AVPacket *packet)
{
    file.write(packet, soundFollowsPictures);
    diskFull = file.isDiskFull();
    fileLost = file.isLost();
}

/// The wait for the next packet. What gathers meanwhile is written at its end, and after each
/// `readTimeout`; that counts from the last of them, as if each had ended a wait. Nor does it go on
/// behind them when the loop is to end.
CountingSemaphore::Result SaveMp4FFmpeg::Recording::awaitPacket(const std::atomic<bool> &stopped)
{
    for (qint64 left = readTimeout;;) {
        queue.beginRest(file.plainPictures());
        const CountingSemaphore::Result result = queue.semaphore.wait(static_cast<int>(left));
        const PacketQueue::Gathered gathered = queue.endRest();
        for (const AVPacketPtr &packet : gathered.packets)
            write(packet.get());
        if (result != CountingSemaphore::TimedOut || gathered.packets.empty())
            return result;
        if (stopped)
            return CountingSemaphore::Signalled;
        left = readTimeout - gathered.quietMs;
        if (left <= 0)
            return result;
    }
}

void SaveMp4FFmpeg::close()
{
    {
        // From here on producers find no stream, so that the queue comes to an end.
        const QMutexLocker locker(&m->producerMutex);
        m->streams = {};
        m->timestamps.end();
    }
    while (!m->queue.isQueueEmpty()) {
        if (const AVPacketPtr packet = m->queue.dequeue())
            m->file.write(packet.get(), m->soundFollowsPictures);
    }
    m->queue.clearQueue();
    m->file.closeMp4();
    m->diskFull = m->file.isDiskFull();
    m->fileLost = m->file.isLost();
    m->queue.semaphore.destroy();
}

void SaveMp4FFmpeg::stop()
{
    endThread();
}

void SaveMp4FFmpeg::endThread()
{
    if (!requestStop())
        return;
    m->queue.semaphore.release(); // the writer may wait for data
    wait();
}

#include "moc_savemp4ffmpeg.cpp"
