// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "codectest.h"
#include "support/clipmaker.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace vantratest;

class TestFfmpegVideo : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void create_returnsNull_forUnknownCodec_data();
    void create_returnsNull_forUnknownCodec();
    void create_returnsNull_withoutParameters();
    void create_makesSoftwareDecoder_forNoneAndEmpty_data();
    void create_makesSoftwareDecoder_forNoneAndEmpty();
    void create_setsOnlyTheThreeFlags();
    void create_readsDeviceName_thatFillsItsArray();

    void decode_givesEveryPicture_frameByFrame_data();
    void decode_givesEveryPicture_frameByFrame();
    void decode_handsBackTimeStamp_unchanged();
    void decode_works_withoutOutputs();
    void decode_tellsAgain_asErrorInSoftware();
    void decode_zeroesOutputs_onFailure();
    void decode_refusesInputThatIsNone_andStaysUsable_data();
    void decode_refusesInputThatIsNone_andStaysUsable();
    void decode_survivesGarbage_andStaysUsable();
    void decode_makesNoPicture_largerThanAnyLevelHas();
    void decode_needsNoPadding();
    void decode_followsChangeOfSize();
    void decode_tellsFailedReceive_andStaysUsable();
    void decode_returnsMinusOne_withoutHandle();

    void registry_isNull_afterLastHandle_andStartsAnew();
    void registry_keepsFirst_ofTwoWithOneContext();
    void destroy_releasesScaler_andReturnsZero();
    void manyHandles_liveAtOnce_onManyThreads();

private:
    QVector<AccessUnit> m_h264;
    QVector<AccessUnit> m_h265;
};

void TestFfmpegVideo::initTestCase()
{
    quietConsole();
    ClipOptions options;
    m_h264 = makeClip(options);
    options.codec = 2;
    m_h265 = makeClip(options);
    QCOMPARE(m_h264.size(), options.count);
    QCOMPARE(m_h265.size(), options.count);
    QVERIFY(m_h264[0].key && !m_h264[1].key);
}

void TestFfmpegVideo::create_returnsNull_forUnknownCodec_data()
{
    QTest::addColumn<int>("codec");
    for (const int codec : {0, 3, -1, 33, INT_MAX, INT_MIN})
        QTest::newRow(qPrintable(QString::number(codec))) << codec;
}

void TestFfmpegVideo::create_returnsNull_forUnknownCodec()
{
    QFETCH(int, codec);
    const QString line = QStringLiteral("(ffpg)codec %1 is not supported").arg(codec);
    log->expect(Logger::Error, line);
    QVERIFY(!makeVideo(codec));
    QCOMPARE(log->count(Logger::Error, line), 1);
    QCOMPARE(log->lines().size(), 1);
    QCOMPARE(log->lines()[0].category, QStringLiteral("vantra"));
    QVERIFY(log->lines()[0].file.endsWith(QLatin1String("core_codec/ffmpegvideo.cpp")));
}

void TestFfmpegVideo::create_returnsNull_withoutParameters()
{
    QVERIFY(!ffmpeg_create_video_decoder(nullptr));
}

void TestFfmpegVideo::create_makesSoftwareDecoder_forNoneAndEmpty_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QByteArray>("device");
    QTest::addColumn<QString>("name");
    QTest::newRow("H.264, none") << 1 << QByteArray("none") << "h264";
    QTest::newRow("H.264, empty") << 1 << QByteArray("") << "h264";
    QTest::newRow("H.265, none") << 2 << QByteArray("none") << "hevc";
    QTest::newRow("H.265, empty") << 2 << QByteArray("") << "hevc";
}

