// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Every failure that the codec layer has to tell, made to happen at the border to FFmpeg; and
/// hardware decoding with a pretended card. Leaks are found by the memory checkers.

#include "codectest.h"
#include "core_codec/mediacodec.h"
#include "ffmpegfaults.h"
#include "support/clipmaker.h"

#include <QtTest>

using namespace vantratest;

namespace {

// MediaCodec asks for the result of destroy, which never fails.
bool destroyFails = false;

} // namespace

#define DESTROY_FAULT(mangled)                                                                     \
    extern "C" int __real_##mangled(void *handle);                                                 \
    extern "C" int __wrap_##mangled(void *handle);                                                 \
    extern "C" int __wrap_##mangled(void *handle)                                                  \
    {                                                                                              \
        const int result = __real_##mangled(handle);                                               \
        return destroyFails ? -1 : result;                                                         \
    }
DESTROY_FAULT(_Z28ffmpeg_destroy_video_decoderPv)
DESTROY_FAULT(_Z28ffmpeg_destroy_audio_decoderPv)
DESTROY_FAULT(_Z28ffmpeg_destroy_audio_encoderPv)

class TestCodecFailures : public CodecTest
{
    Q_OBJECT

protected:
    void tearDown() override
    {
        Faults::reset();
        destroyFails = false;
        CodecTest::tearDown();
    }

private slots:
    void initTestCase();

    void create_returnsNull_andTells_data();
    void create_returnsNull_andTells();
    void video_tellsMissingRgbBuffer_andKeepsYuv();
    void audioDecoder_tellsFailedReceive_andStaysUsable();
    void audioDecoder_tellsSizeThatCannotBe();
    void audioDecoder_tellsMissingBuffer();
    void audioEncoder_tellsEachFailure_andStaysUsable_data();
    void audioEncoder_tellsEachFailure_andStaysUsable();
    void mediaCodec_tellsFailedDestroy_andForgetsTheHandle();

    void card_isNegotiated();
    void card_handsOverSurfaces_data();
    void card_handsOverSurfaces();
    void card_isSilent_whileThereIsNoPicture();
    void card_tellsFailedReceive();
    void card_givesRgb_redFirst_data();
    void card_givesRgb_redFirst();
    void card_reusesMemoryOfTransfer_onlyForPicturesOfOneForm();
    void card_tellsFailedTransfer_andKeepsYuv();

private:
    AccessUnit m_unit;
    QByteArray m_pcm;
};

void TestCodecFailures::initTestCase()
{
    quietConsole();
    m_unit = keyPicture();
    QVERIFY(!m_unit.data.isEmpty());
    m_pcm = pcmBytes(makeTone(320, 8000, 440));
}

void TestCodecFailures::create_returnsNull_andTells_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QByteArray>("failing");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("line"); // empty: no line of its own
    const auto row = [](const char *kind, const char *failing, int code, const QString &line) {
        QTest::newRow(
            qPrintable(QLatin1String(kind) + QLatin1String(", ") + QLatin1String(failing)))
            << kind << QByteArray(failing) << code << line;
    };
    const char *video = "video";
    const char *decoder = "decoder";
    const char *encoder = "encoder";
    row(video, "avcodec_find_decoder", 0,
        QStringLiteral("find no decoder with codec %1").arg(AV_CODEC_ID_H264));
    row(decoder, "avcodec_find_decoder", 0,
        QStringLiteral("found no decoder with codec %1").arg(AV_CODEC_ID_PCM_ALAW));
    row(encoder, "avcodec_find_encoder", 0,
        QStringLiteral("found no encoder with codec %1").arg(AV_CODEC_ID_PCM_ALAW));
    for (const char *kind : {video, decoder, encoder}) {
        row(kind, "avcodec_alloc_context3", 0, QStringLiteral("avcodec_alloc_context3 failed"));
        row(kind, "avcodec_open2", AVERROR(ENOMEM),
            QStringLiteral("avcodec_open2 failed with fffffff4 (Cannot allocate memory)"));
        const QString line = kind == video ? QStringLiteral("calloc failed") : QString();
        row(kind, "calloc", 0, line);
        row(kind, "av_frame_alloc", 0, line);
    }
    for (const char *kind : {decoder, encoder}) {
        row(kind, "swr_alloc_set_opts2", 0, QStringLiteral("swr_alloc_set_opts failed"));
        row(kind, "swr_init", AVERROR(EINVAL),
            QStringLiteral("swr_init failed with ffffffea (Invalid argument)"));
    }
    row(encoder, "av_frame_get_buffer", AVERROR(ENOMEM),
        QStringLiteral("av_frame_get_buffer failed with fffffff4 (Cannot allocate memory)"));
}

