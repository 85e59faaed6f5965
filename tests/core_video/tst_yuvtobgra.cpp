// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_ffmpeg/ffmpegptr.h"
#include "core_video/yuvtobgra_p.h"
#include "support/loggedtest.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <QTest>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr std::uint8_t kUntouched = 0x5a;

/// Three planes with no byte to spare, so that reading beyond them is found.
class Picture
{
public:
    Picture(AVPixelFormat format, int width, int height, int padding = 0)
        : m_frame(av_frame_alloc())
    {
        m_frame->format = format;
        m_frame->width = width;
        m_frame->height = height;
        for (int plane = 0; plane < 3; ++plane) {
            const int columns = plane == 0 ? width : (width + 1) / 2;
            const int lines = plane == 0 ? height : (height + 1) / 2;
            const int bytes = columns + padding;
            // The last line ends with its last column.
            m_sizes[plane] = bytes * (lines - 1) + columns;
            m_planes[plane] = std::make_unique<std::uint8_t[]>(std::size_t(m_sizes[plane]));
            m_frame->data[plane] = m_planes[plane].get();
            m_frame->linesize[plane] = bytes;
        }
    }

    void fillAtRandom(std::mt19937 &random)
    {
        for (int plane = 0; plane < 3; ++plane) {
            for (int i = 0; i < m_sizes[plane]; ++i)
                m_planes[plane][std::size_t(i)] = std::uint8_t(random());
        }
    }

    std::uint8_t &at(int plane, int column, int line)
    {
        return m_frame->data[plane][line * m_frame->linesize[plane] + column];
    }

    const AVFrame *frame() const { return m_frame.get(); }

private:
    AVFramePtr m_frame;
    std::unique_ptr<std::uint8_t[]> m_planes[3];
    int m_sizes[3] = {};
};

SwsContextPtr newScaler(const AVFrame *frame, int flag = SWS_FAST_BILINEAR)
{
    const auto format = AVPixelFormat(frame->format);
    return SwsContextPtr(sws_getContext(frame->width, frame->height, format, frame->width,
                                        frame->height, AV_PIX_FMT_BGRA, flag, nullptr, nullptr,
                                        nullptr));
}

/// By the scaler. It is given room beside the picture, without which it leaves out columns.
std::vector<std::uint8_t> scaled(SwsContext *scaler, const AVFrame *frame)
{
    constexpr int kRoom = 64; // columns
    const int line = 4 * (frame->width + kRoom);
    std::vector<std::uint8_t> wide(std::size_t(line) * std::size_t(frame->height) + 256);
    std::uint8_t *const planes[4] = {wide.data()};
    const int lines[4] = {line};
    // It reads beyond the last column too.
    const AVFramePtr copy(av_frame_alloc());
    copy->format = frame->format;
    copy->width = frame->width;
    copy->height = frame->height;
    if (av_frame_get_buffer(copy.get(), 0) < 0 || av_frame_copy(copy.get(), frame) < 0 ||
        sws_scale(scaler, copy->data, copy->linesize, 0, frame->height, planes, lines) < 0)
        return {};
    std::vector<std::uint8_t> result;
    for (int row = 0; row < frame->height; ++row)
        result.insert(result.end(), wide.begin() + row * line,
                      wide.begin() + row * line + 4 * frame->width);
    return result;
}

std::optional<YuvToBgra> converterFor(SwsContext *scaler, const AVFrame *frame)
{
    return YuvToBgra::like(scaler, AVPixelFormat(frame->format), frame->width, frame->height);
}

/// Bytes that begin so far behind a place that is aligned for any vector.
class Target
{
public:
    Target(std::size_t bytes, int offset)
        : m_memory(static_cast<std::uint8_t *>(av_malloc(bytes + std::size_t(offset)))),
          m_begin(m_memory.get() + offset), m_end(m_begin + bytes)
    {
        std::fill(m_begin, m_end, kUntouched);
    }

    std::uint8_t *begin() const { return m_begin; }
    std::uint8_t *end() const { return m_end; }

private:
    AVBytesPtr m_memory;
    std::uint8_t *m_begin;
    std::uint8_t *m_end;
};

std::vector<std::uint8_t> converted(const YuvToBgra &converter, const AVFrame *frame,
                                    int offset = 0)
{
    const Target result(std::size_t(4) * std::size_t(frame->width) * std::size_t(frame->height),
                        offset);
    converter.convert(frame, result.begin(), 4 * frame->width);
    return {result.begin(), result.end()};
}

} // namespace

class TestYuvToBgra : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();
    void bytes_areThoseOfTheScaler_data();
    void bytes_areThoseOfTheScaler();
    void bytesOfLargePictures_areThoseOfTheScaler_data();
    void bytesOfLargePictures_areThoseOfTheScaler();
    void colours_areThoseOfTheScaler();
    void colours_areThoseOfTheStandard_data();
    void colours_areThoseOfTheStandard();
    void lines_areLeftAloneBesideThePicture_data();
    void lines_areLeftAloneBesideThePicture();
    void others_areLeftToTheScaler_data();
    void others_areLeftToTheScaler();
};

