// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The URL thread with FFmpeg calls that fail or are answered by the test: every failure of an
/// open, pictures and sound that change their form, and what is handed to FFmpeg.

#include "ffmpegfaults.h"
#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"

#include <QtTest>

using namespace vantratest;

namespace {

QByteArray soundAlone()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.audio = encodeALaw(makeTone(16000, 8000, 440));
    return makeStream({}, options);
}

void setChannels(AVCodecContext *ctx, AVFrame *frame, int channels)
{
#if VANTRA_HAS_CHANNEL_LAYOUT
    av_channel_layout_uninit(&ctx->ch_layout);
    av_channel_layout_uninit(&frame->ch_layout);
    av_channel_layout_default(&ctx->ch_layout, channels);
    av_channel_layout_default(&frame->ch_layout, channels);
#else
    ctx->channels = frame->channels = channels;
    ctx->channel_layout = frame->channel_layout = av_get_default_channel_layout(channels);
#endif
}

constexpr int kSoundSamples = 160; ///< of one packet of the source, at 8000 Hz

/// Makes of a frame what a decoder gives after its stream has changed to two channels of planar
/// floats at 16000 Hz: silence of the same length.
void becomeOtherSound(AVCodecContext *ctx, AVFrame *frame)
{
    constexpr int samples = 2 * kSoundSamples;
    const qint64 pts = frame->pts;
    av_frame_unref(frame);
    frame->format = ctx->sample_fmt = AV_SAMPLE_FMT_FLTP;
    frame->sample_rate = ctx->sample_rate = 16000;
    frame->nb_samples = samples;
    frame->pts = pts;
    setChannels(ctx, frame, 2);
    if (av_frame_get_buffer(frame, 0) < 0)
        qFatal("no memory for a frame");
    for (int i = 0; i < 2; ++i)
        memset(frame->extended_data[i], 0, sizeof(float) * static_cast<size_t>(samples));
}

} // namespace

class TestFFmpegVideoThreadFaults : public ThreadTestCase
{
    Q_OBJECT

protected:
    void reset() override
    {
        Faults::reset();
        FFmpegHelper::hwPixFmt = -1;
    }

private slots:
    void open_handsTheseToFFmpeg();
    void decodeType_choosesTheScaler_data();
    void decodeType_choosesTheScaler();

    void failedOpen_isTold_andTriedAgain_data();
    void failedOpen_isTold_andTriedAgain();
    void failedConversion_dropsThePicture_data();
    void failedConversion_dropsThePicture();
    void failedSound_isDropped();

    void pictureForm_otherThanPlanes_isHeldBack_data();
    void pictureForm_otherThanPlanes_isHeldBack();
    void soundForm_changesInTheMiddle();
    void soundForm_thatCannotBeConverted_isDropped_untilItCan();
};

void TestFFmpegVideoThreadFaults::open_handsTheseToFFmpeg()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setTransport(QStringLiteral("udp"));
    announceNoAudio();
    int flags = 0;
    int flags2 = 0;
    Faults::watcher = [&](Faults::Step step, AVCodecContext *ctx) {
        if (step != Faults::Step::Open)
            return;
        flags = ctx->flags;
        flags2 = ctx->flags2;
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 0; }));
    end(&thread);

    QStringList options;
    for (const auto &option : Faults::inputOptions)
        options << QString::fromStdString(option.first + "=" + option.second);
    QStringList expected = {QStringLiteral("buffer_size=8192000"),
                            QStringLiteral("rtsp_transport=udp"),
                            QStringLiteral("stimeout=3000000")};
#if VANTRA_HAS_RTSP_TIMEOUT
    expected << QStringLiteral("timeout=3000000");
#endif
    expected << QStringLiteral("max_delay=1000000") << QStringLiteral("threads=auto");
    QCOMPARE(options, expected);
    QCOMPARE(flags & 0x480000, 0x480000); // global header, low delay
    QCOMPARE(flags2 & 1, 1);              // fast
}

void TestFFmpegVideoThreadFaults::decodeType_choosesTheScaler_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("flag");
    QTest::newRow("fast") << 0 << 1;
    QTest::newRow("quality") << 1 << 4;
    QTest::newRow("balanced") << 2 << 2;
    QTest::newRow("any other") << 77 << 1;
}

void TestFFmpegVideoThreadFaults::decodeType_choosesTheScaler()
{
    QFETCH(int, type);
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setDecodeType(static_cast<DecodeType>(type));
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return !watcher.images.isEmpty(); }));
    end(&thread);
    QTEST(Faults::scalerFlags, "flag");
}

// --- Failures -----------------------------------------------------------------------------------