void TestFfmpegVideo::create_makesSoftwareDecoder_forNoneAndEmpty()
{
    QFETCH(int, codec);
    QFETCH(QByteArray, device);
    QFETCH(QString, name);
    VideoHandle handle = makeVideo(codec, device.constData());
    QVERIFY(handle);
    QCOMPARE(handle->codec, codec);
    QVERIFY(handle->frame);
    QVERIFY(!handle->hw_frame);
    QVERIFY(!handle->ctx->hw_device_ctx);
    QVERIFY(handle->ctx->get_format != get_hw_format);
    QCOMPARE(int(handle->hw_pix_fmt), -1);
    QVERIFY(!handle->rgb_data[0]);
    QVERIFY(!handle->sws_ctx);
    QCOMPARE(video_decoders, handle.record());

    const QString address = QString::asprintf("%p", handle.get());
    handle.destroy();
    QStringList lines;
    for (const LogCapture::Line &line : log->lines()) {
        QCOMPARE(line.level, Logger::Debug);
        lines << line.text;
    }
    QCOMPARE(lines, QStringList() << QStringLiteral("(ffpg)use soft %1 decoder").arg(name)
                                  << QStringLiteral("(ffpg)create video decoder %1 (%2, 320 * 240)")
                                         .arg(address, name)
                                  << QStringLiteral("(ffpg)destroy video decoder %1").arg(address));
}

void TestFfmpegVideo::create_setsOnlyTheThreeFlags()
{
    const VideoHandle handle = makeVideo(1);
    const AVCodec *decoder = avcodec_find_decoder(AV_CODEC_ID_H264);
    AVCodecContext *plain = avcodec_alloc_context3(decoder);
    QCOMPARE(avcodec_open2(plain, decoder, nullptr), 0);
    const AVCodecContext *ctx = handle->ctx;
    QCOMPARE(ctx->flags, plain->flags | AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY);
    QCOMPARE(ctx->flags2, plain->flags2 | AV_CODEC_FLAG2_FAST);
    QCOMPARE(ctx->width, 0); // the size of the parameters is for the log alone
    QCOMPARE(ctx->height, 0);
    QVERIFY(!ctx->extradata);
    QCOMPARE(ctx->thread_count, plain->thread_count);
    QCOMPARE(ctx->thread_type, plain->thread_type);
    QCOMPARE(ctx->err_recognition, plain->err_recognition);
    avcodec_free_context(&plain);
}

void TestFfmpegVideo::create_readsDeviceName_thatFillsItsArray()
{
    // 32 characters leave no room for the terminator.
    const QString name(32, QLatin1Char('x'));
    const QString line = QStringLiteral("(ffpg)find no h264 decoder support device %1").arg(name);
    log->expect(Logger::Warning, line);
    const VideoHandle handle = makeVideo(1, name.toLatin1().constData());
    QVERIFY(handle);
    QCOMPARE(log->count(Logger::Warning, line), 1);
}

void TestFfmpegVideo::decode_givesEveryPicture_frameByFrame_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << 1;
    QTest::newRow("H.265") << 2;
}

void TestFfmpegVideo::decode_givesEveryPicture_frameByFrame()
{
    QFETCH(int, codec);
    const VideoHandle handle = makeVideo(codec);
    const QVector<AccessUnit> &units = codec == 1 ? m_h264 : m_h265;
    for (int i = 0; i < units.size(); ++i) {
        _tag_yuv_frame_s yuv;
        memset(&yuv, 0xaa, sizeof(yuv));
        QCOMPARE(decode(handle, units[i], &yuv), 0);
        QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), i);
        QCOMPARE(yuv.width, 320);
        QCOMPARE(yuv.height, 240);
        QCOMPARE(yuv.pts, quint64(units[i].pts));
        // Lent, not copied.
        const AVFrame *frame = handle->frame;
        QVERIFY(yuv.y == frame->data[0] && yuv.u == frame->data[1] && yuv.v == frame->data[2]);
        QCOMPARE(yuv.linesize_y, frame->linesize[0]);
        QCOMPARE(yuv.linesize_uv, frame->linesize[1]);
    }
    QVERIFY(!handle->rgb_data[0]); // nobody asked for it
}

