// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Making and releasing audio handles, and their registries.

#include "audiohandles.h"
#include "codectest.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace vantratest;

class TestFfmpegAudio : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void create_refusesOtherCodecs_inBothDirections_data();
    void create_refusesOtherCodecs_inBothDirections();
    void create_returnsNull_withoutParameters();
    void createDecoder_fillsItsRecord_data() { lawRows(); }
    void createDecoder_fillsItsRecord();
    void createEncoder_fillsItsRecord_data() { lawRows(); }
    void createEncoder_fillsItsRecord();
    void create_tellsFailedOpen();
    void create_tellsFailedResampler();
    void create_toldOrWorking_forAnyNumberOfChannels();
    void createEncoder_tellsFailedBuffer();

    void calls_returnMinusOne_withoutHandleOrOutput();
    void destroy_returnsZero_andLogs();
    void registries_areNull_afterLastHandle_andStartAnew();
    void registries_keepFirst_ofTwoWithOneContext();
    void manyHandles_liveAtOnce_onManyThreads();
};

void TestFfmpegAudio::create_refusesOtherCodecs_inBothDirections_data()
{
    QTest::addColumn<int>("codec");
    for (const int codec : {kPcm, 0, 1, 32, 36, -1})
        QTest::newRow(qPrintable(QString::number(codec))) << codec;
}

void TestFfmpegAudio::create_refusesOtherCodecs_inBothDirections()
{
    QFETCH(int, codec);
    const QString line = QStringLiteral("(ffpg)codec %1 is not supported").arg(codec);
    log->expect(Logger::Error, line);
    QVERIFY(!makeDecoder(codec));
    QCOMPARE(log->count(Logger::Error, line), 1);
    QVERIFY(!makeEncoder(codec));
    QCOMPARE(log->count(Logger::Error, line), 2);
    QCOMPARE(log->lines().size(), 2);
    QCOMPARE(log->lines()[0].category, QStringLiteral("vantra"));
    QVERIFY(log->lines()[0].file.endsWith(QLatin1String("core_codec/ffmpegaudio.cpp")));
}

void TestFfmpegAudio::create_returnsNull_withoutParameters()
{
    QVERIFY(!ffmpeg_create_audio_decoder(nullptr));
    QVERIFY(!ffmpeg_create_audio_encoder(nullptr));
}

void TestFfmpegAudio::createDecoder_fillsItsRecord()
{
    QFETCH(int, codec);
    QFETCH(QString, name);
    const AudioDecoderHandle handle = makeDecoder(codec, 16000, 2);
    QVERIFY(handle);
    QCOMPARE(handle->codec, codec);
    QCOMPARE(handle->channels, 2);
    QCOMPARE(handle->sampleFormat, int(AV_SAMPLE_FMT_S16));
    QCOMPARE(handle->sampleRate, 16000);
    QCOMPARE(handle->bytesPerSample, 2);
    QCOMPARE(handle->ctx->sample_rate, 16000);
    QVERIFY(handle->swr && handle->frame);
    QVERIFY(!handle->buffer);
    QCOMPARE(audio_decoders, handle.record());
    QCOMPARE(log->count(Logger::Debug,
                        QString::asprintf("(ffpg)create audio decoder %p (%s, 16000, 16, 2)",
                                          handle.get(), qPrintable(name))),
             1);
}

void TestFfmpegAudio::createEncoder_fillsItsRecord()
{
    QFETCH(int, codec);
    QFETCH(QString, name);
    const AudioEncoderHandle handle = makeEncoder(codec);
    QVERIFY(handle);
    QCOMPARE(handle->codec, codec);
    QCOMPARE(handle->channels, 1);
    QCOMPARE(handle->sampleFormat, int(AV_SAMPLE_FMT_S16));
    QCOMPARE(handle->sampleRate, 8000);
    QCOMPARE(handle->bytesPerSample, 2);
    QCOMPARE(handle->frame->format, int(AV_SAMPLE_FMT_S16));
    QCOMPARE(handle->frame->nb_samples, 320);
    QVERIFY(!handle->swr); // the largest part by far, and nothing encodes through it
    QVERIFY(!handle->buffer);
    QCOMPARE(audio_encoders, handle.record());
    QCOMPARE(log->count(Logger::Debug,
                        QString::asprintf("(ffpg)create audio encoder %p (%s, 8000, 16, 1)",
                                          handle.get(), qPrintable(name))),
             1);
}

