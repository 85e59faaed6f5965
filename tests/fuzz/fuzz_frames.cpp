// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Frames of a device, from the read to the receivers of pictures and sound and into files: the loop
// of a live stream, a playback or a download, run on the thread of the fuzzer, with a device that
// answers anything. An input is a Head, then Records, each with its payload behind it; all as they
// lie in memory, little-endian. Before each read something may happen that a host or a device does.
//
// What must hold besides memory: the loop ends, what is lent and what is handed over can be read to
// its end, images also when the decoder is gone, and each file is whole boxes from end to end.
#include "place.h"
#include "receiver.h"

#include "core_live/orvolivethread.h"
#include "core_live/zelklivethread.h"
#include "core_video/pvprotovideothread_p.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "core_vod/orvovoddlthread.h"
#include "core_vod/orvovodthread.h"
#include "devicelink/devicebackend.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"

#include <QCoreApplication>
#include <QDirIterator>

#include <cstddef>
#include <cstring>
#include <iterator>
#include <memory>
#include <type_traits>

using vantrafuzz::Input;
using vantrafuzz::Place;
using vantrafuzz::Process;
using vantrafuzz::Receiver;

namespace {

struct Head
{
    std::uint8_t kind;     ///< see Kind, modulo their number
    std::uint8_t mode;     ///< VideoMode, modulo 6
    std::uint8_t hardware; ///< index of kHardware, modulo their number
    std::uint8_t flags;
    std::int8_t stream;
    std::int8_t channel;
    std::int8_t interval; ///< seconds per file
    std::uint8_t reserved;
};
static_assert(sizeof(Head) == 8);
enum Kind { OrvoLive, ZelkLive, OrvoVod, OrvoDownload, Kinds };
enum HeadFlag { Watched = 1, Manual = 2, Automatic = 4, CodecKnown = 8, WithoutSound = 16 };

struct Record
{
    std::uint8_t answer; ///< HRetError of the read
    std::uint8_t action; ///< see Action; what it does not know does nothing
    std::uint8_t argument;
    std::int8_t frameType; ///< extended by its sign: negative ones are far above 4
    std::uint32_t codecId;
    std::int32_t widthOrSampleRate;
    std::int32_t heightOrBits;
    std::int32_t frameRateOrChannels;
    std::int32_t lie; ///< what `frameSize` says beyond the payload
    std::int64_t pts;
    std::uint16_t payload; ///< bytes that follow
    std::uint16_t reserved[3];
};
static_assert(sizeof(Record) == 40);
enum Action {
    Nothing,
    ViewerComes,
    ViewerGoes,
    Snap,
    StartManual,
    StopManual,
    StartAutomatic,
    StopAutomatic,
    SetMode,
    SetHardware,
    NextDay,
    LinkGoes,
    LinkComes,
    Reopen,
    ChangeCodecInfo,
    RefuseStart,
    ToggleSound,
    FillBuffer, ///< the payload again and again, until the buffer is full
    Seek,
};

constexpr const char *kHardware[] = {"none", "dxva2", "no-such-device", "d3d11va",
                                     "a-name-that-is-longer-than-the-record-of-a-decoder-holds"};
constexpr int kMostRecords = 300;
constexpr std::size_t kMostSound = 0x8000;
constexpr int kModes = 6;

QDate g_today(2026, 11, 22);

/// What is left of an input, and the state of the device that it stands for.
struct Feed
{
    explicit Feed(const std::uint8_t *data, std::size_t size) : input(data, size) {}

    bool next()
    {
        if (input.isEmpty() || ++taken > kMostRecords) {
            isOver = true;
            return false;
        }
        record = input.take<Record>();
        payload = input.takeBytes(record.payload, &payloadSize);
        return true;
    }

    HRetError read(HFrameHeader *frame) const
    {
        if (isOver)
            return HRetTimeout;
        auto *bytes = reinterpret_cast<std::uint8_t *>(frame) + kHFramePayloadOffset;
        std::copy(payload, payload + payloadSize, bytes);
        std::size_t size = payloadSize;
        if (record.action == FillBuffer && size > 0) {
            // A whole buffer of sound is minutes of it, which take the transcoder seconds.
            const std::size_t all = record.frameType < 4 ? kHFrameMaxPayload : kMostSound;
            for (; size < all; ++size)
                bytes[size] = bytes[size - payloadSize];
        }
        frame->frameType = static_cast<quint32>(static_cast<qint32>(record.frameType));
        frame->frameSize = static_cast<quint32>(size) + static_cast<quint32>(record.lie);
        frame->codecId = record.codecId;
        frame->widthOrSampleRate = record.widthOrSampleRate;
        frame->heightOrBits = record.heightOrBits;
        frame->frameRateOrChannels = record.frameRateOrChannels;
        frame->pts = record.pts;
        return static_cast<HRetError>(record.answer);
    }

    Input input;
    Record record{};
    const std::uint8_t *payload = nullptr;
    std::size_t payloadSize = 0;
    int taken = 0;
    bool isOver = false;

