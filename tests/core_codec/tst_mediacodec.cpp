// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "codectest.h"
#include "core_codec/mediacodec.h"
#include "support/clipmaker.h"

#include <QtTest>

#include <type_traits>

using namespace vantratest;

static_assert(!std::is_polymorphic<MediaCodec>::value, "no virtual operations");
static_assert(sizeof(MediaCodec) == 3 * sizeof(void *), "three handles and nothing else");
static_assert(std::is_trivially_destructible<MediaCodec>::value, "the owner destroys the handles");
static_assert(!std::is_copy_constructible<MediaCodec>::value, "a handle has one owner");

class TestMediaCodec : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void first_setsLogLevelOfFfmpeg_andOthersDoNot();
    void isEmpty_afterConstruction();
    void create_makesEachKind();
    void create_refusesSecond_andKeepsFirst();
    void create_tellsFailure_andStaysEmpty();
    void calls_tellMissingHandle();
    void calls_tellMissingHandle_afterDestroy();
    void decodeVideo_decodes();
    void decodeVideo_tellsFailure_withSizeAndKey();
    void decodeVideo_returnsFalse_whileDecoderWarmsUp();
    void decodeAudio_decodes_andTellsFailure();
    void encodeAudio_encodes_andTellsFailure();
    void destroy_doesNothing_withoutHandle();
    void destroy_emptiesEachField_andCreateWorksAgain();
    void handle_staysInItsRegistry_whenNobodyDestroysIt();

private:
    void tellsMissingHandles(MediaCodec *codec);

    QVector<AccessUnit> m_units;
    const _tag_vdec_param_s m_video = videoParam(1);
    const _tag_adec_param_s m_decoder = {33, 8000, 16, 1};
    const _tag_aenc_param_s m_encoder = {34, 8000, 16, 1};
};

void TestMediaCodec::initTestCase()
{
    quietConsole();
    m_units = makeClip(ClipOptions());
    QVERIFY(!m_units.isEmpty());
}

void TestMediaCodec::first_setsLogLevelOfFfmpeg_andOthersDoNot()
{
    // Runs first: nothing before it builds one.
    QCOMPARE(av_log_get_level(), int(AV_LOG_QUIET));
    MediaCodec first;
    QCOMPARE(av_log_get_level(), int(AV_LOG_WARNING));
    av_log_set_level(AV_LOG_QUIET);
    MediaCodec second;
    QCOMPARE(av_log_get_level(), int(AV_LOG_QUIET));
}

void TestMediaCodec::isEmpty_afterConstruction()
{
    const MediaCodec codec;
    QVERIFY(codec.isVideoDecoderNull());
    QVERIFY(codec.isAudioDecoderNull());
    void *const fields[3] = {};
    QVERIFY(memcmp(&codec, fields, sizeof(fields)) == 0);
}

void TestMediaCodec::create_makesEachKind()
{
    MediaCodec codec;
    QVERIFY(codec.createVideoDecoder(m_video));
    QVERIFY(!codec.isVideoDecoderNull());
    QVERIFY(codec.isAudioDecoderNull());
    QVERIFY(codec.createAudioDecoder(m_decoder));
    QVERIFY(!codec.isAudioDecoderNull());
    QVERIFY(codec.createAudioEncoder(m_encoder));
    // In this order.
    const void *const fields[3] = {video_decoders, audio_decoders, audio_encoders};
    QVERIFY(memcmp(&codec, fields, sizeof(fields)) == 0);
    codec.destroyVideoDecoder();
    codec.destroyAudioDecoder();
    codec.destroyAudioEncoder();
}

void TestMediaCodec::create_refusesSecond_andKeepsFirst()
{
    for (const char *text : {"video decoder already exist", "audio decoder already exist",
                             "audio encoder already exist"})
        log->expect(Logger::Warning, QStringLiteral("(mdcdc)%1").arg(QLatin1String(text)));
    MediaCodec codec;
    codec.createVideoDecoder(m_video);
    codec.createAudioDecoder(m_decoder);
    codec.createAudioEncoder(m_encoder);
    const void *const fields[3] = {video_decoders, audio_decoders, audio_encoders};
    QVERIFY(!codec.createVideoDecoder(videoParam(2)));
    QVERIFY(!codec.createAudioDecoder(m_decoder));
    QVERIFY(!codec.createAudioEncoder(m_encoder));
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(memcmp(&codec, fields, sizeof(fields)) == 0);
    QCOMPARE(HASH_COUNT(video_decoders), 1u);
    QCOMPARE(HASH_COUNT(audio_decoders), 1u);
    QCOMPARE(HASH_COUNT(audio_encoders), 1u);
    codec.destroyVideoDecoder();
    codec.destroyAudioDecoder();
    codec.destroyAudioEncoder();
}

