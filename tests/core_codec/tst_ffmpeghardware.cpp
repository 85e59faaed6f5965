// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Hardware decoding on machines that have none: the ways in which the negotiation fails, the
/// choice of the surface format, and hardware mode on a device reference behind which there is no
/// card.

#include "codectest.h"
#include "support/clipmaker.h"

#include <QtTest>

extern "C" {
#include <libavutil/hwcontext.h>
}

using namespace vantratest;

class TestFfmpegHardware : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void create_fallsBackToSoftware_withoutDevice_data();
    void create_fallsBackToSoftware_withoutDevice();

    void getHwFormat_picksTheChosenFormat();
    void getHwFormat_fails_whenFormatIsNotOffered_data();
    void getHwFormat_fails_whenFormatIsNotOffered();
    void getHwFormat_fails_forUnknownContext();
    void decode_negotiatesThroughTheRegistry();
    void decode_failsForGood_whenNoFormatFits();

    void hardwareMode_isTold();
    void hardwareMode_isSilent_whileThereIsNoPicture();
    void hardwareMode_tellsFailedReceive_inItsOwnWords();
    void hardwareMode_givesOnlyTimeStamp_forOtherSurfaces();
    void hardwareMode_tellsFailedTransfer_andKeepsYuv();
    void surface_isHandedOver_forDxva2();
    void surface_isHandedOver_forD3d11();
    void surface_isNotHandedOver_forOtherFormats();

private:
    bool enterHardwareMode(const VideoHandle &handle);

    QVector<AccessUnit> m_units;
    QVector<AccessUnit> m_reordered;
};

void TestFfmpegHardware::initTestCase()
{
    quietConsole();
    ClipOptions options;
    options.count = 8;
    m_units = makeClip(options);
    options.bFrames = 2;
    m_reordered = makeClip(options);
    QVERIFY(!m_units.isEmpty() && !m_reordered.isEmpty());
}

/// Gives the handle a device reference of any type that FFmpeg was built with. No card stands
/// behind it, so decoding itself stays in software, and the layer above takes it for hardware.
bool TestFfmpegHardware::enterHardwareMode(const VideoHandle &handle)
{
    AVHWDeviceType type = AV_HWDEVICE_TYPE_NONE;
    while ((type = av_hwdevice_iterate_types(type)) != AV_HWDEVICE_TYPE_NONE) {
        handle->ctx->hw_device_ctx = av_hwdevice_ctx_alloc(type);
        if (handle->ctx->hw_device_ctx) {
            handle->hw_frame = av_frame_alloc();
            return true;
        }
    }
    return false;
}

void TestFfmpegHardware::create_fallsBackToSoftware_withoutDevice_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QString>("device");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("line"); // pattern
    const QString unknown = QStringLiteral("find no %1 decoder support device %2");
    const QString unsupported = QStringLiteral("%1 decoder does not support device %2");
    const QString absent =
        QStringLiteral("av_hwdevice_ctx_create failed with [0-9a-f]{1,8} \\(.+\\)");
    for (const int codec : {1, 2}) {
        const QString name = codec == 1 ? QStringLiteral("h264") : QStringLiteral("hevc");
        const auto row = [&](const char *device, Logger::LogLevel level, const QString &line) {
            const QString text =
                line.contains(QLatin1String("%1")) ? line.arg(name, QLatin1String(device)) : line;
            QTest::newRow(qPrintable(name + QLatin1Char(' ') + QLatin1String(device)))
                << codec << device << int(level) << text;
        };
        row("no-such-device", Logger::Warning, unknown);
        row("NONE", Logger::Warning, unknown); // only "none" as written means software
        row(" ", Logger::Warning, unknown);
        row("opencl", Logger::Warning, unsupported);
        row("cuda", Logger::Error, absent);
        row("vaapi", Logger::Error, absent);
        row("vdpau", Logger::Error, absent);
    }
}