    bool linked = true;
    bool refuses = false;
    bool codecKnown = false;
    VodSdp sdp;
};

class FeedBackend final : public DeviceBackend
{
public:
    explicit FeedBackend(Feed &feed) : feed(feed) {}

    HChannelStatus getConnectStatus() const override
    {
        return feed.linked ? HChannelConnected : HChannelDisconnected;
    }
    HChannelStatus getStreamStatus(int, int) const override { return getConnectStatus(); }
    QString getIPAddr() const override { return QStringLiteral("192.0.2.1"); }

    HRetError enableMediaTransmit(int, int, bool enable) override { return start(enable); }
    HRetError requestVideoIFrame(int, int) override { return HRetOk; }
    HRetError readFrame(int, int, HFrameHeader *frame, int) override { return feed.read(frame); }
    HRetError getCodecInfo(int, int, HVideoEncPara &video, HAudioEncPara &audio) override
    {
        if (!feed.codecKnown)
            return HRetRefused;
        video = feed.sdp.video;
        audio = feed.sdp.audio;
        return HRetOk;
    }
    HRetError setCodecInfo(int, int, HVideoEncPara &video, HAudioEncPara &audio) override
    {
        feed.sdp.video = video;
        feed.sdp.audio = audio;
        return HRetOk;
    }

    HRetError vodStart(unsigned int, const VodStartPara &) override { return start(true); }
    HRetError vodStop(unsigned int) override { return HRetOk; }
    HRetError vodSeek(unsigned int, const QDateTime &) override { return HRetOk; }
    HRetError vodSetSpeed(unsigned int, int) override { return HRetOk; }
    HRetError vodReadFrame(unsigned int, HFrameHeader *frame, int) override
    {
        return feed.read(frame);
    }
    HRetError vodDownloadStart(unsigned int, const VodDownloadPara &) override
    {
        return start(true);
    }
    HRetError vodDownloadStop(unsigned int) override { return HRetOk; }
    HRetError vodReadDLFrame(unsigned int, HFrameHeader *frame, int) override
    {
        return feed.read(frame);
    }
    HRetError vodGetDownloadSdp(unsigned int, VodSdp &sdp) override
    {
        if (!feed.codecKnown)
            return HRetRefused;
        sdp = feed.sdp;
        return HRetOk;
    }

private:
    HRetError start(bool enable)
    {
        const bool refused = enable && feed.refuses;
        feed.refuses = false;
        return refused ? HRetExceedMax : HRetOk;
    }

    Feed &feed;
};

void changeCodecInfo(Feed &feed)
{
    const Record &record = feed.record;
    feed.codecKnown = true;
    ++feed.sdp.sdpMark;
    if (record.argument % 2 == 0) {
        feed.sdp.hasVideo = record.argument % 4 == 0;
        feed.sdp.video.codecId = static_cast<qint32>(record.codecId);
        feed.sdp.video.width = record.widthOrSampleRate;
        feed.sdp.video.height = record.heightOrBits;
    } else {
        feed.sdp.hasAudio = record.argument % 4 == 1;
        feed.sdp.audio = {static_cast<qint32>(record.codecId), record.widthOrSampleRate,
                          record.heightOrBits, record.frameRateOrChannels};
    }
}

void awaitWriter(const SaveMp4FFmpeg &writer)
{
    while (writer.isRunning() && !writer.isQueueEmpty())
        QThread::yieldCurrentThread(); // a full queue would make the run another each time
}

template<typename Base>
class DrivenThread final : public Base
{
public:
    DrivenThread(Feed &feed, const Head &head, const Place &place)
        : feed(feed), snapName(place.file(QStringLiteral("a.jpg")))
    {
        using Thread = AbstractVideoThread;
        this->bindDevice(QSharedPointer<HNetDevice>::create(std::make_unique<FeedBackend>(feed)));
        this->setStreamChannel(head.channel, head.stream);
        this->setVideoMode(static_cast<VideoMode>(head.mode % kModes));
        this->setHardware(QLatin1String(kHardware[head.hardware % std::size(kHardware)]));
        this->setReadTimeout(head.interval);
        this->previewRef() = (head.flags & Watched) != 0;
        for (const auto type : {Thread::MANUAL_RECORD, Thread::AUTO_RECORD}) {
            this->setSavePath(type, place.path());
            this->setSaveInterval(type, head.interval);
            this->setSaveAudio(type, (head.flags & WithoutSound) == 0);
        }
        if (head.flags & Manual)
            this->recordStart(Thread::MANUAL_RECORD);
        if (head.flags & Automatic)
            this->recordStart(Thread::AUTO_RECORD);
    }
    ~DrivenThread() override { this->endRun(); }

    void run() override { Base::run(); }

    bool checkOpen() override
    {
        if (!this->isOk)
            goOn();
        return Base::checkOpen();
    }

protected:
    int readFrame(HFrameHeader *frame, int timeoutMs) override
    {
        for (const SaveMp4FFmpeg *writer : qAsConst(this->saver))
            awaitWriter(*writer);
        goOn();
        return Base::readFrame(frame, timeoutMs);
    }

private:
    void goOn()
    {
        if (feed.next())
            act();
        else
            this->stopped = true;
    }