void TestYuvToBgra::initTestCase()
{
    av_log_set_level(AV_LOG_ERROR); // of a form that the scaler takes for another one
    const Picture picture(AV_PIX_FMT_YUV420P, 64, 2);
    if (!converterFor(newScaler(picture.frame()).get(), picture.frame()))
        QSKIP("this processor is the scaler's");
}

void TestYuvToBgra::bytes_areThoseOfTheScaler_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("padding");
    QTest::addColumn<int>("flag");
    const auto row = [](const char *form, int format, const QSize &size, int padding, int flag) {
        QTest::newRow(qPrintable(QStringLiteral("%1, %2x%3, padding %4, flag %5")
                                     .arg(QLatin1String(form))
                                     .arg(size.width())
                                     .arg(size.height())
                                     .arg(padding)
                                     .arg(flag)))
            << format << size << padding << flag;
    };
    for (const bool full : {false, true}) {
        const char *name = full ? "full" : "limited";
        const int format = full ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
        for (int width = 32; width <= 66; ++width)
            row(name, format, QSize(width, 4), width % 3, SWS_FAST_BILINEAR);
        for (const QSize size : {QSize(352, 288), QSize(640, 360), QSize(1366, 2), QSize(1919, 6)})
            row(name, format, size, 32, SWS_FAST_BILINEAR);
        for (const int flag : {SWS_BILINEAR, SWS_BICUBIC})
            row(name, format, QSize(176, 144), 0, flag);
    }
}

void TestYuvToBgra::bytes_areThoseOfTheScaler()
{
    QFETCH(int, format);
    QFETCH(QSize, size);
    QFETCH(int, padding);
    QFETCH(int, flag);
    Picture picture(AVPixelFormat(format), size.width(), size.height(), padding);
    std::mt19937 random(unsigned(size.width()));
    picture.fillAtRandom(random);
    const SwsContextPtr scaler = newScaler(picture.frame(), flag);
    const auto converter = converterFor(scaler.get(), picture.frame());
    QVERIFY(converter);
    const auto expected = scaled(scaler.get(), picture.frame());
    QVERIFY(!expected.empty());
    QVERIFY(converted(*converter, picture.frame()) == expected);
}

// Wherever their lines begin.
void TestYuvToBgra::bytesOfLargePictures_areThoseOfTheScaler_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("offset");
    QTest::newRow("whole steps") << QSize(1920, 288) << 0;
    QTest::newRow("lines that end with a part of a step") << QSize(1288, 416) << 0;
    QTest::newRow("lines of half vectors") << QSize(1284, 416) << 0;
    QTest::newRow("odd width") << QSize(1365, 400) << 0;
    QTest::newRow("in the middle of a vector") << QSize(1920, 288) << 16;
    QTest::newRow("at an odd byte") << QSize(1920, 288) << 1;
}

void TestYuvToBgra::bytesOfLargePictures_areThoseOfTheScaler()
{
    QFETCH(QSize, size);
    QFETCH(int, offset);
    Picture picture(AV_PIX_FMT_YUV420P, size.width(), size.height());
    std::mt19937 random(11);
    picture.fillAtRandom(random);
    const SwsContextPtr scaler = newScaler(picture.frame());
    const auto converter = converterFor(scaler.get(), picture.frame());
    QVERIFY(converter);
    QVERIFY(converted(*converter, picture.frame(), offset) ==
            scaled(scaler.get(), picture.frame()));
}

void TestYuvToBgra::colours_areThoseOfTheScaler()
{
    Picture picture(AV_PIX_FMT_YUV420P, 64, 8);
    std::mt19937 random(7);
    picture.fillAtRandom(random);
    std::vector<std::vector<std::uint8_t>> results;
    for (const int matrix : {SWS_CS_ITU601, SWS_CS_ITU709}) {
        for (const int full : {0, 1}) {
            const SwsContextPtr scaler = newScaler(picture.frame());
            const int *factors = sws_getCoefficients(matrix);
            QVERIFY(sws_setColorspaceDetails(scaler.get(), factors, full, factors, 1, 0, 1 << 16,
                                             1 << 16) >= 0);
            const auto converter = converterFor(scaler.get(), picture.frame());
            QVERIFY(converter);
            const auto result = converted(*converter, picture.frame());
            QVERIFY(result == scaled(scaler.get(), picture.frame()));
            for (const auto &other : results)
                QVERIFY(result != other);
            results.push_back(result);
        }
    }
}

void TestYuvToBgra::colours_areThoseOfTheStandard_data()
{
    QTest::addColumn<int>("format");
    QTest::newRow("limited") << int(AV_PIX_FMT_YUV420P);
    QTest::newRow("full") << int(AV_PIX_FMT_YUVJ420P);
}