void TestFfmpegVideo::decode_handsBackTimeStamp_unchanged()
{
    const VideoHandle handle = makeVideo(1);
    AccessUnit unit = m_h264[0];
    _tag_yuv_frame_s yuv;
    _tag_rgb_frame_s rgb;
    unit.pts = -1; // all bits, as unsigned
    QCOMPARE(decode(handle, unit, &yuv, &rgb), 0);
    QCOMPARE(yuv.pts, UINT64_MAX);
    QCOMPARE(rgb.pts, UINT64_MAX);
    unit.pts = 0;
    QCOMPARE(decode(handle, unit, &yuv), 0);
    QCOMPARE(yuv.pts, quint64(0));
}

void TestFfmpegVideo::decode_works_withoutOutputs()
{
    const VideoHandle handle = makeVideo(1);
    for (const AccessUnit &unit : m_h264)
        QCOMPARE(decode(handle, unit), 0);
    QCOMPARE(readNumber(handle->frame->data[0], handle->frame->linesize[0], 320, 240),
             m_h264.size() - 1);
    QVERIFY(!handle->rgb_data[0]);
}

void TestFfmpegVideo::decode_tellsAgain_asErrorInSoftware()
{
    ClipOptions options;
    options.bFrames = 2;
    const QVector<AccessUnit> units = makeClip(options);
    const VideoHandle handle = makeVideo(1);
    log->expect(Logger::Error, kAgain);
    _tag_yuv_frame_s yuv;
    QCOMPARE(decode(handle, units[0], &yuv), -1);
    QCOMPARE(log->count(Logger::Error, kAgain), 1);
    // Late by the depth of reordering, and then in order.
    int next = 0;
    for (int i = 1; i < units.size(); ++i) {
        if (decode(handle, units[i], &yuv) == 0)
            QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), next++);
    }
    QVERIFY(next >= units.size() - 3);
    QCOMPARE(log->count(Logger::Error, kAgain), units.size() - next);
}

void TestFfmpegVideo::decode_zeroesOutputs_onFailure()
{
    const VideoHandle handle = makeVideo(1);
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral("avcodec_send_packet")));
    _tag_yuv_frame_s yuv;
    _tag_rgb_frame_s rgb;
    const _tag_yuv_frame_s noYuv = {};
    const _tag_rgb_frame_s noRgb = {};
    memset(&yuv, 0xaa, sizeof(yuv));
    memset(&rgb, 0xaa, sizeof(rgb));
    QCOMPARE(ffmpeg_decoder_video_frame(handle.get(), nullptr, 9, 1, 7, &yuv, &rgb), -1);
    QVERIFY(memcmp(&yuv, &noYuv, sizeof(yuv)) == 0);
    QVERIFY(memcmp(&rgb, &noRgb, sizeof(rgb)) == 0);
}

void TestFfmpegVideo::decode_refusesInputThatIsNone_andStaysUsable_data()
{
    unusableInputRows();
    QTest::newRow("size without room for padding") << false << 0x7fffffffu;
}

void TestFfmpegVideo::decode_refusesInputThatIsNone_andStaysUsable()
{
    QFETCH(bool, isNull);
    QFETCH(unsigned, size);
    const VideoHandle handle = makeVideo(1);
    log->expect(Logger::Error, kInvalidSend);
    unsigned char byte = 0;
    QCOMPARE(ffmpeg_decoder_video_frame(handle.get(), isNull ? nullptr : &byte, size, 1, 0, nullptr,
                                        nullptr),
             -1);
    QCOMPARE(log->count(Logger::Error, kInvalidSend), 1);
    for (const AccessUnit &unit : m_h264)
        QCOMPARE(decode(handle, unit), 0);
}