    void act()
    {
        using Thread = AbstractVideoThread;
        const int argument = feed.record.argument;
        switch (feed.record.action) {
        case ViewerComes:
            ++this->previewRef();
            break;
        case ViewerGoes:
            --this->previewRef();
            break;
        case Snap:
            this->setSnapPreview(argument % 2 != 0);
            this->setSnapName(argument % 4 == 0 ? QString() : snapName);
            this->isSnap = true;
            break;
        case StartManual:
            this->recordStart(Thread::MANUAL_RECORD);
            break;
        case StopManual:
            this->recordStop(Thread::MANUAL_RECORD);
            break;
        case StartAutomatic:
            this->recordStart(Thread::AUTO_RECORD);
            break;
        case StopAutomatic:
            this->recordStop(Thread::AUTO_RECORD);
            break;
        case SetMode:
            this->setVideoMode(static_cast<VideoMode>(argument % kModes));
            break;
        case SetHardware:
            this->setHardware(QLatin1String(kHardware[argument % std::size(kHardware)]));
            break;
        case NextDay:
            g_today = g_today.addDays(1);
            break;
        case LinkGoes:
        case LinkComes:
            feed.linked = feed.record.action == LinkComes;
            break;
        case Reopen:
            this->isOk = false;
            break;
        case ChangeCodecInfo:
            changeCodecInfo(feed);
            break;
        case RefuseStart:
            feed.refuses = true;
            break;
        case ToggleSound:
            this->setSaveAudio(Thread::MANUAL_RECORD, argument % 2 != 0);
            break;
        case Seek:
            seek(feed.record.pts);
            break;
        default:
            break;
        }
    }

    void seek(qint64 pts)
    {
        if constexpr (std::is_same_v<Base, OrvoVodThread>)
            this->seekFile(QDateTime::fromMSecsSinceEpoch(pts, Qt::UTC));
        double speed = 0;
        std::memcpy(&speed, &pts, sizeof speed);
        this->setSpeed(speed);
    }

    Feed &feed;
    const QString snapName;
};

class DrivenDownload final : public OrvoVodDLThread
{
public:
    DrivenDownload(Feed &feed, const Head &head, const Place &place) : feed(feed)
    {
        bindDevice(QSharedPointer<HNetDevice>::create(std::make_unique<FeedBackend>(feed)),
                   static_cast<unsigned>(head.channel));
        setSavePath(place.path());
        setSaveInterval(head.interval);
        setSaveAudio((head.flags & WithoutSound) == 0);
        const QDateTime begin(QDate(2026, 11, 22), QTime(0, 0), Qt::UTC);
        if (head.flags & Watched)
            setDateTime(begin, begin.addDays(1));
        isStop = false;
    }
    ~DrivenDownload() override { stopDL(); }

    void run() override { OrvoVodDLThread::run(); }

protected:
    int readFrame(HFrameHeader *frame, int timeoutMs) override
    {
        awaitWriter(*saver);
        if (!feed.next())
            isStop = true;
        else if (feed.record.action == ChangeCodecInfo)
            changeCodecInfo(feed);
        return OrvoVodDLThread::readFrame(frame, timeoutMs);
    }

private:
    Feed &feed;
};

template<typename Base>
void play(Feed &feed, const Head &head, const Place &place)
{
    auto thread = std::make_unique<DrivenThread<Base>>(feed, head, place);
    const Receiver receiver(thread.get());
    thread->run();
    receiver.readAgain();
    thread.reset();
    receiver.readAgain();
}

void checkFiles(const Place &place)
{
    QDirIterator files(place.path(), {QStringLiteral("*.mp4")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext())
        vantrafuzz::checkBoxes(files.next());
}

/// With a calendar of its own.
struct FramesProcess : Process<QCoreApplication>
{
    FramesProcess()
    {
        pvProtoToday = [] { return g_today; };
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const auto *const process = new FramesProcess; // is there until the end
    const Place &place = process->place;
    Feed feed(data, size);
    const auto head = feed.input.take<Head>();
    if (head.flags & CodecKnown) {
        feed.codecKnown = feed.sdp.hasVideo = feed.sdp.hasAudio = true;
        feed.sdp.video.codecId = HCodecH264;
        feed.sdp.video.width = 64;
        feed.sdp.video.height = 48;
        feed.sdp.audio = {HCodecG711A, 8000, 16, 1};
    }
    switch (head.kind % Kinds) {
    case OrvoLive:
        play<OrvoLiveThread>(feed, head, place);
        break;
    case ZelkLive:
        play<ZelkLiveThread>(feed, head, place);
        break;
    case OrvoVod:
        play<OrvoVodThread>(feed, head, place);
        break;
    default:
        DrivenDownload(feed, head, place).run();
        break;
    }
    checkFiles(place);
    place.clean();
    return 0;
}
