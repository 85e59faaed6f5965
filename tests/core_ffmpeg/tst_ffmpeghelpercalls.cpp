// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What FFmpegHelper hands on: texts to the debug slot of a thread, waits to the clock, addresses
/// and options to FFmpeg. The calls are caught on their way.

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_videobase/abstractvideothread.h"
#include "ffmpegfaults.h"
#include "support/clipmaker.h"
#include "support/packets.h"
#include "support/rtspserver.h"

extern "C" {
#include <libavutil/log.h>
}

#include <QtTest>

#include <limits>

using namespace vantratest;

static QStringList debugged; ///< heads and messages, joined by "|"
static qint64 clockUs = 0;   ///< what av_gettime() answers
static QVector<unsigned> sleeps;

extern "C" {

void __wrap__ZN19AbstractVideoThread5debugERK7QStringS2_(AbstractVideoThread *thread,
                                                         const QString &head, const QString &msg);
int64_t __wrap_av_gettime();
int __wrap_av_usleep(unsigned microseconds);

void __wrap__ZN19AbstractVideoThread5debugERK7QStringS2_(AbstractVideoThread *thread,
                                                         const QString &head, const QString &msg)
{
    Q_UNUSED(thread)
    debugged << head + QLatin1Char('|') + msg;
}

int64_t __wrap_av_gettime()
{
    return clockUs;
}

int __wrap_av_usleep(unsigned microseconds)
{
    sleeps << microseconds;
    return 0;
}

} // extern "C"

class TestFFmpegHelperCalls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }
    void init()
    {
        Faults::reset();
        debugged.clear();
        sleeps.clear();
    }
    void cleanup() { Faults::reset(); }

    void decodeFrame_isSilent_onInputAndEnd();
    void decodeFrame_tellsWhatFailed_data();
    void decodeFrame_tellsWhatFailed();
    void checkUrlOfType_tellsItsReason_data();
    void checkUrlOfType_tellsItsReason();
    void delayTime_sleepsBelowASecond_data();
    void delayTime_sleepsBelowASecond();
    void ptsUs_ofAnyTimeStamp_staysInRange();
    void lists_handTheNameOfTheDeviceOn_data();
    void lists_handTheNameOfTheDeviceOn();
};

void TestFFmpegHelperCalls::decodeFrame_isSilent_onInputAndEnd()
{
    ClipOptions options;
    options.bFrames = 2;
    const QVector<AccessUnit> units = makeClip(options);
    QVERIFY(!units.isEmpty());
    const AVCodecContextPtr ctx = openDecoder(AV_CODEC_ID_H264);
    const AVFramePtr frame(av_frame_alloc());
    AbstractVideoThread thread;
    const AVPacketPtr packet = packetOf(units.first().data);
    QCOMPARE(FFmpegHelper::decodeFrame(&thread, ctx.get(), packet.get(), frame.get(), true), -11);
    int result = 0;
    while (result >= 0) // the end, and what was held back before it
        result = FFmpegHelper::decodeFrame(&thread, ctx.get(), nullptr, frame.get(), true);
    QCOMPARE(result, AVERROR_EOF);
    QCOMPARE(debugged, QStringList());
}

void TestFFmpegHelperCalls::decodeFrame_tellsWhatFailed_data()
{
    QTest::addColumn<bool>("video");
    QTest::addColumn<bool>("receiving");
    QTest::addColumn<QString>("told");
    QTest::newRow("video, send") << true << false
                                 << QStringLiteral("视频解码|步骤: avcodec_send_packet 原因: "
                                                   "Invalid data found when processing input");
    QTest::newRow("audio, send") << false << false
                                 << QStringLiteral("音频解码|步骤: avcodec_send_packet 原因: "
                                                   "Invalid data found when processing input");
    QTest::newRow("video, receive") << true << true
                                    << QStringLiteral("视频解码|步骤: avcodec_receive_frame 原因: "
                                                      "Cannot allocate memory");
    QTest::newRow("audio, receive") << false << true
                                    << QStringLiteral("音频解码|步骤: avcodec_receive_frame 原因: "
                                                      "Cannot allocate memory");
}

void TestFFmpegHelperCalls::decodeFrame_tellsWhatFailed()
{
    QFETCH(bool, video);
    QFETCH(bool, receiving);
    QFETCH(QString, told);
    const AVFramePtr frame(av_frame_alloc());
    AbstractVideoThread thread;
    const AVCodecContextPtr ctx = openDecoder(video ? AV_CODEC_ID_H264 : AV_CODEC_ID_AAC);
    const AVPacketPtr packet = packetOf(QByteArray("\0\0\1\x65\x88\xff\xff", 7));
    if (receiving) {
        Faults::hasCard = true; // takes any packet
        Faults::Received received;
        received.result = AVERROR(ENOMEM);
        Faults::results = {received};
    }
    const int result =
        FFmpegHelper::decodeFrame(&thread, ctx.get(), packet.get(), frame.get(), video);
    QCOMPARE(result, receiving ? AVERROR(ENOMEM) : AVERROR_INVALIDDATA);
    QCOMPARE(debugged, QStringList(told));
    Faults::results.clear(); // now the decoder wants more input
    if (receiving) {
        QCOMPARE(FFmpegHelper::decodeFrame(&thread, ctx.get(), packet.get(), frame.get(), video),
                 AVERROR(EAGAIN));
        QCOMPARE(debugged.size(), 1);
    }
}

