// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "codectest.h"
#include "support/clipmaker.h"

#include <QColor>
#include <QtTest>

extern "C" {
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <cmath>
#include <memory>

using namespace vantratest;

Q_DECLARE_METATYPE(vantratest::Yuv)

namespace {

constexpr int kTolerance = 3; // of 255: fixed point in the converter, and the encoder

int clamped(double value)
{
    return int(std::lround(std::clamp(value, 0.0, 255.0)));
}

/// BT.601 from its definition, with U and V exchanged as the conversion wants it: the colour is
/// then red where libyuv says blue.
QColor expectedColour(const Yuv &yuv, bool isFullRange)
{
    const double y = isFullRange ? yuv.y : (yuv.y - 16) * 255.0 / 219;
    const double scale = isFullRange ? 1 : 255.0 / 224;
    const double asU = (yuv.v - 128) * scale;
    const double asV = (yuv.u - 128) * scale;
    return QColor(clamped(y + 1.772 * asU), clamped(y - 0.344136 * asU - 0.714136 * asV),
                  clamped(y + 1.402 * asV));
}

struct FrameDeleter
{
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

FramePtr makeFrame(int format, int width, int height)
{
    FramePtr frame(av_frame_alloc());
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        return nullptr;
    return frame;
}

void fill(AVFrame *frame, const Yuv &yuv)
{
    const int chromaLines = (frame->height + 1) / 2;
    const int format = frame->format;
    memset(frame->data[0], yuv.y, size_t(frame->linesize[0]) * size_t(frame->height));
    if (format == AV_PIX_FMT_NV12 || format == AV_PIX_FMT_NV21) {
        for (int i = 0; i < frame->linesize[1] * chromaLines; ++i)
            frame->data[1][i] = (i % 2 == 0) == (format == AV_PIX_FMT_NV12) ? yuv.u : yuv.v;
        return;
    }
    const int lines = format == AV_PIX_FMT_YUV422P ? frame->height : chromaLines;
    memset(frame->data[1], yuv.u, size_t(frame->linesize[1]) * size_t(lines));
    memset(frame->data[2], yuv.v, size_t(frame->linesize[2]) * size_t(lines));
}

bool isAbout(const uint8_t *pixel, const QColor &colour)
{
    return std::abs(pixel[0] - colour.red()) <= kTolerance &&
           std::abs(pixel[1] - colour.green()) <= kTolerance &&
           std::abs(pixel[2] - colour.blue()) <= kTolerance;
}

} // namespace

class TestFfmpegRgb : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void everyFormat_givesRedFirst_data();
    void everyFormat_givesRedFirst();
    void formatsWithoutThreeFullPlanes_areRefused_data();
    void formatsWithoutThreeFullPlanes_areRefused();
    void decodedPatch_hasItsColour_data();
    void decodedPatch_hasItsColour();
    void redPatch_isRed_byDefinition();
    void record_describesThePackedPicture();
    void conversion_covers_aPictureOfOddSize();
    void buffer_isMadeOnce_andNotBeforeItIsAskedFor();
    void share_isNull_beforeThereIsARgbPicture();
    void share_outlivesTheDecoder();
    void grownPicture_keepsTheFirstBuffer_andFails();
    void smallerPicture_usesTheFirstBuffer();
    void picture_withoutChroma_failsConversion_andKeepsYuv();
};

static void addPatches()
{
    QTest::newRow("black") << Yuv{16, 128, 128};
    QTest::newRow("white") << Yuv{235, 128, 128};
    QTest::newRow("grey") << Yuv{126, 128, 128};
    QTest::newRow("red") << Yuv{81, 90, 240};
    QTest::newRow("green") << Yuv{145, 54, 34};
    QTest::newRow("blue") << Yuv{41, 240, 110};
    QTest::newRow("pale red") << Yuv{120, 118, 150};
    QTest::newRow("pale blue") << Yuv{120, 150, 118};
}

void TestFfmpegRgb::everyFormat_givesRedFirst_data()
{
    QTest::addColumn<Yuv>("yuv");
    addPatches();
}

void TestFfmpegRgb::everyFormat_givesRedFirst()
{
    QFETCH(Yuv, yuv);
    // The last one has no conversion of its own and goes the way of YUV420P.
    for (const int format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,
                             AV_PIX_FMT_NV21, AV_PIX_FMT_YUV422P}) {
        const FramePtr frame = makeFrame(format, 50, 10);
        fill(frame.get(), yuv);
        std::vector<uint8_t> rgb(50 * 10 * 3, 0xaa);
        QCOMPARE(picture_to_rgb(frame.get(), rgb.data(), 50 * 3), 0);
        const QColor colour = expectedColour(yuv, format == AV_PIX_FMT_YUVJ420P);
        for (size_t i = 0; i < rgb.size(); i += 3) {
            QVERIFY2(isAbout(&rgb[i], colour),
                     qPrintable(QStringLiteral("format %1, pixel %2: %3 %4 %5, not %6")
                                    .arg(format)
                                    .arg(i / 3)
                                    .arg(rgb[i])
                                    .arg(rgb[i + 1])
                                    .arg(rgb[i + 2])
                                    .arg(colour.name())));
        }
    }
}