void TestFfmpegVideo::decode_survivesGarbage_andStaysUsable()
{
    const QString line = QStringLiteral("(ffpg)avcodec_send_packet failed with bebbb1b7 "
                                        "(Invalid data found when processing input)");
    const QRegularExpression failed(
        QStringLiteral("^\\(ffpg\\)avcodec_(send_packet|receive_frame) failed with"));
    log->expectMatching(Logger::Error, failed);
    log->expect(Logger::Error, line);
    for (const int codec : {1, 2}) {
        const QVector<AccessUnit> &good = codec == 1 ? m_h264 : m_h265;
        const VideoHandle handle = makeVideo(codec);
        // Without parameter sets there is nothing to decode with.
        log->clear();
        QCOMPARE(decode(handle, good[1]), -1);
        QCOMPARE(log->count(Logger::Error, line), 1);

        quint32 seed = 1;
        for (int round = 0; round < 200; ++round) {
            AccessUnit unit = good[round % good.size()];
            for (int flip = 0; flip < 1 + round / 10; ++flip) {
                seed = seed * 1664525u + 1013904223u;
                const int at = int(seed >> 8) % unit.data.size();
                unit.data[at] = char(unit.data[at] ^ (1 << (seed >> 29)));
            }
            if (round % 7 == 0)
                unit.data.truncate(unit.data.size() / 2);
            decode(handle, unit);
        }
        for (int i = 0; i < good.size(); ++i) {
            _tag_yuv_frame_s yuv;
            QCOMPARE(decode(handle, good[i], &yuv), 0);
            QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), i);
        }
    }
}

void TestFfmpegVideo::decode_makesNoPicture_largerThanAnyLevelHas()
{
    log->expectMatching(Logger::Error,
                        QRegularExpression(QStringLiteral("^\\(ffpg\\)avcodec_(send|receive)_")));
    AccessUnit unit;
    unit.data = giantPicture();
    unit.key = true;
    const VideoHandle handle = makeVideo(1);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(decode(handle, unit), -1);
    for (int i = 0; i < m_h264.size(); ++i) {
        _tag_yuv_frame_s yuv;
        QCOMPARE(decode(handle, m_h264[i], &yuv), 0);
        QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), i);
    }
}

void TestFfmpegVideo::decode_needsNoPadding()
{
    // Memory checkers see a read beyond the end.
    for (const int codec : {1, 2}) {
        const VideoHandle handle = makeVideo(codec);
        for (const AccessUnit &unit : codec == 1 ? m_h264 : m_h265) {
            std::vector<unsigned char> exact(unit.data.begin(), unit.data.end());
            exact.shrink_to_fit();
            QCOMPARE(ffmpeg_decoder_video_frame(handle.get(), exact.data(), unsigned(exact.size()),
                                                unit.key, 0, nullptr, nullptr),
                     0);
        }
    }
}

void TestFfmpegVideo::decode_followsChangeOfSize()
{
    for (const int codec : {1, 2}) {
        const VideoHandle handle = makeVideo(codec);
        for (const int width : {320, 640, 160}) {
            ClipOptions options;
            options.codec = codec;
            options.count = 3;
            options.width = width;
            options.firstNumber = width;
            int number = width;
            for (const AccessUnit &unit : makeClip(options)) {
                _tag_yuv_frame_s yuv;
                QCOMPARE(decode(handle, unit, &yuv), 0);
                QCOMPARE(yuv.width, width);
                QCOMPARE(yuv.height, 240);
                QCOMPARE(readNumber(yuv.y, yuv.linesize_y, width, 240), number++);
            }
        }
    }
}

void TestFfmpegVideo::decode_tellsFailedReceive_andStaysUsable()
{
    ClipOptions options;
    options.count = 1;
    options.width = 160;
    const AccessUnit other = makeClip(options).first();
    const VideoHandle handle = makeVideo(1);
    // Makes FFmpeg refuse pictures of another size when they are received.
    handle->ctx->flags |= AV_CODEC_FLAG_DROPCHANGED;
    QCOMPARE(decode(handle, m_h264[0]), 0);
    const QRegularExpression line(
        QStringLiteral("^\\(ffpg\\)avcodec_receive_frame failed with [0-9a-f]{8} \\(.+\\)$"));
    log->expectMatching(Logger::Error, line);
    QCOMPARE(decode(handle, other), -1);
    QCOMPARE(log->countMatching(Logger::Error, line), 1);
    QCOMPARE(log->count(Logger::Error, kAgain), 0);
    QCOMPARE(decode(handle, m_h264[0]), 0);
}