void TestFfmpegHardware::create_fallsBackToSoftware_withoutDevice()
{
    QFETCH(int, codec);
    QFETCH(QString, device);
    QFETCH(int, level);
    QFETCH(QString, line);
    const AVHWDeviceType type = av_hwdevice_find_type_by_name(qPrintable(device));
    if (level == Logger::Error || line.contains(QLatin1String("does not support"))) {
        if (type == AV_HWDEVICE_TYPE_NONE)
            QSKIP("FFmpeg was built without this type");
    }
    const QRegularExpression pattern(QStringLiteral("^\\(ffpg\\)%1$").arg(line));
    log->expectMatching(Logger::LogLevel(level), pattern);
    const VideoHandle handle = makeVideo(codec, qPrintable(device));
    QVERIFY(handle);
    if (handle->ctx->hw_device_ctx)
        QSKIP("this machine has such a device");
    QCOMPARE(log->countMatching(Logger::LogLevel(level), pattern), 1);

    // The format stays chosen where only the device was missing; the mode is software all the same.
    QCOMPARE(handle->hw_pix_fmt != AV_PIX_FMT_NONE, level == Logger::Error);
    QVERIFY(handle->ctx->get_format != get_hw_format);
    QVERIFY(!handle->hw_frame);
    ClipOptions options;
    options.codec = codec;
    options.count = 5;
    int number = 0;
    for (const AccessUnit &unit : makeClip(options)) {
        _tag_yuv_frame_s yuv;
        QCOMPARE(decode(handle, unit, &yuv), 0);
        QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), number++);
    }
}

void TestFfmpegHardware::getHwFormat_picksTheChosenFormat()
{
    const VideoHandle handle = makeVideo(1);
    handle->hw_pix_fmt = AV_PIX_FMT_D3D11;
    const AVPixelFormat offered[] = {AV_PIX_FMT_DXVA2_VLD, AV_PIX_FMT_D3D11, AV_PIX_FMT_YUV420P,
                                     AV_PIX_FMT_NONE};
    QCOMPARE(get_hw_format(handle->ctx, offered), AV_PIX_FMT_D3D11);
    handle->hw_pix_fmt = AV_PIX_FMT_DXVA2_VLD;
    QCOMPARE(get_hw_format(handle->ctx, offered), AV_PIX_FMT_DXVA2_VLD);
}

void TestFfmpegHardware::getHwFormat_fails_whenFormatIsNotOffered_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<bool>("isEmpty");
    QTest::newRow("not in the list") << int(AV_PIX_FMT_D3D11) << false;
    QTest::newRow("none chosen") << int(AV_PIX_FMT_NONE) << false;
    QTest::newRow("nothing offered") << int(AV_PIX_FMT_YUV420P) << true;
    QTest::newRow("behind the end of the list") << int(AV_PIX_FMT_NV12) << false;
}

