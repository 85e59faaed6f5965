// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Pictures of the URL thread on a pretended video card.

#include "ffmpegfaults.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include "core_ffmpeg/ffmpeghelper.h"

#include <QTemporaryDir>
#include <QtTest>

extern "C" {
#include <libavcodec/avcodec.h>
}

using namespace vantratest;

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;

/// A position in memory that is only compared, never read.
quint8 *marker(quintptr value)
{
    return reinterpret_cast<quint8 *>(value);
}

/// What a hardware decoder answers: `count` pictures that lie on the card.
std::deque<Faults::Received> picturesOnCard(int count)
{
    Faults::Received received;
    received.width = kWidth;
    received.height = kHeight;
    received.data[0] = marker(0x1000);
    received.data[1] = marker((quintptr(3) << 32) + 5);
    received.data[2] = marker(0x3000);
    received.data[3] = marker(0x4000);
    return std::deque<Faults::Received>(static_cast<size_t>(count), received);
}

} // namespace

class TestFFmpegVideoThreadCard : public ThreadTestCase
{
    Q_OBJECT

protected:
    void reset() override
    {
        Faults::reset();
        FFmpegHelper::hwPixFmt = -1;
    }

private slots:
    void card_picturesAreLent_inTheFormOfTheMode_data();
    void card_picturesAreLent_inTheFormOfTheMode();
    void card_snapshotHasTheSizeThatCameDown();
    void card_snapshotIsPending_untilItIsWritten();
    void card_snapshotFails_quietly_data();
    void card_snapshotFails_quietly();
    void card_eachThreadKeepsItsHardware();
};

void TestFFmpegVideoThreadCard::card_picturesAreLent_inTheFormOfTheMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("surfaces");
    QTest::addColumn<int>("textures");
    QTest::newRow("window") << 0 << 0 << 0;
    QTest::newRow("painter") << 1 << 0 << 0;
    QTest::newRow("OpenGL") << 2 << 0 << 0;
    QTest::newRow("Direct3D 9") << 3 << 20 << 0;
    QTest::newRow("Direct3D 11") << 4 << 0 << 20;
}

void TestFFmpegVideoThreadCard::card_picturesAreLent_inTheFormOfTheMode()
{
    QFETCH(int, mode);
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("vaapi"));
    thread.setVideoMode(static_cast<VideoMode>(mode));
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    bool asLent = true;
    using T = AbstractVideoThread;
    connect(
        &thread, QOverload<int, int, quint8 *, bool>::of(&T::receiveFrame), &watcher,
        [&](int w, int h, quint8 *surface, bool changed) {
            asLent &= w == kWidth && h == kHeight && surface == marker(0x4000) && !changed;
            asLent &= QThread::currentThread() == watcher.thread();
        },
        Qt::BlockingQueuedConnection);
    connect(
        &thread, QOverload<int, int, quint8 *, qint32, bool>::of(&T::receiveFrame), &watcher,
        [&](int w, int h, quint8 *texture, qint32 index, bool changed) {
            asLent &= w == kWidth && h == kHeight && texture == marker(0x1000) && index == 5;
            asLent &= !changed && QThread::currentThread() == watcher.thread();
        },
        Qt::BlockingQueuedConnection);
    bool hasDevice = false;
    Faults::watcher = [&](Faults::Step step, AVCodecContext *ctx) {
        if (step == Faults::Step::Open)
            hasDevice = ctx->hw_device_ctx && ctx->get_format;
    };
    Faults::hasCard = true;
    Faults::results = picturesOnCard(20);
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    end(&thread);
    QVERIFY(Faults::results.empty());
    QVERIFY(hasDevice);
    QCOMPARE(FFmpegHelper::hwPixFmt.load(), static_cast<int>(AV_PIX_FMT_VAAPI));
    QVERIFY(asLent);
    QTEST(watcher.surfaces, "surfaces");
    QTEST(watcher.textures, "textures");
    QCOMPARE(watcher.pictures.size() + watcher.images.size() + watcher.twoPlanes, 0);
}

