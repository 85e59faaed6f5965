// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What a writer does when FFmpeg or the system refuses: the functions named below are wrapped by
/// the linker.

#include "support/logcapture.h"

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/packetqueue_p.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

using namespace vantratest;

namespace {

enum Fault {
    None,
    AllocContext,
    FindDecoder,
    NewStream,
    BsfAlloc,
    BsfSend,
    PacketAlloc,
    NewPacket,
    PacketClone,
    SemaphoreCreate,
    QueueEmpty
};
std::atomic<int> fault{None};
std::atomic<int> passFirst{0}; ///< calls of the faulty function that still succeed

bool fails(Fault which)
{
    return fault == which && passFirst-- <= 0;
}

} // namespace

#define VANTRA_WRAP(which, failure, result, name, parameters, arguments)                           \
    extern "C" result __real_##name parameters;                                                    \
    extern "C" result __wrap_##name parameters;                                                    \
    result __wrap_##name parameters                                                                \
    {                                                                                              \
        return fails(which) ? (failure) : __real_##name arguments;                                 \
    }

using OutputFormat = std::remove_pointer_t<decltype(AVFormatContext::oformat)>;
VANTRA_WRAP(AllocContext, AVERROR(ENOMEM), int, avformat_alloc_output_context2,
            (AVFormatContext * *ctx, OutputFormat *format, const char *name, const char *file),
            (ctx, format, name, file))
VANTRA_WRAP(FindDecoder, nullptr, const AVCodec *, avcodec_find_decoder, (AVCodecID id), (id))
VANTRA_WRAP(NewStream, nullptr, AVStream *, avformat_new_stream,
            (AVFormatContext * ctx, const AVCodec *codec), (ctx, codec))
VANTRA_WRAP(BsfAlloc, AVERROR(ENOMEM), int, av_bsf_alloc,
            (const AVBitStreamFilter *filter, AVBSFContext **ctx), (filter, ctx))
VANTRA_WRAP(BsfSend, AVERROR(EINVAL), int, av_bsf_send_packet,
            (AVBSFContext * ctx, AVPacket *packet), (ctx, packet))
VANTRA_WRAP(PacketAlloc, nullptr, AVPacket *, av_packet_alloc, (), ())
VANTRA_WRAP(NewPacket, AVERROR(ENOMEM), int, av_new_packet, (AVPacket * packet, int size),
            (packet, size))
VANTRA_WRAP(PacketClone, nullptr, AVPacket *, av_packet_clone, (const AVPacket *packet), (packet))

// Members, by the names that the compiler gives them.
extern "C" bool __real__ZN17CountingSemaphore6createEv(void *self);
extern "C" bool __wrap__ZN17CountingSemaphore6createEv(void *self);
bool __wrap__ZN17CountingSemaphore6createEv(void *self)
{
    return fails(SemaphoreCreate) ? false : __real__ZN17CountingSemaphore6createEv(self);
}
extern "C" bool __real__ZN11PacketQueue12isQueueEmptyEv(void *self);
extern "C" bool __wrap__ZN11PacketQueue12isQueueEmptyEv(void *self);
bool __wrap__ZN11PacketQueue12isQueueEmptyEv(void *self)
{
    return fails(QueueEmpty) ? false : __real__ZN11PacketQueue12isQueueEmptyEv(self);
}
/// Called once after the next unlock of a lock that the code under test calls.
std::function<void()> afterUnlock;
extern "C" void __real__ZN6QMutex6unlockEv(void *self);
extern "C" void __wrap__ZN6QMutex6unlockEv(void *self);
void __wrap__ZN6QMutex6unlockEv(void *self)
{
    __real__ZN6QMutex6unlockEv(self);
    if (fault == None && afterUnlock)
        std::exchange(afterUnlock, nullptr)();
}

