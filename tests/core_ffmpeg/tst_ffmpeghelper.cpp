// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/codeccompat_p.h"
#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_videobase/abstractvideothread.h"
#include "support/clipmaker.h"
#include "support/packets.h"
#include "support/rtspserver.h"

extern "C" {
#include <libavutil/log.h>
#include <libavutil/time.h>
}

#include <QtTest>

using namespace vantratest;

namespace {

/// A format context with one stream of the time base given.
AVFormatInputPtr contextWithStream(AVRational timeBase)
{
    AVFormatInputPtr ctx(avformat_alloc_context());
    avformat_new_stream(ctx.get(), nullptr)->time_base = timeBase;
    return ctx;
}

} // namespace

class TestFFmpegHelper : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }

    void decodeFrame_wantingMoreInput_givesAgainAndIsSilent();
    void decodeFrame_decodes();
    void decodeFrame_afterTheEnd_isSilent();
    void decodeFrame_onDamage_isNegative();
    void decodeFrame_takesPacketsAgain_afterSomeThatHeldMoreThanAFrame();
    void decodeFrame_ofNothing_fails();
    void copyParameters_bothWays();
    void packets_areReferencesOrEmpty();

    void packetTime_prefersDts();
    void ptsUs_isTheTimeToWait();
    void delayTime_skipsLongWaits();
    void packetTimes_ofAStrangeStream_areNought();

    void streamAccessors();
    void frameRateOf_data();
    void frameRateOf();
    void defaultBitRate_data();
    void defaultBitRate();

    void hwPixelFormat_isThatOfTheLibraryInUse();
    void getHwFormat_picksTheWantedOne_orNone();
    void errorText_isThatOfFFmpeg();
    void pixelFormatName_data();
    void pixelFormatName();
    void versionString_isFixed();
    void initLib_silencesFFmpegOnce();
    void lists_returnWithoutDevices();

    void socketTimeout_isSetUnderBothNames();
};

// --- Decoding -----------------------------------------------------------------------------------

void TestFFmpegHelper::decodeFrame_wantingMoreInput_givesAgainAndIsSilent()
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
    QCOMPARE(AVERROR(EAGAIN), -11);
    QVERIFY(!frame->data[0]);
}

void TestFFmpegHelper::decodeFrame_decodes()
{
    const QVector<AccessUnit> units = makeClip({});
    QVERIFY(!units.isEmpty());
    const AVCodecContextPtr ctx = openDecoder(AV_CODEC_ID_H264);
    ctx->flags |= AV_CODEC_FLAG_LOW_DELAY;
    const AVFramePtr frame(av_frame_alloc());
    for (int i = 0; i < units.size(); ++i) {
        const AVPacketPtr packet = packetOf(units.at(i).data);
        QCOMPARE(FFmpegHelper::decodeFrame(nullptr, ctx.get(), packet.get(), frame.get(), true), 0);
        QCOMPARE(readNumber(frame->data[0], frame->linesize[0], frame->width, frame->height), i);
    }
}

void TestFFmpegHelper::decodeFrame_afterTheEnd_isSilent()
{
    const AVCodecContextPtr ctx = openDecoder(AV_CODEC_ID_H264);
    const AVFramePtr frame(av_frame_alloc());
    AbstractVideoThread thread;
    QCOMPARE(FFmpegHelper::decodeFrame(&thread, ctx.get(), nullptr, frame.get(), true),
             AVERROR_EOF);
    const AVPacketPtr packet = packetOf("abcdef");
    QCOMPARE(FFmpegHelper::decodeFrame(&thread, ctx.get(), packet.get(), frame.get(), true),
             AVERROR_EOF);
}

void TestFFmpegHelper::decodeFrame_onDamage_isNegative()
{
    const AVFramePtr frame(av_frame_alloc());
    AbstractVideoThread thread;
    for (const bool video : {true, false}) {
        const AVCodecContextPtr ctx = openDecoder(video ? AV_CODEC_ID_H264 : AV_CODEC_ID_AAC);
        const AVPacketPtr packet = packetOf(QByteArray("\0\0\1\x65\x88\xff\xff", 7));
        const int result =
            FFmpegHelper::decodeFrame(&thread, ctx.get(), packet.get(), frame.get(), video);
        QVERIFY(result < 0 && result != AVERROR(EAGAIN));
        QVERIFY(!frame->data[0]);
    }
}