void TestMediaCodec::create_tellsFailure_andStaysEmpty()
{
    const QStringList lines = {QStringLiteral("(ffpg)codec 35 is not supported"),
                               QStringLiteral("(mdcdc)create video decoder fail"),
                               QStringLiteral("(ffpg)codec 35 is not supported"),
                               QStringLiteral("(mdcdc)create audio decoder fail"),
                               QStringLiteral("(ffpg)codec 35 is not supported"),
                               QStringLiteral("(mdcdc)create audio encoder fail")};
    for (const QString &line : lines)
        log->expect(Logger::Error, line);
    MediaCodec codec;
    QVERIFY(!codec.createVideoDecoder(videoParam(35)));
    QVERIFY(!codec.createAudioDecoder({35, 8000, 16, 1}));
    QVERIFY(!codec.createAudioEncoder({35, 8000, 16, 1}));
    QStringList seen;
    for (const LogCapture::Line &line : log->lines())
        seen << line.text;
    QCOMPARE(seen, lines);
    QVERIFY(codec.isVideoDecoderNull() && codec.isAudioDecoderNull());
    QCOMPARE(log->lines()[1].category, QStringLiteral("vantra"));
    QVERIFY(log->lines()[1].file.endsWith(QLatin1String("core_codec/mediacodec.cpp")));
}

void TestMediaCodec::tellsMissingHandles(MediaCodec *codec)
{
    QStringList lines;
    for (const char *text :
         {"video decoder is null", "audio decoder is null", "audio encoder is null"}) {
        lines << QStringLiteral("(mdcdc)%1").arg(QLatin1String(text));
        log->expect(Logger::Warning, lines.last());
    }
    unsigned char byte = 0;
    _tag_yuv_frame_s yuv;
    _tag_audio_frame_s out;
    QVERIFY(!codec->decodeVideoFrame(&byte, 1, 1, 0, &yuv, nullptr));
    QVERIFY(!codec->decodeAudioFrame(&byte, 1, 0, &out));
    QVERIFY(!codec->encodeAudioFrame(&byte, 1, 0, &out));
    QStringList seen;
    for (const LogCapture::Line &line : log->lines())
        seen << line.text;
    QCOMPARE(seen, lines);
}

void TestMediaCodec::calls_tellMissingHandle()
{
    MediaCodec codec;
    tellsMissingHandles(&codec);
}

void TestMediaCodec::calls_tellMissingHandle_afterDestroy()
{
    MediaCodec codec;
    codec.createVideoDecoder(m_video);
    codec.createAudioDecoder(m_decoder);
    codec.createAudioEncoder(m_encoder);
    codec.destroyVideoDecoder();
    codec.destroyAudioDecoder();
    codec.destroyAudioEncoder();
    log->clear();
    tellsMissingHandles(&codec);
}

void TestMediaCodec::decodeVideo_decodes()
{
    MediaCodec codec;
    codec.createVideoDecoder(m_video);
    for (int i = 0; i < m_units.size(); ++i) {
        const AccessUnit &unit = m_units[i];
        _tag_yuv_frame_s yuv;
        _tag_rgb_frame_s rgb;
        QVERIFY(codec.decodeVideoFrame(bytesOf(unit.data), unsigned(unit.data.size()), unit.key,
                                       quint64(i) + 5, &yuv, &rgb));
        QCOMPARE(readNumber(yuv.y, yuv.linesize_y, yuv.width, yuv.height), i);
        QCOMPARE(yuv.pts, quint64(i) + 5);
        QCOMPARE(rgb.pts, quint64(i) + 5);
    }
    codec.destroyVideoDecoder();
}