void TestFFmpegVideoThreadFaults::failedOpen_isTold_andTriedAgain_data()
{
    QTest::addColumn<QByteArray>("failing");
    QTest::addColumn<bool>("sound"); // else pictures
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("step");
    const auto row = [](const char *failing, bool sound, const char *error, const char *step) {
        QTest::newRow(qPrintable(QStringLiteral("%1, %2").arg(
            QLatin1String(failing), QLatin1String(sound ? "sound" : "pictures"))))
            << QByteArray(failing) << sound << QString::fromLatin1(error)
            << QString::fromLatin1(step);
    };
    const char *const video = "init video failed";
    row("avcodec_find_decoder", false, "find decoder err(URL)", video);
    row("avcodec_alloc_context3", false, "avcodec allock ctx decoder err(URL)", video);
    row("avcodec_parameters_to_context", false, "copy ctx err(URL)", video);
    row("avcodec_open2", false, "avcodec open err(URL:Cannot allocate memory)", video);
    row("av_hwdevice_ctx_create", false, "create hw ctx err Cannot allocate memory", video);
    const char *const audio = "init audio failed";
    row("avcodec_find_decoder", true, "find audio decoder err 65543", audio);
    row("avcodec_alloc_context3", true, "alloc audio ctx err", audio);
    row("avcodec_parameters_to_context", true, "copy audio ctx err Cannot allocate memory", audio);
    row("avcodec_open2", true, "audio avcodec open err Cannot allocate memory", audio);
    // These have no line of their own.
    row("swr_init", true, "", audio);
    row("av_malloc", true, "", audio);
    row("av_packet_alloc", true, "", "");
    row("av_frame_alloc", true, "", "");
    row("av_frame_alloc", false, "", "");
}

void TestFFmpegVideoThreadFaults::failedOpen_isTold_andTriedAgain()
{
    QFETCH(QByteArray, failing);
    QFETCH(bool, sound);
    QFETCH(QString, error);
    QFETCH(QString, step);
    TcpSource source(sound ? soundAlone() : clip(50));
    error.replace(QStringLiteral("URL"), source.url());
    TestThread thread(source.url());
    const bool hardware = failing == "av_hwdevice_ctx_create";
    if (hardware)
        thread.setHardware(QStringLiteral("vdpau"));
    ThreadWatcher watcher(&thread);
    const QString tag = QStringLiteral("(ffvdthr)");
    log->expect(Logger::Warning, tag + (sound ? QStringLiteral("no video stream in %1")
                                              : QStringLiteral("no audio stream in %1"))
                                           .arg(source.url()));
    if (!error.isEmpty())
        log->expect(Logger::Error, tag + error);
    Faults::code = AVERROR(ENOMEM);
    Faults::failing = failing.constData();
    thread.play();
    QVERIFY(waitFor([&] { return thread.opens >= 3; }));
    QVERIFY(!thread.getIsOk());
    QVERIFY(!thread.isReadTimeout());
    QVERIFY(!watcher.events.contains(QStringLiteral("playStart:0")));
    if (!error.isEmpty())
        QVERIFY(log->count(Logger::Error, tag + error) >= 2);
    if (!step.isEmpty())
        QVERIFY(log->count(Logger::Debug, tag + step) >= 2);
    for (const auto &line : log->lines()) {
        if (line.level == Logger::Error)
            QCOMPARE(line.text, tag + error);
        if (line.level == Logger::Debug)
            QCOMPARE(line.text, tag + step);
    }
    if (hardware) {
        QCOMPARE(FFmpegHelper::hwPixFmt.load(), static_cast<int>(AV_PIX_FMT_VDPAU));
        thread.setHardware(QStringLiteral("none"));
    }

    // When the cause is gone, the next open is a good one.
    Faults::failing = nullptr;
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("playStart:0")); }));
    QVERIFY(waitFor([&] { return thread.packets > 0; }));
    end(&thread);
}

void TestFFmpegVideoThreadFaults::failedConversion_dropsThePicture_data()
{
    QTest::addColumn<QByteArray>("failing");
    for (const char *name : {"sws_getContext", "sws_scale", "av_mallocz"})
        QTest::newRow(name) << QByteArray(name);
}

void TestFFmpegVideoThreadFaults::failedConversion_dropsThePicture()
{
    QFETCH(QByteArray, failing);
    QVector<int> offsets;
    ClipOptions made; // of a layout that every processor leaves to the scaler
    made.count = 100;
    made.format = AV_PIX_FMT_YUV422P;
    TcpSource source(makeStream(makeClip(made), {}, &offsets));
    source.setLimit(offsets.at(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    Faults::code = -1;
    Faults::failing = failing.constData();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 49; }));
    QCoreApplication::processEvents();
    QVERIFY(watcher.images.isEmpty());
    QVERIFY(thread.getIsOk());
    Faults::failing = nullptr;
    source.release();
    QVERIFY(waitFor([&] { return watcher.images.size() >= 49; }));
    end(&thread);
}

void TestFFmpegVideoThreadFaults::failedSound_isDropped()
{
    TcpSource source(clipWithSound());
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    Faults::code = -1;
    Faults::failing = "swr_convert";
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 50; }));
    QVERIFY(watcher.sound.isEmpty());
    end(&thread);
}