void TestFFmpegHelper::decodeFrame_takesPacketsAgain_afterSomeThatHeldMoreThanAFrame()
{
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_PCM_ALAW);
    const AVCodecContextPtr ctx(avcodec_alloc_context3(codec));
    set_channels(ctx.get(), 2);
    ctx->sample_rate = 8000;
    QCOMPARE(avcodec_open2(ctx.get(), codec, nullptr), 0);
    const AVFramePtr frame(av_frame_alloc());
    AbstractVideoThread thread;
    // The last byte is no sample of two channels, and is decoded by itself.
    const AVPacketPtr odd = packetOf(QByteArray(161, '\x55'));
    int refused = 0;
    for (int i = 0; i < 10; ++i) {
        av_frame_unref(frame.get());
        const int result =
            FFmpegHelper::decodeFrame(&thread, ctx.get(), odd.get(), frame.get(), false);
        refused += result == AVERROR(EAGAIN);
        QCOMPARE(frame->data[0] != nullptr, result >= 0);
    }
    QVERIFY(refused > 0);
    const AVPacketPtr good = packetOf(QByteArray(160, '\x55'));
    for (int i = 0; i < 3; ++i) // what is left of the others
        FFmpegHelper::decodeFrame(&thread, ctx.get(), good.get(), frame.get(), false);
    for (int i = 0; i < 10; ++i) {
        QCOMPARE(FFmpegHelper::decodeFrame(&thread, ctx.get(), good.get(), frame.get(), false), 0);
        QCOMPARE(frame->nb_samples, 80);
    }
}

void TestFFmpegHelper::decodeFrame_ofNothing_fails()
{
    const AVFramePtr frame(av_frame_alloc());
    const AVCodecContextPtr ctx = openDecoder(AV_CODEC_ID_H264);
    QCOMPARE(FFmpegHelper::decodeFrame(nullptr, nullptr, nullptr, frame.get(), true),
             AVERROR(EINVAL));
    QCOMPARE(FFmpegHelper::decodeFrame(nullptr, ctx.get(), nullptr, nullptr, true),
             AVERROR(EINVAL));
}

void TestFFmpegHelper::copyParameters_bothWays()
{
    const AVFormatInputPtr input = contextWithStream({1, 1000});
    AVStream *stream = input->streams[0];
    const AVCodecContextPtr ctx = openDecoder(AV_CODEC_ID_H264);
    ctx->width = 64;
    ctx->height = 48;
    QVERIFY(FFmpegHelper::copyParameters(ctx.get(), stream, true) >= 0);
    QCOMPARE(stream->codecpar->width, 64);
    QCOMPARE(FFmpegHelper::codecIdOf(stream), static_cast<int>(AV_CODEC_ID_H264));
    stream->codecpar->width = 128;
    QVERIFY(FFmpegHelper::copyParameters(ctx.get(), stream, false) >= 0);
    QCOMPARE(ctx->width, 128);
    QVERIFY(FFmpegHelper::copyParameters(nullptr, stream, false) < 0);
    QVERIFY(FFmpegHelper::copyParameters(ctx.get(), nullptr, true) < 0);
}

void TestFFmpegHelper::packets_areReferencesOrEmpty()
{
    const AVPacketPtr source = packetOf("abc");
    source->pts = 7;
    AVPacket *copy = FFmpegHelper::newPacket(source.get());
    QVERIFY(copy);
    QCOMPARE(copy->data, source->data);
    QCOMPARE(copy->pts, 7);
    FFmpegHelper::freePacket(copy);
    QCOMPARE(QByteArray(reinterpret_cast<char *>(source->data), source->size), QByteArray("abc"));
    AVPacket *empty = FFmpegHelper::newPacket(nullptr);
    QVERIFY(empty);
    QCOMPARE(empty->size, 0);
    FFmpegHelper::freePacket(empty);
    FFmpegHelper::freePacket(nullptr);
    FFmpegHelper::freeFrame(av_frame_alloc());
    FFmpegHelper::freeFrame(nullptr);
}

// --- Time ---------------------------------------------------------------------------------------

