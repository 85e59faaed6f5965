// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What is written into an MP4 file is read back from it. An input is a Head, then Records, each
// with its payload behind it; all as they lie in memory, little-endian.
//
// What must hold besides memory: each picture that was accepted is in the file, in order, whole,
// and as long after the first one as it came; of sound no two frames begin at the same time.
#include "place.h"

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/mp4file_p.h"

#include <vector>

using vantrafuzz::Input;
using vantrafuzz::Place;
using vantrafuzz::require;

namespace {

struct Head
{
    std::uint8_t isH265;     ///< its lowest bit
    std::uint8_t audioCodec; ///< HAVCodecID
    std::uint16_t width;
    std::uint16_t height;
    std::uint16_t followsPictures; ///< its lowest bit
    std::int32_t sampleRate;
    std::int16_t bitsPerSample;
    std::int16_t channels;
};
static_assert(sizeof(Head) == 16);

struct Record
{
    std::uint8_t kind; ///< 0: key picture, 1: sound, else picture
    std::uint8_t reserved;
    std::uint16_t payload; ///< bytes that follow
    std::int32_t step;     ///< milliseconds from the record before
};
static_assert(sizeof(Record) == 8);
enum Kind { KeyPicture, Sound };

constexpr int kMostRecords = 400;
constexpr AVRational kMilliseconds = {1, 1000};

/// Notes what the file refuses, which it tells the log alone.
class Refusals final : public LogSink
{
public:
    void write(const LogRecord &record) override
    {
        if (record.text.startsWith(QLatin1String("(svmp4ff)write video")))
            ++count;
    }
    int count = 0;
};

using Units = std::vector<std::vector<std::uint8_t>>;

void addUnit(Units *units, const std::uint8_t *begin, const std::uint8_t *end)
{
    while (end > begin && end[-1] == 0)
        --end; // zeros may follow a unit, and belong to none
    if (end > begin)
        units->emplace_back(begin, end);
}

/// ITU-T H.264, Annex B: what stands between start codes.
Units unitsOfStream(const std::vector<std::uint8_t> &data)
{
    Units units;
    const std::uint8_t *begin = nullptr;
    const std::uint8_t *const end = data.data() + data.size();
    for (const std::uint8_t *at = data.data(); end - at > 3; ++at) { // a code ends no picture
        if (at[0] != 0 || at[1] != 0 || at[2] != 1)
            continue;
        if (begin)
            addUnit(&units, begin, at);
        at += 2;
        begin = at + 1;
    }
    if (begin)
        addUnit(&units, begin, end);
    return units;
}

/// ISO/IEC 14496-15: each unit stands behind its length.
Units unitsOfSample(const std::uint8_t *data, int size)
{
    Units units;
    while (size > 0) {
        require(size >= 4, "a unit has a length");
        const quint32 length = qFromBigEndian<quint32>(data);
        require(length <= static_cast<quint32>(size - 4), "a unit is whole");
        addUnit(&units, data + 4, data + 4 + length);
        data += 4 + length;
        size -= 4 + static_cast<int>(length);
    }
    return units;
}

struct Accepted
{
    std::vector<std::uint8_t> data;
    qint64 stamp; ///< units of the stream
};

class RoundTrip
{
public:
    RoundTrip(const Head &head, const Place &place, const Refusals &refusals)
        : refusals(refusals), path(place.file(QStringLiteral("a.mp4"))),
          followsPictures(head.followsPictures & 1)
    {
        HVideoEncPara video;
        video.codecId = head.isH265 & 1 ? HCodecH265 : HCodecH264;
        video.width = 1 + head.width;
        video.height = 1 + head.height;
        const HAudioEncPara audio{head.audioCodec, head.sampleRate, head.bitsPerSample,
                                  head.channels};
        isOpen = file.createMp4(path.toUtf8(), video, audio) == 0 &&
                 (!audio.isValid() || file.createEncoder(audio));
        videoTimebase = file.videoStream().timebase;
    }