void TestCodecFailures::create_returnsNull_andTells()
{
    QFETCH(QString, kind);
    QFETCH(QByteArray, failing);
    QFETCH(int, code);
    QFETCH(QString, line);
    if (!line.isEmpty())
        log->expect(Logger::Error, QStringLiteral("(ffpg)") + line);
    if (kind != QLatin1String("video") && LIBSWRESAMPLE_VERSION_INT < AV_VERSION_INT(4, 5, 100) &&
        failing == "swr_alloc_set_opts2")
        failing = "swr_alloc_set_opts";
    const _tag_vdec_param_s video = videoParam(1);
    const _tag_adec_param_s decoder = {33, 8000, 16, 1};
    const _tag_aenc_param_s encoder = {33, 8000, 16, 1};
    for (int round = 0; round < 2; ++round) { // first failing, then not
        Faults::failing = round == 0 ? failing.constData() : nullptr;
        Faults::code = code;
        void *handle = kind == QLatin1String("video")     ? ffmpeg_create_video_decoder(&video)
                       : kind == QLatin1String("decoder") ? ffmpeg_create_audio_decoder(&decoder)
                                                          : ffmpeg_create_audio_encoder(&encoder);
        Faults::failing = nullptr;
        QCOMPARE(handle != nullptr, round == 1);
        QCOMPARE(log->missing(), QStringList());
        if (round == 0)
            continue;
        if (kind == QLatin1String("video"))
            ffmpeg_destroy_video_decoder(handle);
        else if (kind == QLatin1String("decoder"))
            ffmpeg_destroy_audio_decoder(handle);
        else
            ffmpeg_destroy_audio_encoder(handle);
    }
}

void TestCodecFailures::video_tellsMissingRgbBuffer_andKeepsYuv()
{
    log->expect(Logger::Error, QStringLiteral("(ffpg)av_image_alloc failed[-12] 320 * 240"));
    log->expect(Logger::Error, QStringLiteral("(ffpg)av_image_alloc failed[0] 320 * 240"));
    const VideoHandle handle = makeVideo(1);
    _tag_yuv_frame_s yuv;
    _tag_rgb_frame_s rgb;
    for (const int code : {AVERROR(ENOMEM), 0}) { // below 1 is a failure
        Faults::failing = "av_image_alloc";
        Faults::code = code;
        QCOMPARE(decode(handle, m_unit, &yuv, &rgb), -1);
        QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), 0);
        QVERIFY(!rgb.data);
    }
    QCOMPARE(log->missing(), QStringList());
    Faults::failing = nullptr;
    QCOMPARE(decode(handle, m_unit, &yuv, &rgb), 0); // made when it can be
    QVERIFY(rgb.data);
}

void TestCodecFailures::audioDecoder_tellsFailedReceive_andStaysUsable()
{
    const QString line =
        QStringLiteral("(ffpg)avcodec_receive_frame failed with fffffff4 (Cannot allocate memory)");
    log->expect(Logger::Error, line);
    const _tag_adec_param_s param = {33, 8000, 16, 1};
    const AudioDecoderHandle handle(ffmpeg_create_audio_decoder(&param));
    unsigned char codes[160] = {};
    _tag_audio_frame_s out;
    Faults::failing = "avcodec_receive_frame";
    Faults::code = AVERROR(ENOMEM);
    QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), codes, 160, 0, &out), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
    for (const int code : {AVERROR(EAGAIN), AVERROR_EOF}) { // neither has a line
        Faults::code = code;
        QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), codes, 160, 0, &out), -1);
        QVERIFY(!out.data);
    }
    QCOMPARE(log->count(Logger::Error, line), 1);
    Faults::failing = nullptr;
    QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), codes, 160, 0, &out), 0);
}