void TestFFmpegHelperCalls::checkUrlOfType_tellsItsReason_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("told");
    const QString head = QStringLiteral("地址有误|原因: ");
    QTest::newRow("empty") << 0 << "" << head + QStringLiteral("地址为空");
    QTest::newRow("empty, unknown") << 255 << "" << head + QStringLiteral("地址为空");
    QTest::newRow("unreachable") << 3 << "rtsp://127.0.0.1:%1/x"
                                 << head + QStringLiteral("网络地址不可达");
    QTest::newRow("no file") << 0 << "/no/such/file" << head + QStringLiteral("文件不存在");
    QTest::newRow("unknown") << 255 << "x" << head + QStringLiteral("未知地址");
    QTest::newRow("file") << 0 << QCoreApplication::applicationFilePath() << QString();
    QTest::newRow("any other") << 1 << "x" << QString();
}

void TestFFmpegHelperCalls::checkUrlOfType_tellsItsReason()
{
    QFETCH(int, type);
    QFETCH(QString, url);
    QFETCH(QString, told);
    if (url.contains(QLatin1String("%1")))
        url = url.arg(refusedPort());
    AbstractVideoThread thread;
    QCOMPARE(FFmpegHelper::checkUrlOfType(&thread, type, url, 50), told.isEmpty());
    QCOMPARE(debugged, told.isEmpty() ? QStringList() : QStringList(told));
}

void TestFFmpegHelperCalls::delayTime_sleepsBelowASecond_data()
{
    QTest::addColumn<qint64>("wait");
    QTest::addColumn<bool>("sleeps");
    QTest::newRow("late") << qint64(-5) << false;
    QTest::newRow("due") << qint64(0) << false;
    QTest::newRow("shortest") << qint64(1) << true;
    QTest::newRow("longest") << qint64(999999) << true;
    QTest::newRow("a second is skipped") << qint64(1000000) << false;
}

void TestFFmpegHelperCalls::delayTime_sleepsBelowASecond()
{
    QFETCH(qint64, wait);
    QFETCH(bool, sleeps);
    const AVFormatInputPtr input(avformat_alloc_context());
    avformat_new_stream(input.get(), nullptr)->time_base = {1, 90000};
    const AVPacketPtr packet(av_packet_alloc());
    packet->dts = 180000; // two seconds
    packet->pts = 0;
    const qint64 start = 1000000000;
    clockUs = start + 2000000 - wait;
    QCOMPARE(FFmpegHelper::ptsUs(input.get(), packet.get(), start), wait);
    FFmpegHelper::delayTime(input.get(), packet.get(), start);
    QCOMPARE(::sleeps,
             sleeps ? QVector<unsigned>{static_cast<unsigned>(wait)} : QVector<unsigned>());
}

void TestFFmpegHelperCalls::ptsUs_ofAnyTimeStamp_staysInRange()
{
    using Limits = std::numeric_limits<qint64>;
    const AVFormatInputPtr input(avformat_alloc_context());
    AVStream *stream = avformat_new_stream(input.get(), nullptr);
    const AVPacketPtr packet(av_packet_alloc());
    clockUs = 1700000000000000;
    for (const AVRational base : {AVRational{1, 1000000}, AVRational{1, 1}, AVRational{0, 0}}) {
        stream->time_base = base;
        packet->dts = Limits::max();
        // What FFmpeg cannot express in microseconds is its least number.
        QCOMPARE(FFmpegHelper::ptsUs(input.get(), packet.get(), clockUs) > 0, base.den == 1000000);
        FFmpegHelper::delayTime(input.get(), packet.get(), clockUs);
        packet->dts = -Limits::max();
        QVERIFY(FFmpegHelper::ptsUs(input.get(), packet.get(), 0) < 0);
        FFmpegHelper::delayTime(input.get(), packet.get(), 0);
    }
    QVERIFY(sleeps.isEmpty());
}

void TestFFmpegHelperCalls::lists_handTheNameOfTheDeviceOn_data()
{
    QTest::addColumn<QString>("type");   // null: the form without one
    QTest::addColumn<QString>("device"); // null: listDevices
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("option");
    const QString none;
    QTest::newRow("devices") << none << none << "video=dummy"
                             << "list_devices=true";
    QTest::newRow("devices, dshow") << "dshow" << none << "video=dummy"
                                    << "list_devices=true";
    QTest::newRow("devices, vfwcap") << "vfwcap" << none << "list" << none;
    QTest::newRow("devices, any other") << "x11" << none << ""
                                        << "list_devices=true";
    QTest::newRow("options") << none << QStringLiteral("摄像头") << QStringLiteral("video=摄像头")
                             << "list_options=true";
    QTest::newRow("options, dshow") << "dshow"
                                    << "a %1"
                                    << "video=a %1"
                                    << "list_options=true";
    QTest::newRow("options, vfwcap") << "vfwcap"
                                     << "a"
                                     << "a"
                                     << "list_options=true";
}

void TestFFmpegHelperCalls::lists_handTheNameOfTheDeviceOn()
{
    QFETCH(QString, type);
    QFETCH(QString, device);
    QFETCH(QString, name);
    QFETCH(QString, option);
    if (device.isNull() && type.isNull())
        FFmpegHelper::listDevices();
    else if (device.isNull())
        FFmpegHelper::listDevices(type);
    else if (type.isNull())
        FFmpegHelper::listOptions(device);
    else
        FFmpegHelper::listOptions(type, device);
    QCOMPARE(QString::fromStdString(Faults::inputName), name);
    QCOMPARE(Faults::inputHasOptions, !option.isNull());
    QStringList options;
    for (const auto &entry : Faults::inputOptions)
        options << QString::fromStdString(entry.first + "=" + entry.second);
    QCOMPARE(options, option.isNull() ? QStringList() : QStringList(option));
}

QTEST_GUILESS_MAIN(TestFFmpegHelperCalls)
#include "tst_ffmpeghelpercalls.moc"