void TestFfmpegVideo::decode_returnsMinusOne_withoutHandle()
{
    unsigned char byte = 0;
    _tag_yuv_frame_s yuv;
    memset(&yuv, 0xaa, sizeof(yuv));
    QCOMPARE(ffmpeg_decoder_video_frame(nullptr, &byte, 1, 1, 0, &yuv, nullptr), -1);
    QVERIFY(!yuv.y && yuv.pts == 0);
    QCOMPARE(ffmpeg_destroy_video_decoder(nullptr), 0);
}

void TestFfmpegVideo::registry_isNull_afterLastHandle_andStartsAnew()
{
    for (int round = 0; round < 2; ++round) {
        VideoHandle first = makeVideo(1);
        QCOMPARE(video_decoders, first.record());
        QCOMPARE(HASH_COUNT(video_decoders), 1u);
        VideoHandle second = makeVideo(2);
        QCOMPARE(HASH_COUNT(video_decoders), 2u);
        first.destroy();
        QCOMPARE(video_decoders, second.record());
        QCOMPARE(HASH_COUNT(video_decoders), 1u);
        second.destroy();
        QVERIFY(!video_decoders);
    }
}

void TestFfmpegVideo::registry_keepsFirst_ofTwoWithOneContext()
{
    VideoHandle handle = makeVideo(1);
    auto *twin = static_cast<vdec_handle_s *>(calloc(1, sizeof(vdec_handle_s)));
    twin->ctx = handle->ctx;
    const QString line =
        QString::asprintf("(ffpg)decoder %p was existed", static_cast<void *>(twin));
    log->expect(Logger::Warning, line);
    QCOMPARE(add_video_decoder(twin), -1);
    QCOMPARE(log->count(Logger::Warning, line), 1);
    QCOMPARE(HASH_COUNT(video_decoders), 1u);
    // Taking out what was refused leaves the one that is there.
    remove_video_decoder(twin);
    QCOMPARE(video_decoders, handle.record());
    free(twin);
    QCOMPARE(decode(handle, m_h264[0]), 0);
}

void TestFfmpegVideo::destroy_releasesScaler_andReturnsZero()
{
    const _tag_vdec_param_s param = videoParam(1);
    void *handle = ffmpeg_create_video_decoder(&param);
    auto *record = static_cast<vdec_handle_s *>(handle);
    // Leaks are found by the memory checkers.
    record->sws_ctx = sws_getContext(64, 64, AV_PIX_FMT_YUV420P, 64, 64, AV_PIX_FMT_BGRA,
                                     SWS_BILINEAR, nullptr, nullptr, nullptr);
    record->hw_frame = av_frame_alloc();
    _tag_rgb_frame_s rgb;
    QCOMPARE(ffmpeg_decoder_video_frame(handle, bytesOf(m_h264[0].data),
                                        unsigned(m_h264[0].data.size()), 1, 0, nullptr, &rgb),
             0);
    QCOMPARE(ffmpeg_destroy_video_decoder(handle), 0);
}

void TestFfmpegVideo::manyHandles_liveAtOnce_onManyThreads()
{
    constexpr int kThreads = 8;
    constexpr int kHandlesPerThread = 4; // alive at once in each
    constexpr int kRounds = 5;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t, &wrong] {
            for (int round = 0; round < kRounds; ++round) {
                std::vector<VideoHandle> handles;
                for (int h = 0; h < kHandlesPerThread; ++h) {
                    handles.push_back(makeVideo(1 + (t + h) % 2));
                    // The format is negotiated through the registry, as with hardware.
                    handles.back()->ctx->get_format = get_hw_format;
                    handles.back()->hw_pix_fmt = AV_PIX_FMT_YUV420P;
                }
                for (int i = 0; i < 4; ++i) {
                    for (const VideoHandle &handle : handles) {
                        _tag_yuv_frame_s yuv;
                        const AccessUnit &unit = (handle->codec == 1 ? m_h264 : m_h265)[i];
                        if (decode(handle, unit, &yuv) != 0 ||
                            readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height) != i)
                            ++wrong;
                    }
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(wrong.load(), 0);
    QVERIFY(!video_decoders);
}

QTEST_GUILESS_MAIN(TestFfmpegVideo)
#include "tst_ffmpegvideo.moc"