void TestFfmpegRgb::formatsWithoutThreeFullPlanes_areRefused_data()
{
    QTest::addColumn<int>("format");
    QTest::newRow("grey") << int(AV_PIX_FMT_GRAY8);
    QTest::newRow("two planes of 10 bit") << int(AV_PIX_FMT_P010LE);
    QTest::newRow("packed") << int(AV_PIX_FMT_YUYV422);
    QTest::newRow("chroma of a quarter width") << int(AV_PIX_FMT_YUV411P);
    QTest::newRow("unknown") << -1;
}

void TestFfmpegRgb::formatsWithoutThreeFullPlanes_areRefused()
{
    QFETCH(int, format);
    const FramePtr frame = makeFrame(format < 0 ? int(AV_PIX_FMT_YUV420P) : format, 64, 8);
    QVERIFY(frame);
    frame->format = format;
    std::vector<uint8_t> rgb(64 * 8 * 3, 0xaa);
    QCOMPARE(picture_to_rgb(frame.get(), rgb.data(), 64 * 3), -1);
    QVERIFY(std::all_of(rgb.begin(), rgb.end(), [](uint8_t byte) { return byte == 0xaa; }));
}

void TestFfmpegRgb::decodedPatch_hasItsColour_data()
{
    everyFormat_givesRedFirst_data();
}

void TestFfmpegRgb::decodedPatch_hasItsColour()
{
    QFETCH(Yuv, yuv);
    for (const int codec : {1, 2}) {
        for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P}) {
            ClipOptions options;
            options.codec = codec;
            options.width = 64;
            options.height = 64;
            options.count = 1;
            options.format = format;
            options.colour = yuv;
            options.losslessColour = true;
            const VideoHandle handle = makeVideo(codec);
            _tag_rgb_frame_s rgb;
            QCOMPARE(decode(handle, makeClip(options).value(0), nullptr, &rgb), 0);
            QCOMPARE(handle->frame->format, int(format));
            const uint8_t *pixel = rgb.data + rgb.linesize * 48 + 32 * 3; // below the number
            const QColor colour = expectedColour(yuv, format == AV_PIX_FMT_YUVJ420P);
            QVERIFY2(isAbout(pixel, colour), qPrintable(QStringLiteral("%1 %2 %3, not %4")
                                                            .arg(pixel[0])
                                                            .arg(pixel[1])
                                                            .arg(pixel[2])
                                                            .arg(colour.name())));
        }
    }
}

void TestFfmpegRgb::redPatch_isRed_byDefinition()
{
    // Fixed numbers, beside the formula above: memory order is red, green, blue.
    const FramePtr frame = makeFrame(AV_PIX_FMT_YUV420P, 16, 2);
    uint8_t rgb[16 * 2 * 3];
    fill(frame.get(), {81, 90, 240});
    QCOMPARE(picture_to_rgb(frame.get(), rgb, 48), 0);
    QVERIFY(isAbout(rgb, QColor(255, 62, 15)));
    fill(frame.get(), {41, 240, 110});
    QCOMPARE(picture_to_rgb(frame.get(), rgb, 48), 0);
    QVERIFY(isAbout(rgb, QColor(0, 0, 208)));
}