void TestFFmpegHelper::packetTime_prefersDts()
{
    const AVPacketPtr packet(av_packet_alloc());
    QCOMPARE(FFmpegHelper::packetTime(packet.get()), 0);
    packet->pts = 5;
    QCOMPARE(FFmpegHelper::packetTime(packet.get()), 5);
    packet->dts = 3;
    QCOMPARE(FFmpegHelper::packetTime(packet.get()), 3);
    QCOMPARE(FFmpegHelper::packetTime(nullptr), 0);
}

void TestFFmpegHelper::ptsUs_isTheTimeToWait()
{
    const AVFormatInputPtr input = contextWithStream({1, 1000});
    const AVPacketPtr packet(av_packet_alloc());
    packet->dts = 3600 * 1000;
    packet->duration = 40;
    const qint64 hour = 3600 * qint64(1000000);
    const qint64 wait = FFmpegHelper::ptsUs(input.get(), packet.get(), av_gettime());
    QVERIFY(wait <= hour && wait > hour - 60 * qint64(1000000));
    QCOMPARE(FFmpegHelper::packetUs(input.get(), packet.get()), 3600e6);
    QCOMPARE(FFmpegHelper::ptsSeconds(input.get(), packet.get()), 0.04);
}

void TestFFmpegHelper::delayTime_skipsLongWaits()
{
    // Were the hour slept, or the second not skipped a hundred times, the test would time out.
    const AVFormatInputPtr input = contextWithStream({1, 1000});
    const AVPacketPtr packet(av_packet_alloc());
    packet->dts = 3600 * 1000;
    FFmpegHelper::delayTime(input.get(), packet.get(), av_gettime());
    packet->dts = 2000;
    for (int i = 0; i < 100; ++i)
        FFmpegHelper::delayTime(input.get(), packet.get(), av_gettime());
    packet->dts = -2000; // late: no wait
    FFmpegHelper::delayTime(input.get(), packet.get(), av_gettime());
    // A short wait is kept.
    packet->dts = 30;
    const qint64 start = av_gettime();
    FFmpegHelper::delayTime(input.get(), packet.get(), start);
    QVERIFY(FFmpegHelper::ptsUs(input.get(), packet.get(), start) <= 0);
}

void TestFFmpegHelper::packetTimes_ofAStrangeStream_areNought()
{
    const AVFormatInputPtr input = contextWithStream({1, 1000});
    const AVPacketPtr packet(av_packet_alloc());
    packet->dts = packet->duration = 1000;
    for (const int index : {1, -1}) {
        packet->stream_index = index;
        QCOMPARE(FFmpegHelper::ptsUs(input.get(), packet.get(), 0), 0);
        QCOMPARE(FFmpegHelper::packetUs(input.get(), packet.get()), 0.0);
        QCOMPARE(FFmpegHelper::ptsSeconds(input.get(), packet.get()), 0.0);
    }
    QCOMPARE(FFmpegHelper::ptsUs(nullptr, packet.get(), 0), 0);
    QCOMPARE(FFmpegHelper::ptsUs(input.get(), nullptr, 0), 0);
}

// --- Streams ------------------------------------------------------------------------------------

void TestFFmpegHelper::streamAccessors()
{
    const AVFormatInputPtr input = contextWithStream({1, 1000});
    AVStream *stream = input->streams[0];
    stream->codecpar->codec_id = AV_CODEC_ID_HEVC;
    stream->codecpar->width = 3;
    stream->codecpar->height = 4;
    int width = 0;
    int height = 0;
    FFmpegHelper::streamSize(stream, width, height);
    QCOMPARE(QSize(width, height), QSize(3, 4));
    QCOMPARE(FFmpegHelper::codecIdOf(stream), 173);
    FFmpegHelper::streamSize(nullptr, width, height);
    QCOMPARE(QSize(width, height), QSize(0, 0));
    QCOMPARE(FFmpegHelper::codecIdOf(nullptr), 0);
    QCOMPARE(FFmpegHelper::frameRateOf(nullptr), 0);
}

