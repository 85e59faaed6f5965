// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// SaveMp4FFmpeg::writeData() for frames of a device, fed with anything. An input is a Head, then
// Records, each with its payload behind it; all as they lie in memory, little-endian.
//
// What must hold besides memory: nothing hangs, and each MP4 file is whole boxes from end to end,
// whatever its frames were.
#include "fuzzinput.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"
#include "logger/logger.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtEndian>

#include <memory>
#include <vector>

extern "C" {
#include <libavutil/log.h>
#include <libavutil/rational.h>
}

using vantrafuzz::Input;
using vantrafuzz::require;

namespace {

struct Head
{
    std::uint8_t videoCodec; ///< HAVCodecID
    std::uint8_t audioCodec;
    std::int16_t width;
    std::int16_t height;
    std::uint16_t flags;
    std::int32_t sampleRate;
    std::int16_t bitsPerSample;
    std::int16_t channels;
};
static_assert(sizeof(Head) == 16);
enum HeadFlag { Join = 1, UnknownExtension = 2 };

struct Record
{
    std::int8_t frameType; ///< extended by its sign: negative ones are far above 4
    std::uint8_t flags;
    std::uint16_t payload; ///< bytes that follow
    std::int32_t lie;      ///< what `frameSize` says beyond them
    std::int64_t pts;
};
static_assert(sizeof(Record) == 16);
enum RecordFlag { NewFile = 1 };

constexpr int kMostRecords = 1000;

/// Has the lines of the log made, and shows none.
class Nowhere final : public LogSink
{
public:
    void write(const LogRecord &) override {}
};

/// One process, one folder, below what TMPDIR says.
class Place
{
public:
    Place()
    {
        require(dir.isValid(), "there is a place for files");
        Logger *const log = cuteLoggerInstance();
        for (const auto &sink : log->sinks())
            log->removeSink(sink);
        log->addSink(std::make_shared<Nowhere>());
        av_log_set_level(AV_LOG_QUIET);
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    }
    QString file(bool unknownExtension) const
    {
        return dir.filePath(unknownExtension ? QStringLiteral("a.unknown")
                                             : QStringLiteral("a.mp4"));
    }

private:
    QTemporaryDir dir;
};

/// ISO/IEC 14496-12, 4.2: size and type, then a size of 64 bits if the first one is 1.
void checkBoxes(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray bytes = file.readAll();
    quint64 at = 0;
    const auto end = static_cast<quint64>(bytes.size());
    while (at < end) {
        require(end - at >= 8, "a box has a head");
        const char *box = bytes.constData() + at;
        quint64 size = qFromBigEndian<quint32>(box);
        if (size == 1 && end - at >= 16)
            size = qFromBigEndian<quint64>(box + 8);
        require(size >= 8 && size <= end - at, "a box is whole");
        at += size;
    }
}

class Recording
{
public:
    Recording(const Head &head, const Place &place)
        : buffer(kHFrameBufferSize), isMp4((head.flags & UnknownExtension) == 0),
          path(place.file(!isMp4))
    {
        HVideoEncPara video;
        video.codecId = head.videoCodec;
        video.width = head.width;
        video.height = head.height;
        HAudioEncPara audio;
        audio.codecId = head.audioCodec;
        audio.sampleRate = head.sampleRate;
        audio.bitsPerSample = head.bitsPerSample;
        audio.channels = head.channels;
        writer.setPara(video, audio);
        writer.setTimebase({1, 1000});
        writer.setJoin((head.flags & Join) != 0);
        writer.open(path);
    }
    ~Recording() { end(); }
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;

    bool isOpen() const { return writer.getOpened(); }

    void newFile()
    {
        end();
        writer.open(path);
    }

    void write(const Record &record, const std::uint8_t *payload, std::size_t size)
    {
        auto *frame = reinterpret_cast<HFrameHeader *>(buffer.data());
        frame->frameType = static_cast<quint32>(static_cast<qint32>(record.frameType));
        frame->frameSize = static_cast<quint32>(size) + static_cast<quint32>(record.lie);
        frame->pts = record.pts;
        std::copy(payload, payload + size, buffer.begin() + kHFramePayloadOffset);
        writer.writeData(frame);
        while (writer.getOpened() && !writer.isQueueEmpty())
            QThread::yieldCurrentThread(); // a full queue would make the run another each time
    }

private:
    void end()
    {
        writer.stop();
        if (isMp4)
            checkBoxes(path);
    }

    std::vector<std::uint8_t> buffer; ///< as readers lend it
    const bool isMp4;
    const QString path;
    SaveMp4FFmpeg writer;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Place place;
    Input input(data, size);
    Recording recording(input.take<Head>(), place);
    if (!recording.isOpen())
        return 0;
    for (int i = 0; i < kMostRecords && !input.isEmpty(); ++i) {
        const auto record = input.take<Record>();
        std::size_t got = 0;
        const std::uint8_t *payload = input.takeBytes(record.payload, &got);
        if ((record.flags & NewFile) != 0)
            recording.newFile();
        recording.write(record, payload, got);
    }
    return 0;
}