void TestFfmpegRgb::record_describesThePackedPicture()
{
    ClipOptions options;
    options.count = 2;
    const QVector<AccessUnit> units = makeClip(options);
    const VideoHandle handle = makeVideo(1);
    _tag_rgb_frame_s rgb;
    memset(&rgb, 0xaa, sizeof(rgb));
    QCOMPARE(decode(handle, units[0], nullptr, &rgb), 0);
    QCOMPARE(rgb.width, 320);
    QCOMPARE(rgb.height, 240);
    QCOMPARE(rgb.linesize, 320 * 3); // no padding
    QVERIFY(rgb.data == handle->rgb_data[0]);
    QCOMPARE(rgb.linesize, handle->rgb_linesize[0]);
    // The picture of this very call.
    QCOMPARE(decode(handle, units[1], nullptr, &rgb), 0);
    std::vector<uint8_t> green(320 * 240);
    for (size_t i = 0; i < green.size(); ++i)
        green[i] = rgb.data[i * 3 + 1];
    QCOMPARE(readNumber(green.data(), 320, 320, 240), 1);
}

void TestFfmpegRgb::conversion_covers_aPictureOfOddSize()
{
    // Neither side is a multiple of what converters work in.
    ClipOptions options;
    options.width = 318;
    options.height = 238;
    options.count = 1;
    options.losslessColour = true;
    options.colour = {81, 90, 240};
    const VideoHandle handle = makeVideo(1);
    _tag_rgb_frame_s rgb;
    QCOMPARE(decode(handle, makeClip(options).value(0), nullptr, &rgb), 0);
    QCOMPARE(rgb.linesize, 318 * 3);
    const QColor colour = expectedColour(options.colour, false);
    for (int y = 200; y < 238; ++y) {
        for (const int x : {0, 316, 317})
            QVERIFY(isAbout(rgb.data + y * rgb.linesize + x * 3, colour));
    }
}

void TestFfmpegRgb::buffer_isMadeOnce_andNotBeforeItIsAskedFor()
{
    const QVector<AccessUnit> units = makeClip(ClipOptions());
    const VideoHandle handle = makeVideo(1);
    _tag_yuv_frame_s yuv;
    _tag_rgb_frame_s rgb;
    QCOMPARE(decode(handle, units[0], &yuv), 0);
    QVERIFY(!handle->rgb_data[0]);
    QCOMPARE(decode(handle, units[1], &yuv, &rgb), 0);
    const uint8_t *buffer = rgb.data;
    for (int i = 2; i < units.size(); ++i) {
        QCOMPARE(decode(handle, units[i], &yuv, &rgb), 0);
        QVERIFY(rgb.data == buffer);
    }
}

void TestFfmpegRgb::share_isNull_beforeThereIsARgbPicture()
{
    QVERIFY(!ffmpeg_share_video_rgb(nullptr));
    ClipOptions options;
    options.count = 1;
    const VideoHandle handle = makeVideo(1);
    _tag_yuv_frame_s yuv;
    QCOMPARE(decode(handle, makeClip(options).first(), &yuv), 0);
    QVERIFY(!ffmpeg_share_video_rgb(handle.get()));
}

void TestFfmpegRgb::share_outlivesTheDecoder()
{
    ClipOptions options;
    options.count = 1;
    VideoHandle handle = makeVideo(1);
    _tag_rgb_frame_s rgb;
    QCOMPARE(decode(handle, makeClip(options).first(), nullptr, &rgb), 0);
    const std::shared_ptr<void> share = ffmpeg_share_video_rgb(handle.get());
    QVERIFY(share.get() == rgb.data);
    const auto size = rgb.height * rgb.linesize;
    const QByteArray before(reinterpret_cast<const char *>(rgb.data), size);
    handle.destroy();
    QVERIFY(QByteArray(static_cast<const char *>(share.get()), size) == before);
}

