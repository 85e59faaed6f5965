// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// SaveMp4FFmpeg::writeData() for frames of a device, fed with anything. An input is a Head, then
// Records, each with its payload behind it; all as they lie in memory, little-endian.
//
// What must hold besides memory: nothing hangs, and each MP4 file is whole boxes from end to end,
// whatever its frames were.
#include "place.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"

#include <QThread>

#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

using vantrafuzz::Input;
using vantrafuzz::Place;

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

class Recording
{
public:
    Recording(const Head &head, const Place &place)
        : buffer(kHFrameBufferSize), isMp4((head.flags & UnknownExtension) == 0),
          path(place.file(QLatin1String(isMp4 ? "a.mp4" : "a.unknown")))
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
            vantrafuzz::checkBoxes(path);
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