// ITU-R BT.601: red and blue hold 0.299 and 0.114 of luma.
void TestYuvToBgra::colours_areThoseOfTheStandard()
{
    QFETCH(int, format);
    constexpr double kRed = 0.299;
    constexpr double kBlue = 0.114;
    constexpr double kGreen = 1 - kRed - kBlue;
    constexpr int kTolerance = 3; // three products, each rounded down
    const bool full = format == AV_PIX_FMT_YUVJ420P;
    const double lumaStep = full ? 1 : 255.0 / 219;
    const double chromaStep = full ? 1 : 255.0 / 224;

    Picture picture(AVPixelFormat(format), 256, 2); // every luma sample
    const SwsContextPtr scaler = newScaler(picture.frame());
    const auto converter = converterFor(scaler.get(), picture.frame());
    QVERIFY(converter);
    for (int column = 0; column < 256; ++column)
        picture.at(0, column, 0) = picture.at(0, column, 1) = std::uint8_t(column);
    for (int u = 0; u < 256; u += 15) {
        for (int v = 0; v < 256; v += 15) {
            for (int column = 0; column < 128; ++column) {
                picture.at(1, column, 0) = std::uint8_t(u);
                picture.at(2, column, 0) = std::uint8_t(v);
            }
            const auto bytes = converted(*converter, picture.frame());
            for (int y = 0; y < 256; ++y) {
                const double luma = (y - (full ? 0 : 16)) * lumaStep;
                const double blueLess = (u - 128) * chromaStep * 2 * (1 - kBlue);
                const double redLess = (v - 128) * chromaStep * 2 * (1 - kRed);
                const double exact[4] = {luma + blueLess,
                                         luma - (kBlue * blueLess + kRed * redLess) / kGreen,
                                         luma + redLess, 255};
                for (std::size_t channel = 0; channel < 4; ++channel) {
                    const double expected = qBound(0.0, exact[channel], 255.0);
                    const int got = bytes[std::size_t(y) * 4 + channel];
                    if (std::abs(got - expected) <= kTolerance)
                        continue; // without a text, which takes a hundred times as long
                    QFAIL(qPrintable(QStringLiteral("%1 %2 %3: %4 instead of %5")
                                         .arg(y)
                                         .arg(u)
                                         .arg(v)
                                         .arg(got)
                                         .arg(expected)));
                }
            }
        }
    }
}

void TestYuvToBgra::lines_areLeftAloneBesideThePicture_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("small") << QSize(45, 6);
    QTest::newRow("large") << QSize(1299, 432);
}

void TestYuvToBgra::lines_areLeftAloneBesideThePicture()
{
    QFETCH(QSize, size);
    const int pictureBytes = 4 * size.width();
    const int lineBytes = pictureBytes + 20;
    Picture picture(AV_PIX_FMT_YUV420P, size.width(), size.height());
    std::mt19937 random(3);
    picture.fillAtRandom(random);
    const SwsContextPtr scaler = newScaler(picture.frame());
    const auto converter = converterFor(scaler.get(), picture.frame());
    QVERIFY(converter);
    const Target bytes(std::size_t(lineBytes) * std::size_t(size.height()), 0);
    converter->convert(picture.frame(), bytes.begin(), lineBytes);
    const auto expected = scaled(scaler.get(), picture.frame());
    for (std::ptrdiff_t row = 0; row < size.height(); ++row) {
        const std::uint8_t *line = bytes.begin() + row * lineBytes;
        QVERIFY(std::equal(line, line + pictureBytes, expected.begin() + row * pictureBytes));
        QVERIFY(std::all_of(line + pictureBytes, line + lineBytes,
                            [](std::uint8_t byte) { return byte == kUntouched; }));
    }
}

void TestYuvToBgra::others_areLeftToTheScaler_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("brightness");
    QTest::newRow("odd height") << int(AV_PIX_FMT_YUV420P) << QSize(64, 5) << 0;
    QTest::newRow("narrow") << int(AV_PIX_FMT_YUV420P) << QSize(31, 4) << 0;
    QTest::newRow("wider chroma") << int(AV_PIX_FMT_YUV422P) << QSize(64, 4) << 0;
    QTest::newRow("two planes") << int(AV_PIX_FMT_NV12) << QSize(64, 4) << 0;
    QTest::newRow("10 bits") << int(AV_PIX_FMT_YUV420P10LE) << QSize(64, 4) << 0;
    QTest::newRow("brighter") << int(AV_PIX_FMT_YUV420P) << QSize(64, 4) << 1000;
}

void TestYuvToBgra::others_areLeftToTheScaler()
{
    QFETCH(int, format);
    QFETCH(QSize, size);
    QFETCH(int, brightness);
    const AVFramePtr form(av_frame_alloc());
    form->format = format;
    form->width = size.width();
    form->height = size.height();
    const SwsContextPtr scaler = newScaler(form.get());
    QVERIFY(scaler);
    if (brightness != 0) {
        const int *factors = sws_getCoefficients(SWS_CS_DEFAULT);
        QVERIFY(sws_setColorspaceDetails(scaler.get(), factors, 0, factors, 1, brightness, 1 << 16,
                                         1 << 16) >= 0);
    }
    QVERIFY(!converterFor(scaler.get(), form.get()));
}

QTEST_GUILESS_MAIN(TestYuvToBgra)
#include "tst_yuvtobgra.moc"