void TestFFmpegVideoThreadCard::card_snapshotHasTheSizeThatCameDown()
{
    for (const auto mode : {VideoMode_D3D9, VideoMode_D3D11}) {
        Faults::reset();
        QTemporaryDir dir;
        TcpSource source(clip(50));
        TestThread thread(source.url());
        thread.setHardware(QStringLiteral("vaapi"));
        thread.setVideoMode(mode);
        thread.setSnapPreview(true);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        watcher.atEvent = [&](const QString &event) {
            if (event == QLatin1String("playStart:0"))
                thread.snap(dir.filePath(QStringLiteral("a.png")));
        };
        Faults::hasCard = true;
        Faults::results = picturesOnCard(3);
        Faults::transferWidth = 160;
        Faults::transferHeight = 120;
        thread.play();
        const QString name = dir.filePath(QStringLiteral("a.jpg"));
        QVERIFY(waitFor([&] { return !watcher.snaps.isEmpty() && thread.packets == 50; }));
        QVERIFY(!thread.getIsSnap());
        end(&thread);
        QCOMPARE(watcher.snaps.size(), 1); // the flag is taken back at once
        QVERIFY(watcher.events.contains(QStringLiteral("snap:%1").arg(name)));
        const QImage image(name);
        QCOMPARE(image.size(), QSize(160, 120));
        const QColor colour = image.pixelColor(80, 60);
        QVERIFY2(colour.red() > 240 && colour.green() < 16 && colour.blue() < 16,
                 qPrintable(colour.name()));
        QCOMPARE(watcher.surfaces + watcher.textures, 3);
    }
}

void TestFFmpegVideoThreadCard::card_snapshotIsPending_untilItIsWritten()
{
    // Not until it is finished, as one of a picture in memory: bringing one down costs more.
    QTemporaryDir dir;
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("vaapi"));
    thread.setVideoMode(VideoMode_D3D11);
    thread.previewRef() = 1;
    thread.finishesSnaps = false;
    announceNoAudio();
    const QString name = dir.filePath(QStringLiteral("a.jpg"));
    thread.atCodecAsk = [&](TestThread *asking) {
        if (asking->packets == 0)
            asking->snap(name);
    };
    Faults::hasCard = true;
    Faults::results = picturesOnCard(3);
    Faults::transferWidth = 160;
    Faults::transferHeight = 120;
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    QVERIFY(!thread.getIsSnap());
    QVERIFY(QFileInfo::exists(name));
    end(&thread);
}

void TestFFmpegVideoThreadCard::card_snapshotFails_quietly_data()
{
    QTest::addColumn<QByteArray>("failing");
    for (const char *name :
         {"av_hwframe_transfer_data", "sws_getContext", "sws_scale", "av_mallocz"})
        QTest::newRow(name) << QByteArray(name);
}

void TestFFmpegVideoThreadCard::card_snapshotFails_quietly()
{
    QFETCH(QByteArray, failing);
    QTemporaryDir dir;
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("vaapi"));
    thread.setVideoMode(VideoMode_D3D11);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            thread.snap(dir.filePath(QStringLiteral("a.jpg")));
    };
    Faults::hasCard = true;
    Faults::results = picturesOnCard(3);
    Faults::code = -1;
    Faults::failing = failing.constData();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    QVERIFY(thread.getIsSnap()); // still wanted, of the next picture
    QCOMPARE(watcher.textures, 3);
    QVERIFY(QDir(dir.path()).isEmpty());
    end(&thread);
}

void TestFFmpegVideoThreadCard::card_eachThreadKeepsItsHardware()
{
    Faults::hasCard = true;
    // What a decoder with both kinds of hardware offers.
    const AVPixelFormat offer[] = {AV_PIX_FMT_VDPAU, AV_PIX_FMT_VAAPI, AV_PIX_FMT_YUV420P,
                                   AV_PIX_FMT_NONE};
    QMutex mutex;
    QVector<AVPixelFormat> picked; // by each decoder, after all have been opened
    QVector<AVCodecContext *> decoders;
    Faults::watcher = [&](Faults::Step step, AVCodecContext *ctx) {
        QMutexLocker lock(&mutex);
        if (step == Faults::Step::Open && ctx->hw_device_ctx)
            decoders << ctx;
        if (decoders.size() == 2 && picked.isEmpty()) {
            for (AVCodecContext *decoder : qAsConst(decoders))
                picked << decoder->get_format(decoder, offer);
        }
    };
    TcpSource source(clip(50));
    announceNoAudio();
    TestThread first(source.url());
    first.setHardware(QStringLiteral("vdpau"));
    first.play();
    QVERIFY(waitFor([&] { return first.packets == 50; }));
    TestThread second(source.url());
    second.setHardware(QStringLiteral("vaapi"));
    second.play();
    QVERIFY(waitFor([&] { return second.packets == 50; }));
    QCOMPARE(FFmpegHelper::hwPixFmt.load(), static_cast<int>(AV_PIX_FMT_VAAPI));
    end(&first);
    end(&second);
    QCOMPARE(picked, QVector<AVPixelFormat>({AV_PIX_FMT_VDPAU, AV_PIX_FMT_VAAPI}));
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadCard)
#include "tst_ffmpegvideothreadcard.moc"