void TestCodecFailures::audioDecoder_tellsSizeThatCannotBe()
{
    log->expect(Logger::Error, QStringLiteral("(ffpg)av_samples_get_buffer_size failed with -22"));
    log->expect(Logger::Error, QStringLiteral("(ffpg)av_samples_get_buffer_size failed with 0"));
    const _tag_adec_param_s param = {33, 8000, 16, 1};
    const AudioDecoderHandle handle(ffmpeg_create_audio_decoder(&param));
    unsigned char codes[160] = {};
    _tag_audio_frame_s out;
    for (const int code : {AVERROR(EINVAL), 0}) {
        Faults::failing = "av_samples_get_buffer_size";
        Faults::code = code;
        QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), codes, 160, 0, &out), -1);
        QVERIFY(!handle->buffer);
    }
    QCOMPARE(log->missing(), QStringList());
    Faults::failing = nullptr;
    QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), codes, 160, 0, &out), 0);
}

void TestCodecFailures::audioDecoder_tellsMissingBuffer()
{
    log->expect(Logger::Error, QStringLiteral("(ffpg)av_samples_malloc_buffer 320 failed"));
    const _tag_adec_param_s param = {33, 8000, 16, 1};
    const AudioDecoderHandle handle(ffmpeg_create_audio_decoder(&param));
    unsigned char codes[160] = {};
    _tag_audio_frame_s out;
    Faults::failing = "av_malloc";
    QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), codes, 160, 0, &out), -1);
    QCOMPARE(log->missing(), QStringList());
    Faults::failing = nullptr;
    QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), codes, 160, 0, &out), 0);
    QCOMPARE(out.size, 320u);
}

void TestCodecFailures::audioEncoder_tellsEachFailure_andStaysUsable_data()
{
    QTest::addColumn<QByteArray>("failing");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("line");
    QTest::newRow("send")
        << QByteArray("avcodec_send_frame") << AVERROR(ENOMEM)
        << "(ffpg)avcodec_send_frame failed with fffffff4 (Cannot allocate memory)";
    QTest::newRow("receive")
        << QByteArray("avcodec_receive_packet") << AVERROR(ENOMEM)
        << "(ffpg)avcodec_receive_packet failed with fffffff4 (Cannot allocate memory)";
    QTest::newRow("buffer") << QByteArray("av_malloc") << 0 << "(ffpg)av_malloc 320 failed";
}