// --- Other forms of pictures and sound ----------------------------------------------------------

void TestFFmpegVideoThreadFaults::pictureForm_otherThanPlanes_isHeldBack_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<bool>("lent");
    QTest::newRow("8 bits") << int(AV_PIX_FMT_YUV420P) << true;
    QTest::newRow("8 bits, full range") << int(AV_PIX_FMT_YUVJ420P) << true;
    QTest::newRow("10 bits") << int(AV_PIX_FMT_YUV420P10LE) << false;
    QTest::newRow("12 bits") << int(AV_PIX_FMT_YUV420P12LE) << false;
    QTest::newRow("gray") << int(AV_PIX_FMT_GRAY8) << false;
    QTest::newRow("two planes") << int(AV_PIX_FMT_NV12) << false;
    QTest::newRow("packed") << int(AV_PIX_FMT_YUYV422) << false;
    QTest::newRow("RGB") << int(AV_PIX_FMT_BGRA) << false;
}

void TestFFmpegVideoThreadFaults::pictureForm_otherThanPlanes_isHeldBack()
{
    QFETCH(int, format);
    QFETCH(bool, lent);
    for (const auto mode : {VideoMode_Opengl, VideoMode_Painter}) {
        TcpSource source(clip(50));
        TestThread thread(source.url());
        thread.setVideoMode(mode);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        Faults::atFrame = [format](AVCodecContext *, AVFrame *frame) {
            const QSize size(frame->width, frame->height);
            av_frame_unref(frame);
            frame->format = format;
            frame->width = size.width();
            frame->height = size.height();
            if (av_frame_get_buffer(frame, 1) < 0)
                qFatal("no memory for a frame");
            for (const AVBufferRef *buffer : frame->buf) {
                if (buffer)
                    memset(buffer->data, 0, static_cast<size_t>(buffer->size));
            }
        };
        thread.play();
        QVERIFY(waitFor([&] { return thread.packets == 50; }));
        end(&thread);
        // Where planes cannot be lent, the picture can still be painted.
        QCOMPARE(watcher.pictures.size(), mode == VideoMode_Opengl && lent ? 50 : 0);
        QCOMPARE(watcher.images.size(), mode == VideoMode_Painter ? 50 : 0);
    }
}

void TestFFmpegVideoThreadFaults::soundForm_changesInTheMiddle()
{
    // The tone is followed by silence, at twice the rate and in another form.
    TcpSource source(clipWithSound());
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    int frames = 0;
    Faults::atFrame = [&frames](AVCodecContext *ctx, AVFrame *frame) {
        if (ctx->codec_type == AVMEDIA_TYPE_AUDIO && ++frames > 50)
            becomeOtherSound(ctx, frame);
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 149; }));
    end(&thread);
    // Handed over at the rate that was announced, but for what the resampler still holds.
    QCOMPARE(watcher.count(QStringLiteral("audioFormat:8000:2:16")), 1);
    constexpr int kBytesPerFrame = kSoundSamples * 4;
    const int whole = frames * kBytesPerFrame;
    QVERIFY2(watcher.sound.size() <= whole && watcher.sound.size() > whole - 2 * kBytesPerFrame,
             qPrintable(QStringLiteral("%1 of %2").arg(watcher.sound.size()).arg(whole)));
    const auto loudest = [&](int from, int to) {
        const auto *samples = reinterpret_cast<const qint16 *>(watcher.sound.constData());
        int most = 0;
        for (int i = from * 2 * kSoundSamples; i < to * 2 * kSoundSamples; ++i)
            most = qMax(most, qAbs(static_cast<int>(samples[i])));
        return most;
    };
    QVERIFY(loudest(40, 50) > 6000);
    QCOMPARE(loudest(51, frames - 2), 0);
}

void TestFFmpegVideoThreadFaults::soundForm_thatCannotBeConverted_isDropped_untilItCan()
{
    QVector<int> offsets;
    TcpSource source(clipWithSound(100, &offsets));
    source.setLimit(offsets.at(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    watcher.atEvent = [](const QString &event) {
        if (event != QLatin1String("playStart:0"))
            return;
        // From here on every sound has another form, for which there is no resampler.
        Faults::code = -1;
        Faults::failing = "swr_init";
        Faults::atFrame = [](AVCodecContext *ctx, AVFrame *frame) {
            if (ctx->codec_type == AVMEDIA_TYPE_AUDIO)
                becomeOtherSound(ctx, frame);
        };
    };
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() >= 49; }));
    QVERIFY(watcher.sound.isEmpty());
    Faults::failing = nullptr;
    source.release();
    QVERIFY(waitFor([&] { return watcher.sound.size() > 50 * kSoundSamples * 4; }));
    end(&thread);
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadFaults)
#include "tst_ffmpegvideothreadfaults.moc"