void TestMediaCodec::decodeVideo_tellsFailure_withSizeAndKey()
{
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral("avcodec_send_packet")));
    log->expect(Logger::Warning, QStringLiteral("(mdcdc)video decoder fail (5:1)"));
    log->expect(Logger::Warning, QStringLiteral("(mdcdc)video decoder fail (4294967295:-7)"));
    MediaCodec codec;
    codec.createVideoDecoder(m_video);
    unsigned char garbage[5] = {0, 0, 1, 0x65, 0xff};
    QVERIFY(!codec.decodeVideoFrame(garbage, 5, 1, 0, nullptr, nullptr));
    QVERIFY(!codec.decodeVideoFrame(garbage, 0xffffffff, -7, 0, nullptr, nullptr));
    QCOMPARE(log->missing(), QStringList());
    codec.destroyVideoDecoder();
}

void TestMediaCodec::decodeVideo_returnsFalse_whileDecoderWarmsUp()
{
    ClipOptions options;
    options.bFrames = 2;
    const AccessUnit unit = makeClip(options).first();
    log->expect(Logger::Error, kAgain);
    log->expect(Logger::Warning,
                QStringLiteral("(mdcdc)video decoder fail (%1:1)").arg(unit.data.size()));
    MediaCodec codec;
    codec.createVideoDecoder(m_video);
    QVERIFY(!codec.decodeVideoFrame(bytesOf(unit.data), unsigned(unit.data.size()), 1, 0, nullptr,
                                    nullptr));
    QCOMPARE(log->missing(), QStringList());
    codec.destroyVideoDecoder();
}

void TestMediaCodec::decodeAudio_decodes_andTellsFailure()
{
    log->expect(Logger::Error, kInvalidSend);
    log->expect(Logger::Warning, QStringLiteral("(mdcdc)decode audio frame fail 77"));
    MediaCodec codec;
    codec.createAudioDecoder(m_decoder);
    const QByteArray codes(160, '\xd5');
    _tag_audio_frame_s out;
    QVERIFY(codec.decodeAudioFrame(bytesOf(codes), 160, 9, &out));
    QCOMPARE(out.size, 320u);
    QCOMPARE(out.pts, quint64(9));
    QVERIFY(!codec.decodeAudioFrame(nullptr, 77, 9, &out));
    QCOMPARE(log->missing(), QStringList());
    codec.destroyAudioDecoder();
}

void TestMediaCodec::encodeAudio_encodes_andTellsFailure()
{
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral("avcodec_send_frame")));
    // An error, where a failed decode is a warning.
    log->expect(Logger::Error, QStringLiteral("(mdcdc)encode audio frame fail 88"));
    MediaCodec codec;
    codec.createAudioEncoder(m_encoder);
    const QByteArray pcm(640, '\0');
    _tag_audio_frame_s out;
    QVERIFY(codec.encodeAudioFrame(bytesOf(pcm), 640, 9, &out));
    QCOMPARE(QByteArray(reinterpret_cast<char *>(out.data), int(out.size)),
             QByteArray(320, '\xff'));
    QCOMPARE(out.pts, quint64(9));
    QVERIFY(!codec.encodeAudioFrame(nullptr, 88, 9, &out));
    QCOMPARE(log->missing(), QStringList());
    codec.destroyAudioEncoder();
}

void TestMediaCodec::destroy_doesNothing_withoutHandle()
{
    MediaCodec codec;
    codec.destroyVideoDecoder();
    codec.destroyAudioDecoder();
    codec.destroyAudioEncoder();
    QVERIFY(log->lines().isEmpty());
}

void TestMediaCodec::destroy_emptiesEachField_andCreateWorksAgain()
{
    MediaCodec codec;
    for (int round = 0; round < 3; ++round) {
        QVERIFY(codec.createVideoDecoder(m_video));
        QVERIFY(codec.createAudioDecoder(m_decoder));
        QVERIFY(codec.createAudioEncoder(m_encoder));
        codec.destroyVideoDecoder();
        QVERIFY(codec.isVideoDecoderNull() && !codec.isAudioDecoderNull());
        codec.destroyAudioDecoder();
        QVERIFY(codec.isAudioDecoderNull());
        QVERIFY(audio_encoders);
        codec.destroyAudioEncoder();
        QVERIFY(!audio_encoders);
    }
}

void TestMediaCodec::handle_staysInItsRegistry_whenNobodyDestroysIt()
{
    {
        MediaCodec codec;
        codec.createAudioEncoder(m_encoder);
    }
    QCOMPARE(HASH_COUNT(audio_encoders), 1u);
    QCOMPARE(ffmpeg_destroy_audio_encoder(audio_encoders), 0); // for the memory checkers
}

QTEST_GUILESS_MAIN(TestMediaCodec)
#include "tst_mediacodec.moc"