void TestFFmpegHelper::frameRateOf_data()
{
    QTest::addColumn<QPoint>("average");
    QTest::addColumn<QPoint>("base");
    QTest::addColumn<int>("rate");
    QTest::newRow("plain") << QPoint(25, 1) << QPoint(50, 1) << 25;
    QTest::newRow("cut") << QPoint(30000, 1001) << QPoint(50, 1) << 29;
    QTest::newRow("least") << QPoint(1, 1) << QPoint(50, 1) << 1;
    QTest::newRow("most") << QPoint(60, 1) << QPoint(50, 1) << 60;
    QTest::newRow("60.9 is cut") << QPoint(609, 10) << QPoint(50, 1) << 60;
    QTest::newRow("unknown") << QPoint(0, 0) << QPoint(12, 1) << 12;
    QTest::newRow("90") << QPoint(90, 1) << QPoint(30, 1) << 30;
    QTest::newRow("base is not tested") << QPoint(90, 1) << QPoint(90000, 1) << 90000;
    QTest::newRow("below 1") << QPoint(1, 2) << QPoint(7, 1) << 7;
    QTest::newRow("more than an integer") << QPoint(90, 1) << QPoint(INT_MIN, -1) << INT_MAX;
    QTest::newRow("neither") << QPoint(0, 0) << QPoint(0, 0) << 0;
}

void TestFFmpegHelper::frameRateOf()
{
    QFETCH(QPoint, average);
    QFETCH(QPoint, base);
    QFETCH(int, rate);
    const AVFormatInputPtr input = contextWithStream({1, 1000});
    AVStream *stream = input->streams[0];
    stream->avg_frame_rate = {average.x(), average.y()};
    stream->r_frame_rate = {base.x(), base.y()};
    QCOMPARE(FFmpegHelper::frameRateOf(stream), rate);
}

void TestFFmpegHelper::defaultBitRate_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("rate");
    QTest::newRow("nothing") << 0 << 0 << 400000;
    QTest::newRow("last of row 1") << 230400 << 1 << 400000;
    QTest::newRow("first of row 2") << 230401 << 1 << 900000;
    QTest::newRow("last of row 2") << 518400 << 1 << 900000;
    QTest::newRow("first of row 3") << 518401 << 1 << 1500000;
    QTest::newRow("last of row 3") << 1280 << 720 << 1500000;
    QTest::newRow("first of row 4") << 921601 << 1 << 3000000;
    QTest::newRow("1080p") << 1920 << 1080 << 3000000;
    QTest::newRow("first of row 5") << 2073601 << 1 << 3500000;
    QTest::newRow("last of row 5") << 2560 << 1440 << 3500000;
    QTest::newRow("first of row 6") << 3686401 << 1 << 6000000;
    QTest::newRow("4K") << 3840 << 2160 << 6000000;
    QTest::newRow("above 4K falls back") << 8294401 << 1 << 400000;
    QTest::newRow("area beyond an int") << 65536 << 65536 << 400000;
}

void TestFFmpegHelper::defaultBitRate()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, rate);
    QCOMPARE(FFmpegHelper::defaultBitRate(width, height), rate);
}

// --- Hardware, names ----------------------------------------------------------------------------

void TestFFmpegHelper::hwPixelFormat_isThatOfTheLibraryInUse()
{
    const QHash<int, int> known = {{1, AV_PIX_FMT_VDPAU},
                                   {3, AV_PIX_FMT_VAAPI},
                                   {4, AV_PIX_FMT_DXVA2_VLD},
                                   {6, AV_PIX_FMT_VIDEOTOOLBOX},
                                   {7, AV_PIX_FMT_D3D11}};
    for (int type = -1; type < 20; ++type)
        QCOMPARE(FFmpegHelper::hwPixelFormat(type), known.value(type, -1));
}

void TestFFmpegHelper::getHwFormat_picksTheWantedOne_orNone()
{
    QCOMPARE(FFmpegHelper::hwPixFmt.load(), -1);
    const int formats[] = {AV_PIX_FMT_VAAPI, AV_PIX_FMT_D3D11, AV_PIX_FMT_YUV420P, -1};
    QCOMPARE(FFmpegHelper::getHwFormat(nullptr, formats), -1);
    FFmpegHelper::hwPixFmt = AV_PIX_FMT_D3D11;
    QCOMPARE(FFmpegHelper::getHwFormat(nullptr, formats), static_cast<int>(AV_PIX_FMT_D3D11));
    FFmpegHelper::hwPixFmt = AV_PIX_FMT_VDPAU; // no fall-back to software
    QCOMPARE(FFmpegHelper::getHwFormat(nullptr, formats), -1);
    QCOMPARE(FFmpegHelper::getHwFormat(nullptr, nullptr), -1);
    FFmpegHelper::hwPixFmt = -1;
}

