// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Pictures that are turned.

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "support/pixels.h"

extern "C" {
#include <libavutil/log.h>
}

#include <QtTest>

#include <memory>

using namespace vantratest;

namespace {

/// A planar 4:2:0 picture without padding in memory of the test's own, so that any byte too far is
/// seen by a sanitizer. Samples are numbered.
struct Picture
{
    Picture(int width, int height)
    {
        frame->width = width;
        frame->height = height;
        frame->format = AV_PIX_FMT_YUV420P;
        const int sizes[] = {width * height, (width / 2) * (height / 2),
                             (width / 2) * (height / 2)};
        const int lines[] = {width, width / 2, width / 2};
        for (int i = 0; i < 3; ++i) {
            planes[i].reset(new quint8[static_cast<size_t>(sizes[i])]);
            for (int at = 0; at < sizes[i]; ++at)
                planes[i][at] = static_cast<quint8>(100 * i + at);
            bytes[i] = sizes[i];
            frame->data[i] = planes[i].get();
            frame->linesize[i] = lines[i];
        }
    }
    QByteArray plane(int i) const
    {
        return QByteArray(reinterpret_cast<const char *>(planes[i].get()), bytes[i]);
    }

    AVFramePtr frame{av_frame_alloc()};
    std::unique_ptr<quint8[]> planes[3];
    int bytes[3] = {};
};

QByteArray numbers(std::initializer_list<int> values)
{
    QByteArray bytes;
    for (int value : values)
        bytes.append(static_cast<char>(value));
    return bytes;
}

} // namespace

class TestFFmpegHelperRotate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }

    void rotateFrame_data();
    void rotateFrame();
    void rotateFrame_copiesWhatBelongsToThePicture();
    void rotateFrame_ofOddSizesAndNothing_isSafe();
    void rotateFrame_intoTooSmallABuffer_copiesNothing();
};

// --- Turning ------------------------------------------------------------------------------------

void TestFFmpegHelperRotate::rotateFrame_data()
{
    QTest::addColumn<int>("angle");
    QTest::addColumn<QByteArray>("luma");
    QTest::addColumn<QByteArray>("blue");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QSize>("lines"); // of luma and chroma
    // The picture, 4 wide and 2 high: luma 0 1 2 3 / 4 5 6 7, each chroma plane two samples in a
    // row.
    QTest::newRow("90") << 90 << numbers({4, 0, 5, 1, 6, 2, 7, 3}) << numbers({100, 101})
                        << QSize(2, 4) << QSize(2, 1);
    QTest::newRow("270") << 270 << numbers({3, 7, 2, 6, 1, 5, 0, 4}) << numbers({101, 100})
                         << QSize(2, 4) << QSize(2, 1);
    QTest::newRow("180 is a flip") << 180 << numbers({4, 5, 6, 7, 0, 1, 2, 3})
                                   << numbers({100, 101}) << QSize(4, 2) << QSize(4, 2);
    QTest::newRow("0 copies nothing")
        << 0 << QByteArray(8, 9) << QByteArray(2, 9) << QSize(4, 2) << QSize(4, 2);
    QTest::newRow("45 copies nothing")
        << 45 << QByteArray(8, 9) << QByteArray(2, 9) << QSize(4, 2) << QSize(4, 2);
}

void TestFFmpegHelperRotate::rotateFrame()
{
    QFETCH(int, angle);
    QFETCH(QSize, size);
    QFETCH(QSize, lines);
    const Picture source(4, 2);
    const Picture target(4, 2);
    for (int i = 0; i < 3; ++i)
        memset(target.planes[i].get(), 9, static_cast<size_t>(target.bytes[i]));
    FFmpegHelper::rotateFrame(angle, source.frame.get(), target.frame.get());
    QTEST(target.plane(0), "luma");
    QTEST(target.plane(1), "blue");
    QCOMPARE(QSize(target.frame->width, target.frame->height), size);
    QCOMPARE(target.frame->linesize[0], lines.width());
    QCOMPARE(target.frame->linesize[1], lines.height());
    QCOMPARE(target.frame->linesize[2], lines.height());
}

void TestFFmpegHelperRotate::rotateFrame_copiesWhatBelongsToThePicture()
{
    const Picture source(4, 2);
    const Picture target(4, 2);
    for (const bool key : {true, false}) {
        source.frame->pts = 11;
        source.frame->pkt_dts = 12;
        source.frame->format = AV_PIX_FMT_YUVJ420P;
        ffcompat::setKeyFrame(source.frame.get(), key);
        FFmpegHelper::rotateFrame(90, source.frame.get(), target.frame.get());
        QCOMPARE(target.frame->pts, 11);
        QCOMPARE(target.frame->pkt_dts, 12);
        QCOMPARE(target.frame->format, static_cast<int>(AV_PIX_FMT_YUVJ420P));
        QCOMPARE(ffcompat::isKeyFrame(target.frame.get()), key);
    }
}

void TestFFmpegHelperRotate::rotateFrame_ofOddSizesAndNothing_isSafe()
{
    for (const int angle : {0, 90, 180, 270}) {
        for (const QSize size : {QSize(5, 3), QSize(1, 1), QSize(2, 7), QSize(0, 0)}) {
            const Picture source(size.width(), size.height());
            const Picture target(size.width(), size.height());
            FFmpegHelper::rotateFrame(angle, source.frame.get(), target.frame.get());
            if (angle == 180 && size.width() == 5) {
                QCOMPARE(target.plane(0),
                         numbers({10, 11, 12, 13, 14, 5, 6, 7, 8, 9, 0, 1, 2, 3, 4}));
                QCOMPARE(target.plane(1), numbers({100, 101}));
            }
        }
        const Picture picture(4, 2);
        const AVFramePtr empty(av_frame_alloc());
        FFmpegHelper::rotateFrame(angle, nullptr, picture.frame.get());
        FFmpegHelper::rotateFrame(angle, picture.frame.get(), nullptr);
        FFmpegHelper::rotateFrame(angle, picture.frame.get(), empty.get());
        const AVFramePtr hollow(av_frame_alloc());
        hollow->width = 4;
        hollow->height = 2;
        FFmpegHelper::rotateFrame(angle, hollow.get(), picture.frame.get());
    }
}

void TestFFmpegHelperRotate::rotateFrame_intoTooSmallABuffer_copiesNothing()
{
    const Picture source(64, 64);
    const AVFramePtr small(av_frame_alloc());
    small->format = AV_PIX_FMT_YUV420P;
    small->width = small->height = 16;
    QVERIFY(av_frame_get_buffer(small.get(), 1) >= 0);
    for (AVBufferRef *buffer : small->buf)
        if (buffer)
            memset(buffer->data, 9, static_cast<size_t>(buffer->size));
    FFmpegHelper::rotateFrame(90, source.frame.get(), small.get());
    QCOMPARE(small->data[0][0], quint8(9));
}

QTEST_GUILESS_MAIN(TestFFmpegHelperRotate)
#include "tst_ffmpeghelperrotate.moc"