void TestFfmpegHardware::getHwFormat_fails_whenFormatIsNotOffered()
{
    QFETCH(int, format);
    QFETCH(bool, isEmpty);
    const VideoHandle handle = makeVideo(1);
    handle->hw_pix_fmt = AVPixelFormat(format);
    const AVPixelFormat offered[] = {AV_PIX_FMT_DXVA2_VLD, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE,
                                     AV_PIX_FMT_NV12, AV_PIX_FMT_NONE};
    const QString line = QString::asprintf("(ffpg)ctx %p failed to get hw surface format",
                                           static_cast<void *>(handle->ctx));
    log->expect(Logger::Error, line);
    QCOMPARE(int(get_hw_format(handle->ctx, isEmpty ? offered + 2 : offered)), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
}

void TestFfmpegHardware::getHwFormat_fails_forUnknownContext()
{
    AVCodecContext *ctx = avcodec_alloc_context3(nullptr);
    void *address = ctx;
    const QStringList lines = {
        QString::asprintf("(ffpg)found no decoder with ctx %p", address),
        QString::asprintf("(ffpg)ctx %p failed to get hw surface format", address)};
    for (const QString &line : lines)
        log->expect(Logger::Error, line);
    const AVPixelFormat offered[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE};
    QCOMPARE(int(get_hw_format(ctx, offered)), -1); // no table at all
    const VideoHandle other = makeVideo(1);
    log->clear();
    QCOMPARE(int(get_hw_format(ctx, offered)), -1); // a table without it
    QCOMPARE(log->lines().size(), 2);
    QCOMPARE(log->lines()[0].text, lines[0]);
    QCOMPARE(log->lines()[1].text, lines[1]);
    // The lock is free again.
    QVERIFY(video_decoders_lock.tryLockForWrite());
    video_decoders_lock.unlock();
    avcodec_free_context(&ctx);
}

void TestFfmpegHardware::decode_negotiatesThroughTheRegistry()
{
    const VideoHandle handle = makeVideo(1);
    handle->ctx->get_format = get_hw_format;
    handle->hw_pix_fmt = AV_PIX_FMT_YUV420P; // FFmpeg offers it last, behind the surfaces
    for (const AccessUnit &unit : m_units)
        QCOMPARE(decode(handle, unit), 0);
}

void TestFfmpegHardware::decode_failsForGood_whenNoFormatFits()
{
    const VideoHandle handle = makeVideo(1);
    handle->ctx->get_format = get_hw_format;
    handle->hw_pix_fmt = AV_PIX_FMT_MEDIACODEC; // never offered by this decoder
    const QString refused = QString::asprintf("(ffpg)ctx %p failed to get hw surface format",
                                              static_cast<void *>(handle->ctx));
    const QRegularExpression failed(QStringLiteral("^\\(ffpg\\)avcodec_send_packet failed with"));
    log->expect(Logger::Error, refused);
    log->expectMatching(Logger::Error, failed);
    // No change to software later: only a new handle changes the mode.
    for (int round = 0; round < 3; ++round)
        QCOMPARE(decode(handle, m_units[0]), -1);
    QVERIFY(log->count(Logger::Error, refused) >= 1);
    QCOMPARE(log->countMatching(Logger::Error, failed), 3);
    const VideoHandle next = makeVideo(1);
    QCOMPARE(decode(next, m_units[0]), 0);
}

void TestFfmpegHardware::hardwareMode_isTold()
{
    QVERIFY(!ffmpeg_is_hardware_decoder(nullptr));
    const VideoHandle handle = makeVideo(1);
    QVERIFY(!ffmpeg_is_hardware_decoder(handle.get()));
    if (!enterHardwareMode(handle))
        QSKIP("FFmpeg was built without any hardware device");
    QVERIFY(ffmpeg_is_hardware_decoder(handle.get()));
}

void TestFfmpegHardware::hardwareMode_isSilent_whileThereIsNoPicture()
{
    const VideoHandle handle = makeVideo(1);
    if (!enterHardwareMode(handle))
        QSKIP("FFmpeg was built without any hardware device");
    log->clear();
    _tag_yuv_frame_s yuv;
    memset(&yuv, 0xaa, sizeof(yuv));
    QCOMPARE(decode(handle, m_reordered[0], &yuv), -1);
    QCOMPARE(yuv.pts, quint64(0));
    QVERIFY(log->lines().isEmpty());
}

void TestFfmpegHardware::hardwareMode_tellsFailedReceive_inItsOwnWords()
{
    ClipOptions options;
    options.count = 1;
    options.width = 160;
    const AccessUnit other = makeClip(options).first();
    const VideoHandle handle = makeVideo(1);
    if (!enterHardwareMode(handle))
        QSKIP("FFmpeg was built without any hardware device");
    handle->ctx->flags |= AV_CODEC_FLAG_DROPCHANGED;
    QCOMPARE(decode(handle, m_units[0]), 0);
    // Without "failed" here.
    const QRegularExpression line(
        QStringLiteral("^\\(ffpg\\)avcodec_receive_frame with [0-9a-f]{8} \\(.+\\)$"));
    log->expectMatching(Logger::Error, line);
    QCOMPARE(decode(handle, other), -1);
    QCOMPARE(log->countMatching(Logger::Error, line), 1);
}

void TestFfmpegHardware::hardwareMode_givesOnlyTimeStamp_forOtherSurfaces()
{
    const VideoHandle handle = makeVideo(1);
    if (!enterHardwareMode(handle))
        QSKIP("FFmpeg was built without any hardware device");
    AccessUnit unit = m_units[0];
    unit.pts = 4711;
    _tag_yuv_frame_s yuv;
    memset(&yuv, 0xaa, sizeof(yuv));
    QCOMPARE(decode(handle, unit, &yuv), 0);
    QVERIFY(handle->hw_frame->data[0]); // the picture is there, and is in hw_frame
    QVERIFY(!handle->frame->data[0]);
    _tag_yuv_frame_s expected = {};
    expected.pts = 4711;
    QVERIFY(memcmp(&yuv, &expected, sizeof(yuv)) == 0);
}

void TestFfmpegHardware::hardwareMode_tellsFailedTransfer_andKeepsYuv()
{
    const VideoHandle handle = makeVideo(1);
    if (!enterHardwareMode(handle))
        QSKIP("FFmpeg was built without any hardware device");
    const QRegularExpression line(
        QStringLiteral("^\\(ffpg\\)av_hwframe_transfer_data failed with [0-9a-f]{8} \\(.+\\)$"));
    log->expectMatching(Logger::Error, line);
    AccessUnit unit = m_units[0];
    unit.pts = 4711;
    _tag_yuv_frame_s yuv;
    _tag_rgb_frame_s rgb;
    QCOMPARE(decode(handle, unit, &yuv, &rgb), -1);
    QCOMPARE(log->countMatching(Logger::Error, line), 1);
    QCOMPARE(yuv.pts, quint64(4711));
    QVERIFY(!rgb.data);
    QVERIFY(!handle->rgb_data[0]);
    QCOMPARE(decode(handle, m_units[1], &yuv), 0);
}

void TestFfmpegHardware::surface_isHandedOver_forDxva2()
{
    AVFrame *frame = av_frame_alloc();
    frame->format = AV_PIX_FMT_DXVA2_VLD;
    frame->width = 1920;
    frame->height = 1080;
    uint8_t surface = 0;
    frame->data[3] = &surface;
    _tag_yuv_frame_s yuv = {};
    fill_hw_picture(frame, &yuv);
    _tag_yuv_frame_s expected = {};
    expected.y = &surface;
    expected.width = 1920;
    expected.height = 1080;
    QVERIFY(memcmp(&yuv, &expected, sizeof(yuv)) == 0);
    av_frame_free(&frame);
}

void TestFfmpegHardware::surface_isHandedOver_forD3d11()
{
    AVFrame *frame = av_frame_alloc();
    frame->format = AV_PIX_FMT_D3D11;
    frame->width = 1280;
    frame->height = 720;
    uint8_t texture = 0;
    frame->data[0] = &texture;
    frame->data[1] = reinterpret_cast<uint8_t *>(intptr_t(0x500000011)); // low 32 bits count
    _tag_yuv_frame_s yuv = {};
    fill_hw_picture(frame, &yuv);
    _tag_yuv_frame_s expected = {};
    expected.y = &texture;
    expected.linesize_y = 17;
    expected.width = 1280;
    expected.height = 720;
    QVERIFY(memcmp(&yuv, &expected, sizeof(yuv)) == 0);
    av_frame_free(&frame);
}

void TestFfmpegHardware::surface_isNotHandedOver_forOtherFormats()
{
    AVFrame *frame = av_frame_alloc();
    frame->width = 1280;
    frame->height = 720;
    uint8_t surface = 0;
    for (uint8_t *&plane : frame->data)
        plane = &surface;
    const _tag_yuv_frame_s nothing = {};
    for (const int format : {AV_PIX_FMT_VAAPI, AV_PIX_FMT_CUDA, AV_PIX_FMT_D3D11VA_VLD,
                             AV_PIX_FMT_NV12, AV_PIX_FMT_NONE}) {
        frame->format = format;
        _tag_yuv_frame_s yuv = {};
        fill_hw_picture(frame, &yuv);
        QVERIFY(memcmp(&yuv, &nothing, sizeof(yuv)) == 0);
    }
    av_frame_free(&frame);
}

QTEST_GUILESS_MAIN(TestFfmpegHardware)
#include "tst_ffmpeghardware.moc"