void TestFFmpegHelper::errorText_isThatOfFFmpeg()
{
    QCOMPARE(FFmpegHelper::errorText(AVERROR_EOF), QStringLiteral("End of file"));
    QCOMPARE(FFmpegHelper::errorText(AVERROR_EXIT), QStringLiteral("Immediate exit requested"));
    QVERIFY(!FFmpegHelper::errorText(-99999999).isEmpty());
}

void TestFFmpegHelper::pixelFormatName_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QString>("name");
#define ROW(constant) QTest::newRow(#constant) << static_cast<int>(constant) << #constant
    ROW(AV_PIX_FMT_NONE);
    ROW(AV_PIX_FMT_YUV420P);
    ROW(AV_PIX_FMT_YUYV422);
    ROW(AV_PIX_FMT_RGB24);
    ROW(AV_PIX_FMT_BGR24);
    ROW(AV_PIX_FMT_RGBA);
    ROW(AV_PIX_FMT_BGRA);
    ROW(AV_PIX_FMT_YUV422P);
    ROW(AV_PIX_FMT_YUVJ420P);
    ROW(AV_PIX_FMT_YUVJ422P);
    ROW(AV_PIX_FMT_UYVY422);
    ROW(AV_PIX_FMT_NV12);
    ROW(AV_PIX_FMT_NV21);
    ROW(AV_PIX_FMT_VAAPI);
    ROW(AV_PIX_FMT_VDPAU);
    ROW(AV_PIX_FMT_YVYU422);
    ROW(AV_PIX_FMT_QSV);
    ROW(AV_PIX_FMT_CUDA);
    ROW(AV_PIX_FMT_D3D11);
    ROW(AV_PIX_FMT_YUV420P10LE);
#undef ROW
    QTest::newRow("without a name")
        << static_cast<int>(AV_PIX_FMT_GRAY8) << QString::number(AV_PIX_FMT_GRAY8);
    QTest::newRow("no format") << -7 << "-7";
}

void TestFFmpegHelper::pixelFormatName()
{
    QFETCH(int, format);
    QFETCH(QString, name);
    QCOMPARE(FFmpegHelper::pixelFormatName(format), name);
}

void TestFFmpegHelper::versionString_isFixed()
{
    QCOMPARE(FFmpegHelper::versionString(), QStringLiteral("4.4.2"));
}

void TestFFmpegHelper::initLib_silencesFFmpegOnce()
{
    av_log_set_level(AV_LOG_WARNING);
    FFmpegHelper::initLib();
    QCOMPARE(av_log_get_level(), -8);
    av_log_set_level(AV_LOG_ERROR);
    FFmpegHelper::initLib();
    QCOMPARE(av_log_get_level(), static_cast<int>(AV_LOG_ERROR));
    av_log_set_level(AV_LOG_QUIET);
}

void TestFFmpegHelper::lists_returnWithoutDevices()
{
    FFmpegHelper::codecLists();
    FFmpegHelper::listDevices();
    FFmpegHelper::listDevices(QStringLiteral("vfwcap"));
    FFmpegHelper::listDevices(QStringLiteral("no such type"));
    FFmpegHelper::listOptions(QStringLiteral("no such device"));
    FFmpegHelper::listOptions(QStringLiteral("vfwcap"), QString());
}

void TestFFmpegHelper::socketTimeout_isSetUnderBothNames()
{
    AVDictionaryOwner options;
    ffcompat::setSocketTimeout(options.address(), "3000000");
    const AVDictionaryEntry *old = av_dict_get(*options.address(), "stimeout", nullptr, 0);
    QVERIFY(old);
    QCOMPARE(old->value, "3000000");
    const AVDictionaryEntry *current = av_dict_get(*options.address(), "timeout", nullptr, 0);
    QCOMPARE(current != nullptr, LIBAVFORMAT_VERSION_MAJOR >= 59);
}

QTEST_GUILESS_MAIN(TestFFmpegHelper)
#include "tst_ffmpeghelper.moc"