class TestSaveMp4FFmpegFaults : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_log = std::make_unique<LogCapture>();
        fault = None;
        passFirst = 0;
    }
    void cleanup()
    {
        fault = None;
        QCOMPARE(m_log->unexpected(), QStringList());
        QCOMPARE(m_log->missing(), QStringList());
        m_log.reset();
    }

    void open_fails_data();
    void open_fails();
    void open_fails_withoutSemaphore();
    void save_tells_whenTheWaitFails();
    void save_tells_whenNothingWaits();
    void fullQueue_dropsWhoComesSecond();
    void packet_thatCannotBeTaken_isDropped();
    void frame_thatCannotBeTaken_isDropped();
    void sound_thatTheFilterRefuses_isDropped();

private:
    void setPara(SaveMp4FFmpeg &writer)
    {
        HVideoEncPara video;
        video.codecId = HCodecH264;
        video.width = 320;
        video.height = 240;
        HAudioEncPara audio;
        audio.codecId = HCodecG711A;
        audio.sampleRate = 8000;
        audio.bitsPerSample = 16;
        writer.setPara(video, audio, -1);
    }
    QString path() const { return m_dir->filePath(QStringLiteral("a.mp4")); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LogCapture> m_log;
};

void TestSaveMp4FFmpegFaults::open_fails_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<int>("good");
    QTest::addColumn<QStringList>("errors");
    QTest::addColumn<bool>("warns");
    QTest::newRow("no format") << int(AllocContext) << 0 << QStringList{"alloc output ctx null"}
                               << true;
    QTest::newRow("no decoder for video")
        << int(FindDecoder) << 0 << QStringList{"find decoder h264 null", "add video stream fail"}
        << false;
    QTest::newRow("no decoder for sound")
        << int(FindDecoder) << 1 << QStringList{"find decoder aac null", "add audio stream fail"}
        << false;
    QTest::newRow("no video stream")
        << int(NewStream) << 0 << QStringList{"new stream null", "add video stream fail"} << false;
    QTest::newRow("no audio stream")
        << int(NewStream) << 1 << QStringList{"new stream null", "add audio stream fail"} << false;
    QTest::newRow("no filter") << int(BsfAlloc) << 0 << QStringList{"bsf alloc audio err -12"}
                               << false;
}

void TestSaveMp4FFmpegFaults::open_fails()
{
    QFETCH(int, which);
    QFETCH(int, good);
    QFETCH(QStringList, errors);
    QFETCH(bool, warns);
    for (const QString &error : errors + QStringList{"creat mp4 err"})
        m_log->expect(Logger::Error, "(svmp4ff)" + error);
    if (warns)
        m_log->expect(Logger::Warning, "(svmp4ff)Could not deduce output format from file "
                                       "extension: using MPEG.");
    SaveMp4FFmpeg writer;
    setPara(writer);
    fault = which;
    passFirst = good;
    writer.open(path());
    fault = None;
    QVERIFY(!writer.getOpened());
    QVERIFY(!writer.isRunning());
    QVERIFY(!QFile::exists(path()));
    writer.stop();
    writer.open(path()); // and then it works
    QVERIFY(writer.getOpened());
    writer.stop();
}

void TestSaveMp4FFmpegFaults::open_fails_withoutSemaphore()
{
    m_log->expect(Logger::Error, "(svmp4ff)creat sem null");
    SaveMp4FFmpeg writer;
    setPara(writer);
    fault = SemaphoreCreate;
    writer.open(path());
    fault = None;
    QVERIFY(!writer.getOpened());
    QVERIFY(!QFile::exists(path())); // comes after
    writer.open(path());
    QVERIFY(writer.getOpened());
    writer.stop();
}

void TestSaveMp4FFmpegFaults::save_tells_whenTheWaitFails()
{
    m_log->expect(Logger::Warning, "(svmp4ff)wait sem err 4294967295");
    SaveMp4FFmpeg writer; // has no semaphore yet
    QVERIFY(QMetaObject::invokeMethod(&writer, "save", Qt::DirectConnection));
    QCOMPARE(m_log->lines().size(), 1);
}