    void write(const Record &record, const std::uint8_t *payload, std::size_t size)
    {
        const Mp4Stream stream = record.kind == Sound ? file.audioStream() : file.videoStream();
        time += record.step;
        if (!isOpen || stream.index < 0)
            return;
        const AVPacketPtr packet(av_packet_alloc());
        require(av_new_packet(packet.get(), static_cast<int>(size)) == 0, "there is memory");
        std::copy(payload, payload + size, packet->data);
        packet->stream_index = stream.index;
        packet->pts = packet->dts = rescaleTime(time, kMilliseconds, stream.timebase);
        if (record.kind == KeyPicture)
            packet->flags |= AV_PKT_FLAG_KEY;
        const int refused = refusals.count;
        file.write(packet.get(), followsPictures);
        if (record.kind != Sound && refusals.count == refused)
            accepted.push_back({{payload, payload + size}, packet->pts});
    }

    void check()
    {
        file.closeMp4();
        vantrafuzz::checkBoxes(path);
        if (accepted.empty())
            return;
        AVFormatContext *opened = nullptr;
        AVDictionaryOwner options;
        options.set("ignore_editlist", "1");
        require(avformat_open_input(&opened, path.toUtf8().constData(), nullptr,
                                    options.address()) >= 0,
                "a file with a picture can be opened");
        const AVFormatInputPtr input(opened);
        readBack(opened);
        require(read == accepted.size(), "all pictures are in the file");
    }

private:
    void readBack(AVFormatContext *input)
    {
        const AVPacketPtr packet(av_packet_alloc());
        qint64 lastSound = INT64_MIN;
        for (; av_read_frame(input, packet.get()) >= 0; av_packet_unref(packet.get())) {
            const AVStream *stream = input->streams[packet->stream_index];
            if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
                checkPicture(packet.get(), stream->time_base);
                continue;
            }
            require(packet->dts > lastSound, "sound goes on");
            lastSound = packet->dts;
        }
    }

    void checkPicture(const AVPacket *packet, AVRational timebase)
    {
        require(read < accepted.size(), "no picture is in the file that was not accepted");
        const Accepted &wanted = accepted[read++];
        require(av_cmp_q(timebase, videoTimebase) == 0, "the file counts time as it was given");
        if (read == 1)
            firstStamp = packet->dts;
        const qint64 time = packet->dts - firstStamp;
        const qint64 wantedTime = wanted.stamp - accepted.front().stamp;
        // Behind a first picture at zero the muxer takes one that goes back, and puts it right
        // behind what it has.
        if (read > 1 && wantedTime <= newestTime)
            require(time > newestTime, "time goes on");
        else
            require(time == wantedTime, "a picture has its time");
        newestTime = time;
        require(unitsOfSample(packet->data, packet->size) == unitsOfStream(wanted.data),
                "a picture is what it was");
    }

    const Refusals &refusals;
    const QString path;
    const bool followsPictures;
    Mp4File file;
    bool isOpen = false;
    AVRational videoTimebase = {0, 1};
    qint64 time = 0;                ///< milliseconds
    std::vector<Accepted> accepted; ///< pictures
    std::size_t read = 0;           ///< of them
    qint64 firstStamp = 0;
    qint64 newestTime = 0; ///< in the file, from the first picture on
};

struct Process
{
    Process() { cuteLoggerInstance()->addSink(refusals); }

    Place place;
    std::shared_ptr<Refusals> refusals = std::make_shared<Refusals>();
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Process *const process = new Process; // is there until the end
    Input input(data, size);
    RoundTrip trip(input.take<Head>(), process->place, *process->refusals);
    for (int i = 0; i < kMostRecords && !input.isEmpty(); ++i) {
        const auto record = input.take<Record>();
        std::size_t got = 0;
        const std::uint8_t *payload = input.takeBytes(record.payload, &got);
        trip.write(record, payload, got);
    }
    trip.check();
    return 0;
}