void TestFfmpegAudio::create_tellsFailedOpen()
{
    const QString line =
        QStringLiteral("(ffpg)avcodec_open2 failed with ffffffea (Invalid argument)");
    log->expect(Logger::Error, line);
    for (const int channels : {0, -1, INT_MIN, INT_MAX})
        QVERIFY(!makeDecoder(kALaw, 8000, channels));
    QVERIFY(!makeDecoder(kALaw, -8000, 1));
    QCOMPARE(log->count(Logger::Error, line), 5);
    for (const int channels : {-1, INT_MIN, INT_MAX})
        QVERIFY(!makeEncoder(kALaw, 8000, channels));
    QVERIFY(!makeEncoder(kALaw, 0, 1));
    QVERIFY(!makeEncoder(kALaw, -8000, 1));
    QCOMPARE(log->count(Logger::Error, line), 10);
}

void TestFfmpegAudio::create_tellsFailedResampler()
{
    const QString line = QStringLiteral("(ffpg)swr_init failed with ffffffea (Invalid argument)");
    log->expect(Logger::Error, line);
    QVERIFY(!makeDecoder(kALaw, 0, 1)); // the codecs themselves do not mind
    QCOMPARE(log->count(Logger::Error, line), 1);
}

void TestFfmpegAudio::create_toldOrWorking_forAnyNumberOfChannels()
{
    const QRegularExpression failed(QStringLiteral(
        "^\\(ffpg\\)(avcodec_open2|swr_alloc_set_opts|swr_init|av_frame_get_buffer) failed"));
    log->expectMatching(Logger::Error, failed);
    for (int channels = 0; channels < 80; ++channels) {
        log->clear();
        const AudioDecoderHandle decoder = makeDecoder(kALaw, 8000, channels);
        QCOMPARE(log->countMatching(Logger::Error, failed), decoder ? 0 : 1);
        const AudioEncoderHandle encoder = makeEncoder(kALaw, 8000, channels);
        QCOMPARE(log->countMatching(Logger::Error, failed), (decoder ? 0 : 1) + (encoder ? 0 : 1));
        QVERIFY(channels != 0 || (!decoder && !encoder));
        if (!decoder || !encoder)
            continue;
        _tag_audio_frame_s out;
        QCOMPARE(encode(encoder, QByteArray(640 * channels, '\1'), &out), 0);
        QCOMPARE(out.size, unsigned(320 * channels));
        QCOMPARE(decode(decoder, content(out), &out), 0);
        QCOMPARE(out.size, unsigned(640 * channels));
    }
}

void TestFfmpegAudio::createEncoder_tellsFailedBuffer()
{
    // Below 25 Hz a frame has no sample.
    const QString line =
        QStringLiteral("(ffpg)av_frame_get_buffer failed with ffffffea (Invalid argument)");
    log->expect(Logger::Error, line);
    QVERIFY(!makeEncoder(kMuLaw, 24, 1));
    QCOMPARE(log->count(Logger::Error, line), 1);
}

void TestFfmpegAudio::calls_returnMinusOne_withoutHandleOrOutput()
{
    unsigned char bytes[640] = {};
    _tag_audio_frame_s out;
    memset(&out, 0xaa, sizeof(out));
    QCOMPARE(ffmpeg_decoder_audio_frame(nullptr, bytes, 160, 0, &out), -1);
    QVERIFY(!out.data && out.size == 0);
    memset(&out, 0xaa, sizeof(out));
    QCOMPARE(ffmpeg_encoder_audio_frame(nullptr, bytes, 640, 0, &out), -1);
    QVERIFY(!out.data && out.size == 0);
    const AudioDecoderHandle decoder = makeDecoder(kALaw);
    const AudioEncoderHandle encoder = makeEncoder(kALaw);
    QCOMPARE(ffmpeg_decoder_audio_frame(decoder.get(), bytes, 160, 0, nullptr), -1);
    QCOMPARE(ffmpeg_encoder_audio_frame(encoder.get(), bytes, 640, 0, nullptr), -1);
}