void TestSaveMp4FFmpegFaults::save_tells_whenNothingWaits()
{
    m_log->expect(Logger::Warning, "(svmp4ff)wait sem err 4294967295");
    m_log->expect(Logger::Warning, "(svmp4ff)deque null");
    SaveMp4FFmpeg writer;
    fault = QueueEmpty;
    QVERIFY(QMetaObject::invokeMethod(&writer, "save", Qt::DirectConnection));
    fault = None;
    QCOMPARE(m_log->count(Logger::Warning, "(svmp4ff)deque null"), 1);
}

void TestSaveMp4FFmpegFaults::fullQueue_dropsWhoComesSecond()
{
    m_log->expect(Logger::Warning, "(svmp4ff)queue is full");
    m_log->expect(Logger::Warning, "(svmp4ff)enqueue fail");
    PacketQueue queue;
    for (std::size_t i = 1; i < PacketQueue::kLimit; ++i)
        queue.writePacket(AVPacketPtr(av_packet_alloc()));
    // Between the look and the append another producer takes the last place.
    afterUnlock = [&queue] { queue.writePacket(AVPacketPtr(av_packet_alloc())); };
    queue.writePacket(AVPacketPtr(av_packet_alloc()));
    QVERIFY(!afterUnlock);
    QCOMPARE(m_log->count(Logger::Warning, "(svmp4ff)queue is full"), 1);
    QCOMPARE(m_log->count(Logger::Warning, "(svmp4ff)enqueue fail"), 1);
    QVERIFY(queue.isQueueFull());
}

void TestSaveMp4FFmpegFaults::packet_thatCannotBeTaken_isDropped()
{
    m_log->expect(Logger::Warning, "(svmp4ff)clone pkt err");
    SaveMp4FFmpeg writer;
    setPara(writer);
    writer.open(path());
    const AVPacketPtr packet(av_packet_alloc());
    QCOMPARE(av_new_packet(packet.get(), 10), 0);
    fault = PacketClone;
    writer.writeData(packet.get(), true);
    fault = None;
    QVERIFY(writer.isQueueEmpty());
    QVERIFY(writer.getOpened());
    writer.stop();
}

void TestSaveMp4FFmpegFaults::frame_thatCannotBeTaken_isDropped()
{
    m_log->expect(Logger::Error, "(svmp4ff)allock pkg err");
    SaveMp4FFmpeg writer;
    setPara(writer);
    writer.open(path());
    HFrameHeader frame{};
    frame.frameSize = sizeof(frame.data);
    for (const Fault which : {PacketAlloc, NewPacket}) {
        QTest::ignoreMessage(QtCriticalMsg, "");
        fault = which;
        writer.writeData(&frame);
        fault = None;
        QVERIFY(writer.isQueueEmpty());
    }
    QCOMPARE(m_log->count(Logger::Error, "(svmp4ff)allock pkg err"), 1);
    QVERIFY(writer.getOpened());
    writer.stop();
}

void TestSaveMp4FFmpegFaults::sound_thatTheFilterRefuses_isDropped()
{
    m_log->expect(Logger::Warning, "(svmp4ff)bsf send audio pkt err -22");
    SaveMp4FFmpeg writer;
    setPara(writer);
    writer.open(path());
    std::vector<quint8> buffer(kHFrameBufferSize);
    auto *frame = reinterpret_cast<HFrameHeader *>(buffer.data());
    frame->frameType = HFrameHeader::AudioFrame;
    frame->frameSize = 160;
    fault = BsfSend;
    for (int i = 0; i < 90; ++i) {
        frame->pts = i * 20;
        writer.writeData(frame);
    }
    writer.stop();
    QVERIFY(m_log->count(Logger::Warning, "(svmp4ff)bsf send audio pkt err -22") > 1);
}

int main(int argc, char *argv[])
{
    av_log_set_level(AV_LOG_QUIET);
    QCoreApplication app(argc, argv);
    TestSaveMp4FFmpegFaults test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_savemp4ffmpegfaults.moc"