void TestFfmpegRgb::grownPicture_keepsTheFirstBuffer_andFails()
{
    ClipOptions options;
    options.count = 1;
    const AccessUnit first = makeClip(options).first();
    const QString line = QStringLiteral("(ffpg)yuv2rgb fmt: 0 err: -1");
    log->expect(Logger::Warning, line);
    for (const QSize &size : {QSize(640, 480), QSize(640, 120), QSize(320, 242), QSize(240, 320)}) {
        options.width = size.width();
        options.height = size.height();
        const AccessUnit grown = makeClip(options).first();
        const VideoHandle handle = makeVideo(1);
        _tag_yuv_frame_s yuv;
        _tag_rgb_frame_s rgb;
        QCOMPARE(decode(handle, first, &yuv, &rgb), 0);
        uint8_t *buffer = handle->rgb_data[0];
        log->clear();
        // It has no room; that one picture fails, and nothing is written beyond.
        QCOMPARE(decode(handle, grown, &yuv, &rgb), -1);
        QCOMPARE(log->count(Logger::Warning, line), 1);
        QVERIFY(!rgb.data);
        QVERIFY(yuv.y);
        QCOMPARE(yuv.width, size.width());
        QVERIFY(handle->rgb_data[0] == buffer);
        QCOMPARE(handle->rgb_linesize[0], 320 * 3);
        // Without RGB it is decoded, and the first size fits again.
        QCOMPARE(decode(handle, grown, &yuv), 0);
        QCOMPARE(decode(handle, first, &yuv, &rgb), 0);
        QVERIFY(rgb.data == buffer);
    }
}

void TestFfmpegRgb::smallerPicture_usesTheFirstBuffer()
{
    ClipOptions options;
    options.count = 1;
    options.losslessColour = true;
    const AccessUnit first = makeClip(options).first();
    options.width = 160;
    options.height = 120;
    options.colour = {81, 90, 240};
    const AccessUnit smaller = makeClip(options).first();
    const VideoHandle handle = makeVideo(1);
    _tag_rgb_frame_s rgb;
    QCOMPARE(decode(handle, first, nullptr, &rgb), 0);
    const uint8_t *buffer = rgb.data;
    QCOMPARE(decode(handle, smaller, nullptr, &rgb), 0);
    QVERIFY(rgb.data == buffer);
    QCOMPARE(rgb.width, 160);
    QCOMPARE(rgb.height, 120);
    QCOMPARE(rgb.linesize, 320 * 3); // lines stay as far apart as in the first picture
    QVERIFY(
        isAbout(rgb.data + 119 * rgb.linesize + 159 * 3, expectedColour(options.colour, false)));
}

void TestFfmpegRgb::picture_withoutChroma_failsConversion_andKeepsYuv()
{
    ClipOptions options;
    options.codec = 2;
    options.count = 2;
    options.format = AV_PIX_FMT_GRAY8;
    const QVector<AccessUnit> units = makeClip(options);
    if (units.isEmpty())
        QSKIP("the H.265 encoder makes no grey pictures");
    const VideoHandle handle = makeVideo(2);
    const QString line = QStringLiteral("(ffpg)yuv2rgb fmt: %1 err: -1").arg(AV_PIX_FMT_GRAY8);
    log->expect(Logger::Warning, line);
    _tag_yuv_frame_s yuv;
    _tag_rgb_frame_s rgb;
    QCOMPARE(decode(handle, units[0], &yuv, &rgb), -1);
    QCOMPARE(log->count(Logger::Warning, line), 1);
    QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), 0);
    QVERIFY(!yuv.u && !yuv.v);
    QCOMPARE(yuv.linesize_uv, 0);
    QVERIFY(!rgb.data);
    QCOMPARE(decode(handle, units[1], &yuv), 0);
}

QTEST_GUILESS_MAIN(TestFfmpegRgb)
#include "tst_ffmpegrgb.moc"