void TestFfmpegAudio::destroy_returnsZero_andLogs()
{
    QCOMPARE(ffmpeg_destroy_audio_decoder(nullptr), 0);
    QCOMPARE(ffmpeg_destroy_audio_encoder(nullptr), 0);
    QVERIFY(log->lines().isEmpty());
    const _tag_adec_param_s decoderParam = {kALaw, 8000, 16, 1};
    const _tag_aenc_param_s encoderParam = {kALaw, 8000, 16, 1};
    void *decoder = ffmpeg_create_audio_decoder(&decoderParam);
    void *encoder = ffmpeg_create_audio_encoder(&encoderParam);
    QCOMPARE(ffmpeg_destroy_audio_decoder(decoder), 0);
    QCOMPARE(ffmpeg_destroy_audio_encoder(encoder), 0);
    QCOMPARE(
        log->count(Logger::Debug, QString::asprintf("(ffpg)destroy audio decoder %p", decoder)), 1);
    QCOMPARE(
        log->count(Logger::Debug, QString::asprintf("(ffpg)destroy audio encoder %p", encoder)), 1);
}

void TestFfmpegAudio::registries_areNull_afterLastHandle_andStartAnew()
{
    for (int round = 0; round < 2; ++round) {
        AudioDecoderHandle firstDecoder = makeDecoder(kALaw);
        AudioDecoderHandle secondDecoder = makeDecoder(kMuLaw);
        AudioEncoderHandle encoder = makeEncoder(kALaw);
        QCOMPARE(HASH_COUNT(audio_decoders), 2u);
        QCOMPARE(HASH_COUNT(audio_encoders), 1u);
        QCOMPARE(audio_encoders, encoder.record());
        firstDecoder.destroy();
        QCOMPARE(audio_decoders, secondDecoder.record());
        secondDecoder.destroy();
        QVERIFY(!audio_decoders);
        QVERIFY(audio_encoders);
        encoder.destroy();
        QVERIFY(!audio_encoders);
    }
}

void TestFfmpegAudio::registries_keepFirst_ofTwoWithOneContext()
{
    const AudioDecoderHandle decoder = makeDecoder(kALaw);
    const AudioEncoderHandle encoder = makeEncoder(kALaw);
    adec_handle_s decoderTwin = {};
    decoderTwin.ctx = decoder->ctx;
    aenc_handle_s encoderTwin = {};
    encoderTwin.ctx = encoder->ctx;
    // Both are told as decoders, at a level above that of video.
    const QString decoderLine =
        QString::asprintf("(ffpg)audio decoder %p was existed", static_cast<void *>(&decoderTwin));
    const QString encoderLine =
        QString::asprintf("(ffpg)audio decoder %p was existed", static_cast<void *>(&encoderTwin));
    log->expect(Logger::Error, decoderLine);
    log->expect(Logger::Error, encoderLine);
    QCOMPARE(add_audio_decoder(&decoderTwin), -1);
    QCOMPARE(add_audio_encoder(&encoderTwin), -1);
    QCOMPARE(log->count(Logger::Error, decoderLine), 1);
    QCOMPARE(log->count(Logger::Error, encoderLine), 1);
    remove_audio_decoder(&decoderTwin);
    remove_audio_encoder(&encoderTwin);
    QCOMPARE(audio_decoders, decoder.record());
    QCOMPARE(audio_encoders, encoder.record());
}

void TestFfmpegAudio::manyHandles_liveAtOnce_onManyThreads()
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t, &wrong] {
            for (int round = 0; round < 20; ++round) {
                const int codec = kALaw + t % 2;
                const AudioDecoderHandle decoder = makeDecoder(codec);
                const AudioEncoderHandle encoder = makeEncoder(codec);
                const QByteArray silence(640, '\0');
                _tag_audio_frame_s encoded, decoded;
                if (encode(encoder, silence, &encoded) != 0 ||
                    decode(decoder, content(encoded), &decoded) != 0 ||
                    content(decoded) != expanded(codec, content(encoded)))
                    ++wrong;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(TestFfmpegAudio)
#include "tst_ffmpegaudio.moc"