void TestCodecFailures::audioEncoder_tellsEachFailure_andStaysUsable()
{
    QFETCH(QByteArray, failing);
    QFETCH(int, code);
    QFETCH(QString, line);
    log->expect(Logger::Error, line);
    const _tag_aenc_param_s param = {33, 8000, 16, 1};
    const AudioEncoderHandle handle(ffmpeg_create_audio_encoder(&param));
    _tag_audio_frame_s out;
    memset(&out, 0xaa, sizeof(out));
    Faults::failing = failing.constData();
    Faults::code = code;
    QCOMPARE(ffmpeg_encoder_audio_frame(handle.get(), bytesOf(m_pcm), 640, 1, &out), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
    QVERIFY(!out.data && out.size == 0 && out.pts == 0);
    Faults::failing = nullptr;
    QCOMPARE(ffmpeg_encoder_audio_frame(handle.get(), bytesOf(m_pcm), 640, 1, &out), 0);
    QCOMPARE(out.size, 320u);

    // That nothing is there yet is an error too, unlike in decoding.
    const QString again = QStringLiteral("(ffpg)avcodec_receive_packet failed with fffffff5 "
                                         "(Resource temporarily unavailable)");
    log->expect(Logger::Error, again);
    Faults::failing = "avcodec_receive_packet";
    Faults::code = AVERROR(EAGAIN);
    QCOMPARE(ffmpeg_encoder_audio_frame(handle.get(), bytesOf(m_pcm), 640, 1, &out), -1);
    QCOMPARE(log->count(Logger::Error, again), 1);
}

void TestCodecFailures::mediaCodec_tellsFailedDestroy_andForgetsTheHandle()
{
    for (const char *what : {"video decoder", "audio decoder", "audio encoder"})
        log->expect(Logger::Warning,
                    QStringLiteral("(mdcdc)destroy %1 fail").arg(QLatin1String(what)));
    MediaCodec codec;
    QVERIFY(codec.createVideoDecoder(videoParam(1)));
    QVERIFY(codec.createAudioDecoder({33, 8000, 16, 1}));
    QVERIFY(codec.createAudioEncoder({33, 8000, 16, 1}));
    destroyFails = true;
    codec.destroyVideoDecoder();
    codec.destroyAudioDecoder();
    codec.destroyAudioEncoder();
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(codec.isVideoDecoderNull() && codec.isAudioDecoderNull());
    log->clear();
    codec.destroyAudioEncoder(); // gone as well
    QVERIFY(log->lines().isEmpty());
}

void TestCodecFailures::card_isNegotiated()
{
    Faults::hasCard = true;
    const VideoHandle handle = makeVideo(1, "vaapi");
    if (handle->hw_pix_fmt == AV_PIX_FMT_NONE)
        QSKIP("FFmpeg was built without this type");
    QVERIFY(handle->ctx->hw_device_ctx);
    QVERIFY(handle->ctx->get_format == get_hw_format);
    QCOMPARE(handle->hw_pix_fmt, AV_PIX_FMT_VAAPI);
    QVERIFY(handle->frame && handle->hw_frame);
    QVERIFY(handle->ctx->flags & AV_CODEC_FLAG_LOW_DELAY);
    QCOMPARE(log->lines().size(), 1); // created, and nothing else to tell
}

void TestCodecFailures::card_handsOverSurfaces_data()
{
    QTest::addColumn<int>("format");
    QTest::newRow("Direct3D 9") << int(AV_PIX_FMT_DXVA2_VLD);
    QTest::newRow("Direct3D 11") << int(AV_PIX_FMT_D3D11);
    QTest::newRow("other") << int(AV_PIX_FMT_VAAPI);
}

void TestCodecFailures::card_handsOverSurfaces()
{
    QFETCH(int, format);
    Faults::hasCard = true;
    const VideoHandle handle = makeVideo(1, "vaapi");
    if (!handle->ctx->hw_device_ctx)
        QSKIP("FFmpeg was built without this type");
    uint8_t first = 0;
    uint8_t last = 0;
    Faults::Received received;
    received.format = format;
    received.data[0] = &first;
    received.data[1] = reinterpret_cast<uint8_t *>(intptr_t(3));
    received.data[3] = &last;
    Faults::results.push_back(received);

    _tag_yuv_frame_s yuv;
    memset(&yuv, 0xaa, sizeof(yuv));
    AccessUnit unit = m_unit;
    unit.pts = 99;
    QCOMPARE(decode(handle, unit, &yuv), 0);
    _tag_yuv_frame_s expected = {};
    expected.pts = 99; // in all three
    if (format != AV_PIX_FMT_VAAPI) {
        expected.y = format == AV_PIX_FMT_D3D11 ? &first : &last;
        expected.linesize_y = format == AV_PIX_FMT_D3D11 ? 3 : 0;
        expected.width = 64;
        expected.height = 48;
    }
    QVERIFY(memcmp(&yuv, &expected, sizeof(yuv)) == 0);
    QVERIFY(!handle->frame->data[0]); // nobody pays for a copy back
}

void TestCodecFailures::card_isSilent_whileThereIsNoPicture()
{
    Faults::hasCard = true;
    const VideoHandle handle = makeVideo(1, "vaapi");
    if (!handle->ctx->hw_device_ctx)
        QSKIP("FFmpeg was built without this type");
    log->clear();
    for (const int code : {AVERROR(EAGAIN), AVERROR_EOF}) {
        Faults::Received received;
        received.result = code;
        Faults::results.push_back(received);
        QCOMPARE(decode(handle, m_unit), -1);
    }
    QVERIFY(log->lines().isEmpty());
}

void TestCodecFailures::card_tellsFailedReceive()
{
    const QString line =
        QStringLiteral("(ffpg)avcodec_receive_frame with fffffff4 (Cannot allocate memory)");
    log->expect(Logger::Error, line);
    Faults::hasCard = true;
    const VideoHandle handle = makeVideo(1, "vaapi");
    if (!handle->ctx->hw_device_ctx)
        QSKIP("FFmpeg was built without this type");
    Faults::Received received;
    received.result = AVERROR(ENOMEM);
    Faults::results.push_back(received);
    QCOMPARE(decode(handle, m_unit), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
}

void TestCodecFailures::card_givesRgb_redFirst_data()
{
    QTest::addColumn<int>("format");
    QTest::newRow("NV12") << int(AV_PIX_FMT_NV12);
    QTest::newRow("NV21") << int(AV_PIX_FMT_NV21);
}

void TestCodecFailures::card_givesRgb_redFirst()
{
    QFETCH(int, format);
    Faults::hasCard = true;
    Faults::transferFormat = format;
    const VideoHandle handle = makeVideo(1, "vaapi");
    if (!handle->ctx->hw_device_ctx)
        QSKIP("FFmpeg was built without this type");
    Faults::results.push_back({});
    _tag_rgb_frame_s rgb;
    AccessUnit unit = m_unit;
    unit.pts = 99;
    QCOMPARE(decode(handle, unit, nullptr, &rgb), 0);
    QCOMPARE(rgb.width, 64);
    QCOMPARE(rgb.height, 48);
    QCOMPARE(rgb.linesize, 64 * 3);
    QCOMPARE(rgb.pts, quint64(99));
    for (int i = 0; i < 64 * 48; ++i) {
        const uint8_t *pixel = rgb.data + i * 3;
        QVERIFY(pixel[0] > 250 && std::abs(pixel[1] - 62) < 4 && std::abs(pixel[2] - 15) < 4);
    }
}

void TestCodecFailures::card_reusesMemoryOfTransfer_onlyForPicturesOfOneForm()
{
    Faults::hasCard = true;
    const VideoHandle handle = makeVideo(1, "vaapi");
    if (!handle->ctx->hw_device_ctx)
        QSKIP("FFmpeg was built without this type");
    log->expectMatching(Logger::Warning, QRegularExpression(QStringLiteral("^\\(ffpg\\)yuv2rgb")));
    const struct
    {
        int width, height, format;
        bool isReused;
    } steps[] = {{64, 48, AV_PIX_FMT_NV12, false}, {64, 48, AV_PIX_FMT_NV12, true},
                 {64, 96, AV_PIX_FMT_NV12, false}, {64, 48, AV_PIX_FMT_NV12, false},
                 {32, 48, AV_PIX_FMT_NV12, false}, {64, 48, AV_PIX_FMT_NV12, false},
                 {64, 48, AV_PIX_FMT_NV21, false}, {64, 48, AV_PIX_FMT_NV21, true}};
    for (const auto &step : steps) {
        Faults::Received received;
        received.width = step.width;
        received.height = step.height;
        Faults::transferFormat = step.format;
        Faults::results.push_back(received);
        _tag_rgb_frame_s rgb;
        const bool fits = step.height <= 48; // the RGB buffer is that of the first picture
        QCOMPARE(decode(handle, m_unit, nullptr, &rgb), fits ? 0 : -1);
        QCOMPARE(Faults::hasReusedMemory, step.isReused);
    }
}

void TestCodecFailures::card_tellsFailedTransfer_andKeepsYuv()
{
    const QString line =
        QStringLiteral("(ffpg)av_hwframe_transfer_data failed with fffffffb (Input/output error)");
    log->expect(Logger::Error, line);
    Faults::hasCard = true;
    const VideoHandle handle = makeVideo(1, "vaapi");
    if (!handle->ctx->hw_device_ctx)
        QSKIP("FFmpeg was built without this type");
    uint8_t surface = 0;
    Faults::Received received;
    received.format = AV_PIX_FMT_DXVA2_VLD;
    received.data[3] = &surface;
    Faults::results = {received, received};
    Faults::failing = "av_hwframe_transfer_data";
    Faults::code = AVERROR(EIO);
    _tag_yuv_frame_s yuv;
    _tag_rgb_frame_s rgb;
    QCOMPARE(decode(handle, m_unit, &yuv, &rgb), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
    QVERIFY(yuv.y == &surface);
    QVERIFY(!rgb.data);
    Faults::failing = nullptr;
    QCOMPARE(decode(handle, m_unit, &yuv, &rgb), 0);
}

QTEST_GUILESS_MAIN(TestCodecFailures)
#include "tst_codecfailures.moc"
