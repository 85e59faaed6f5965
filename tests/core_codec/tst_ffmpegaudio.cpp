// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "codechandles.h"
#include "support/clipmaker.h"
#include "support/logcapture.h"

#include <QtTest>

#include <memory>
#include <thread>
#include <vector>

using namespace vantratest;

namespace {

constexpr int kALaw = 33;
constexpr int kMuLaw = 34;
constexpr int kPcm = 35;
constexpr int kReserve = 64 * 1024; // bytes that a decoder's buffer holds at least

AudioDecoderHandle makeDecoder(int codec, int sampleRate = 8000, int channels = 1)
{
    const _tag_adec_param_s param = {codec, sampleRate, 16, channels};
    return AudioDecoderHandle(ffmpeg_create_audio_decoder(&param));
}

AudioEncoderHandle makeEncoder(int codec, int sampleRate = 8000, int channels = 1)
{
    const _tag_aenc_param_s param = {codec, sampleRate, 16, channels};
    return AudioEncoderHandle(ffmpeg_create_audio_encoder(&param));
}

int decode(const AudioDecoderHandle &handle, const QByteArray &data, _tag_audio_frame_s *out,
           quint64 pts = 0)
{
    return ffmpeg_decoder_audio_frame(handle.get(), bytesOf(data), unsigned(data.size()), pts, out);
}

int encode(const AudioEncoderHandle &handle, const QByteArray &data, _tag_audio_frame_s *out,
           quint64 pts = 0)
{
    return ffmpeg_encoder_audio_frame(handle.get(), bytesOf(data), unsigned(data.size()), pts, out);
}

QByteArray content(const _tag_audio_frame_s &out)
{
    return QByteArray(reinterpret_cast<const char *>(out.data), int(out.size));
}

/// G.711 expansion from its definition.
qint16 expand(int codec, quint8 code)
{
    if (codec == kALaw) {
        const int bits = code ^ 0x55;
        const int segment = (bits >> 4) & 7;
        const int step = bits & 0x0f;
        const int magnitude = segment == 0 ? step * 16 + 8 : (step * 16 + 264) << (segment - 1);
        return qint16(bits & 0x80 ? magnitude : -magnitude);
    }
    const int bits = ~code & 0xff;
    const int magnitude = ((((bits & 0x0f) << 3) + 132) << ((bits >> 4) & 7)) - 132;
    return qint16(bits & 0x80 ? -magnitude : magnitude);
}

QByteArray expanded(int codec, const QByteArray &codes)
{
    QVector<qint16> samples;
    for (const char code : codes)
        samples.append(expand(codec, quint8(code)));
    return pcmBytes(samples);
}

} // namespace

class TestFfmpegAudio : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }
    void init() { m_log = std::make_unique<LogCapture>(); }
    void cleanup()
    {
        QCOMPARE(m_log->unexpected(), QStringList());
        QVERIFY(!audio_decoders);
        QVERIFY(!audio_encoders);
        m_log.reset();
    }

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

    void decoder_expandsEveryCode_data() { lawRows(); }
    void decoder_expandsEveryCode();
    void decoder_handsBackTimeStamp_andItsOwnBuffer();
    void decoder_writesLargerFrame_intoTheFirstBuffer();
    void decoder_failsFrame_largerThanItsBuffer();
    void decoder_goesOnWithNextFrame_whenConversionFailed();
    void decoder_failsInSilence_whenNothingFollowsFailedConversion();
    void decoder_refusesInputThatIsNone_andStaysUsable_data();
    void decoder_refusesInputThatIsNone_andStaysUsable();
    void decoder_decodesTwoChannels();
    void decoder_decodesOddPieces();

    void encoder_hasFramesOfTwentyMilliseconds_timesBytes_data();
    void encoder_hasFramesOfTwentyMilliseconds_timesBytes();
    void encoder_encodesTone_withinOneStep_data() { lawRows(); }
    void encoder_encodesTone_withinOneStep();
    void encoder_keepsTail_afterShorterInput();
    void encoder_startsWithSilence_behindShortInput();
    void encoder_leavesOut_whatIsLongerThanItsFrame();
    void encoder_keepsBufferOfFirstPacket_andFailsLarger();
    void encoder_refusesNoData_andStaysUsable();
    void encoder_encodesTwoChannels();

    void calls_returnMinusOne_withoutHandleOrOutput();
    void destroy_returnsZero_andLogs();
    void registries_areNull_afterLastHandle_andStartAnew();
    void registries_keepFirst_ofTwoWithOneContext();
    void manyHandles_liveAtOnce_onManyThreads();

private:
    static void lawRows()
    {
        QTest::addColumn<int>("codec");
        QTest::addColumn<QString>("name");
        QTest::newRow("A-law") << kALaw << "pcm_alaw";
        QTest::newRow("mu-law") << kMuLaw << "pcm_mulaw";
    }

    std::unique_ptr<LogCapture> m_log;
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
    m_log->expect(Logger::Error, line);
    QVERIFY(!makeDecoder(codec));
    QCOMPARE(m_log->count(Logger::Error, line), 1);
    QVERIFY(!makeEncoder(codec));
    QCOMPARE(m_log->count(Logger::Error, line), 2);
    QCOMPARE(m_log->lines().size(), 2);
    QCOMPARE(m_log->lines()[0].category, QStringLiteral("vantra"));
    QVERIFY(m_log->lines()[0].file.endsWith(QLatin1String("core_codec/ffmpegaudio.cpp")));
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
    QCOMPARE(m_log->count(Logger::Debug,
                          QString::asprintf("(ffpg)create audio decoder %p (%s, 16000, 16, 2)",
                                            handle.get(), qPrintable(name))), 1);
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
    QVERIFY(handle->swr);
    QVERIFY(!handle->buffer);
    QCOMPARE(audio_encoders, handle.record());
    QCOMPARE(m_log->count(Logger::Debug,
                          QString::asprintf("(ffpg)create audio encoder %p (%s, 8000, 16, 1)",
                                            handle.get(), qPrintable(name))), 1);
}

void TestFfmpegAudio::create_tellsFailedOpen()
{
    const QString line =
            QStringLiteral("(ffpg)avcodec_open2 failed with ffffffea (Invalid argument)");
    m_log->expect(Logger::Error, line);
    for (const int channels : {0, -1, INT_MIN, INT_MAX})
        QVERIFY(!makeDecoder(kALaw, 8000, channels));
    QVERIFY(!makeDecoder(kALaw, -8000, 1));
    QCOMPARE(m_log->count(Logger::Error, line), 5);
    for (const int channels : {-1, INT_MIN, INT_MAX})
        QVERIFY(!makeEncoder(kALaw, 8000, channels));
    QVERIFY(!makeEncoder(kALaw, 0, 1));
    QVERIFY(!makeEncoder(kALaw, -8000, 1));
    QCOMPARE(m_log->count(Logger::Error, line), 10);
}

void TestFfmpegAudio::create_tellsFailedResampler()
{
    const QString line = QStringLiteral("(ffpg)swr_init failed with ffffffea (Invalid argument)");
    m_log->expect(Logger::Error, line);
    QVERIFY(!makeDecoder(kALaw, 0, 1)); // the codecs themselves do not mind
    QCOMPARE(m_log->count(Logger::Error, line), 1);
}

void TestFfmpegAudio::create_toldOrWorking_forAnyNumberOfChannels()
{
    const QRegularExpression failed(QStringLiteral(
            "^\\(ffpg\\)(avcodec_open2|swr_alloc_set_opts|swr_init|av_frame_get_buffer) failed"));
    m_log->expectMatching(Logger::Error, failed);
    for (int channels = 0; channels < 80; ++channels) {
        m_log->clear();
        const AudioDecoderHandle decoder = makeDecoder(kALaw, 8000, channels);
        QCOMPARE(m_log->countMatching(Logger::Error, failed), decoder ? 0 : 1);
        const AudioEncoderHandle encoder = makeEncoder(kALaw, 8000, channels);
        QCOMPARE(m_log->countMatching(Logger::Error, failed),
                 (decoder ? 0 : 1) + (encoder ? 0 : 1));
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
    m_log->expect(Logger::Error, line);
    QVERIFY(!makeEncoder(kMuLaw, 24, 1));
    QCOMPARE(m_log->count(Logger::Error, line), 1);
}

void TestFfmpegAudio::decoder_expandsEveryCode()
{
    QFETCH(int, codec);
    QByteArray codes;
    for (int code = 0; code < 256; ++code)
        codes.append(char(code));
    const AudioDecoderHandle handle = makeDecoder(codec);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, codes, &out), 0);
    QCOMPARE(out.size, 512u);
    QCOMPARE(content(out), expanded(codec, codes));
    QCOMPARE(m_log->count(Logger::Debug, QStringLiteral(
            "(ffpg)av_samples_get_buffer_size ret 512, linesize 512")), 1);
}

void TestFfmpegAudio::decoder_handsBackTimeStamp_andItsOwnBuffer()
{
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    _tag_audio_frame_s out;
    memset(&out, 0xaa, sizeof(out));
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out, UINT64_MAX), 0);
    QCOMPARE(out.pts, UINT64_MAX);
    QVERIFY(out.data == handle->buffer);
    QCOMPARE(decode(handle, QByteArray(160, '\x2a'), &out, 5), 0);
    QCOMPARE(out.pts, quint64(5));
    QCOMPARE(content(out), expanded(kALaw, QByteArray(160, '\x2a')));
    // The buffer was made, and told, once.
    QCOMPARE(m_log->countMatching(Logger::Debug, QRegularExpression(QStringLiteral(
            "av_samples_get_buffer_size"))), 1);
}

void TestFfmpegAudio::decoder_writesLargerFrame_intoTheFirstBuffer()
{
    const AudioDecoderHandle handle = makeDecoder(kMuLaw);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x10'), &out), 0);
    const uint8_t *buffer = out.data;
    for (const int size : {320, 161, 4000, kReserve / 2}) {
        const QByteArray codes(size, '\x91');
        QCOMPARE(decode(handle, codes, &out), 0);
        QVERIFY(out.data == buffer);
        QCOMPARE(out.size, unsigned(size) * 2);
        QCOMPARE(content(out), expanded(kMuLaw, codes));
    }
    QCOMPARE(decode(handle, QByteArray(1, '\x10'), &out), 0);
    QVERIFY(out.data == buffer);
    QCOMPARE(out.size, 2u);
}

void TestFfmpegAudio::decoder_failsFrame_largerThanItsBuffer()
{
    const QRegularExpression line(
        QStringLiteral("^\\(ffpg\\)swr_convert failed with [0-9a-f]{8}$"));
    m_log->expectMatching(Logger::Error, line);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
    QCOMPARE(decode(handle, QByteArray(kReserve / 2 + 1, '\x55'), &out), -1);
    QVERIFY(!out.data && out.size == 0);
    QCOMPARE(m_log->countMatching(Logger::Error, line), 1);
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);

    // A buffer is as large as its first frame, if that is large.
    const AudioDecoderHandle wide = makeDecoder(kALaw);
    QCOMPARE(decode(wide, QByteArray(kReserve, '\x55'), &out), 0);
    QCOMPARE(out.size, unsigned(kReserve) * 2);
    QCOMPARE(decode(wide, QByteArray(kReserve + 1, '\x55'), &out), -1);
    QCOMPARE(decode(wide, QByteArray(kReserve, '\x2a'), &out), 0);
    QCOMPARE(content(out), expanded(kALaw, QByteArray(kReserve, '\x2a')));
}

void TestFfmpegAudio::decoder_goesOnWithNextFrame_whenConversionFailed()
{
    const QRegularExpression line(
        QStringLiteral("^\\(ffpg\\)swr_convert failed with [0-9a-f]{8}$"));
    m_log->expectMatching(Logger::Error, line);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
    // A frame that has no room waits in the decoder before the one of the next chunk.
    QByteArray huge(kReserve, '\x55');
    const AVPacket packet = borrowed_packet(bytesOf(huge), unsigned(huge.size()), 1);
    QCOMPARE(avcodec_send_packet(handle->ctx, &packet), 0);

    const QByteArray next(80, '\x31');
    QCOMPARE(decode(handle, next, &out, 2), 0);
    QCOMPARE(m_log->countMatching(Logger::Error, line), 1);
    QCOMPARE(content(out), expanded(kALaw, next));
    QCOMPARE(out.pts, quint64(2));
}

void TestFfmpegAudio::decoder_failsInSilence_whenNothingFollowsFailedConversion()
{
    const QString line = QStringLiteral("(ffpg)swr_convert failed with ffffffea");
    m_log->expect(Logger::Error, line);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    swr_close(handle->swr); // it refuses to convert until it is initialised again
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), -1);
    QCOMPARE(m_log->count(Logger::Error, line), 1);
    QCOMPARE(m_log->unexpected(), QStringList()); // that there is no further frame has no line
    QCOMPARE(swr_init(handle->swr), 0);
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
}

void TestFfmpegAudio::decoder_refusesInputThatIsNone_andStaysUsable_data()
{
    QTest::addColumn<bool>("isNull");
    QTest::addColumn<unsigned>("size");
    QTest::newRow("no data") << true << 100u;
    QTest::newRow("no data, no size") << true << 0u;
    QTest::newRow("no size") << false << 0u;
    QTest::newRow("size negative as int") << false << 0x80000000u;
    QTest::newRow("size -1") << false << 0xffffffffu;
}

void TestFfmpegAudio::decoder_refusesInputThatIsNone_andStaysUsable()
{
    QFETCH(bool, isNull);
    QFETCH(unsigned, size);
    m_log->expect(Logger::Error, kInvalidSend);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    unsigned char byte = 0;
    _tag_audio_frame_s out;
    memset(&out, 0xaa, sizeof(out));
    QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), isNull ? nullptr : &byte, size, 3, &out), -1);
    QVERIFY(!out.data && out.size == 0 && out.pts == 0);
    QCOMPARE(m_log->count(Logger::Error, kInvalidSend), 1);
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
}

void TestFfmpegAudio::decoder_decodesTwoChannels()
{
    const AudioDecoderHandle handle = makeDecoder(kMuLaw, 8000, 2);
    const QByteArray codes = encodeMuLaw(makeTone(320, 8000, 440));
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, codes, &out), 0);
    QCOMPARE(out.size, 640u); // interleaved as it came
    QCOMPARE(content(out), expanded(kMuLaw, codes));
}

void TestFfmpegAudio::decoder_decodesOddPieces()
{
    // Heap memory of exactly the size: memory checkers see a read beyond.
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    const QByteArray codes = encodeALaw(makeTone(2000, 8000, 300));
    QByteArray pcm;
    for (int at = 0, size = 1; at < codes.size(); at += size, size = size * 3 % 201 + 1) {
        const QByteArray piece = codes.mid(at, size);
        std::vector<unsigned char> exact(piece.begin(), piece.end());
        _tag_audio_frame_s out;
        QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), exact.data(), unsigned(exact.size()), 0,
                                            &out), 0);
        pcm += content(out);
    }
    QCOMPARE(pcm, expanded(kALaw, codes));
}

void TestFfmpegAudio::encoder_hasFramesOfTwentyMilliseconds_timesBytes_data()
{
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("samples");
    QTest::newRow("8000 Hz") << 8000 << 320; // the factor of two is intended
    QTest::newRow("16000 Hz") << 16000 << 640;
    QTest::newRow("11025 Hz") << 11025 << 441;
    QTest::newRow("48000 Hz") << 48000 << 1920;
}

void TestFfmpegAudio::encoder_hasFramesOfTwentyMilliseconds_timesBytes()
{
    QFETCH(int, sampleRate);
    QFETCH(int, samples);
    const AudioEncoderHandle handle = makeEncoder(kALaw, sampleRate);
    QCOMPARE(handle->frame->nb_samples, samples);
    _tag_audio_frame_s out;
    QCOMPARE(encode(handle, pcmBytes(makeTone(samples, sampleRate, 440)), &out), 0);
    QCOMPARE(out.size, unsigned(samples));
}

void TestFfmpegAudio::encoder_encodesTone_withinOneStep()
{
    QFETCH(int, codec);
    const AudioEncoderHandle handle = makeEncoder(codec);
    const QVector<qint16> tone = makeTone(3200, 8000, 440, 30000);
    for (int at = 0; at < tone.size(); at += 320) {
        const QVector<qint16> chunk = tone.mid(at, 320);
        _tag_audio_frame_s out;
        memset(&out, 0xaa, sizeof(out));
        QCOMPARE(encode(handle, pcmBytes(chunk), &out, quint64(at)), 0);
        QCOMPARE(out.size, 320u);
        QCOMPARE(out.pts, quint64(at));
        QVERIFY(out.data == handle->buffer);
        // FFmpeg may take the neighbouring step where a sample lies between two. A step is at most
        // a sixteenth of the value, and 16 near zero.
        for (int i = 0; i < 320; ++i) {
            const int error = std::abs(expand(codec, out.data[i]) - chunk[i]);
            QVERIFY2(error <= 16 + std::abs(chunk[i]) / 16,
                     qPrintable(QStringLiteral("sample %1: %2 off").arg(chunk[i]).arg(error)));
        }
    }
}

void TestFfmpegAudio::encoder_keepsTail_afterShorterInput()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(encode(handle, pcmBytes(QVector<qint16>(320, 20000)), &out), 0);
    const QByteArray loud = content(out);
    QCOMPARE(encode(handle, pcmBytes(QVector<qint16>(320, -300)), &out), 0);
    const QByteArray soft = content(out);
    QVERIFY(loud[0] != soft[0]);
    QCOMPARE(encode(handle, pcmBytes(QVector<qint16>(100, 20000)), &out), 0);
    QCOMPARE(content(out), loud.left(100) + soft.mid(100)); // a whole frame all the same
    QCOMPARE(encode(handle, QByteArray(""), &out), 0);
    QCOMPARE(content(out), loud.left(100) + soft.mid(100));
}

void TestFfmpegAudio::encoder_startsWithSilence_behindShortInput()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(encode(handle, pcmBytes(QVector<qint16>(10, 20000)), &out), 0);
    QCOMPARE(content(out).mid(10), QByteArray(310, '\xd5'));
}

void TestFfmpegAudio::encoder_leavesOut_whatIsLongerThanItsFrame()
{
    // Sound systems hand over blocks of 800 bytes and more.
    const QVector<qint16> tone = makeTone(100000, 8000, 440);
    const AudioEncoderHandle reference = makeEncoder(kMuLaw);
    _tag_audio_frame_s out;
    QCOMPARE(encode(reference, pcmBytes(tone.mid(0, 320)), &out), 0);
    const QByteArray expected = content(out);
    const AudioEncoderHandle handle = makeEncoder(kMuLaw);
    for (const int samples : {321, 400, 100000}) {
        QCOMPARE(encode(handle, pcmBytes(tone.mid(0, samples)), &out), 0);
        QCOMPARE(content(out), expected);
    }
    // Nothing of it comes later.
    QCOMPARE(encode(handle, pcmBytes(tone.mid(0, 320)), &out), 0);
    QCOMPARE(content(out), expected);
}

void TestFfmpegAudio::encoder_keepsBufferOfFirstPacket_andFailsLarger()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    const QByteArray pcm = pcmBytes(makeTone(320, 8000, 440));
    handle->frame->nb_samples = 160; // as no caller can: packets of one encoder have one size
    QCOMPARE(encode(handle, pcm, &out), 0);
    QCOMPARE(out.size, 160u);
    const uint8_t *buffer = out.data;
    const QString line = QStringLiteral("(ffpg)av_malloc 320 failed");
    m_log->expect(Logger::Error, line);
    handle->frame->nb_samples = 320;
    QCOMPARE(encode(handle, pcm, &out), -1);
    QCOMPARE(m_log->count(Logger::Error, line), 1);
    QVERIFY(!out.data);
    handle->frame->nb_samples = 80;
    QCOMPARE(encode(handle, pcm, &out), 0);
    QCOMPARE(out.size, 80u);
    QVERIFY(out.data == buffer);
}

void TestFfmpegAudio::encoder_refusesNoData_andStaysUsable()
{
    const QString line =
            QStringLiteral("(ffpg)avcodec_send_frame failed with ffffffea (Invalid argument)");
    m_log->expect(Logger::Error, line);
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(ffmpeg_encoder_audio_frame(handle.get(), nullptr, 640, 0, &out), -1);
    QCOMPARE(m_log->count(Logger::Error, line), 1);
    QCOMPARE(encode(handle, pcmBytes(makeTone(320, 8000, 440)), &out), 0);
}

void TestFfmpegAudio::encoder_encodesTwoChannels()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw, 8000, 2);
    QCOMPARE(handle->frame->nb_samples, 320);
    _tag_audio_frame_s out;
    QVector<qint16> both;
    for (int i = 0; i < 320; ++i)
        both << 20000 << -20000;
    QCOMPARE(encode(handle, pcmBytes(both), &out), 0);
    QCOMPARE(out.size, 640u);
    for (int i = 0; i < 640; i += 2) {
        QCOMPARE(out.data[i], out.data[0]);
        QCOMPARE(out.data[i + 1], quint8(out.data[0] ^ 0x80));
    }
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
    QVERIFY(m_log->lines().isEmpty());
    const _tag_adec_param_s decoderParam = {kALaw, 8000, 16, 1};
    const _tag_aenc_param_s encoderParam = {kALaw, 8000, 16, 1};
    void *decoder = ffmpeg_create_audio_decoder(&decoderParam);
    void *encoder = ffmpeg_create_audio_encoder(&encoderParam);
    QCOMPARE(ffmpeg_destroy_audio_decoder(decoder), 0);
    QCOMPARE(ffmpeg_destroy_audio_encoder(encoder), 0);
    QCOMPARE(m_log->count(Logger::Debug,
                          QString::asprintf("(ffpg)destroy audio decoder %p", decoder)), 1);
    QCOMPARE(m_log->count(Logger::Debug,
                          QString::asprintf("(ffpg)destroy audio encoder %p", encoder)), 1);
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
    const QString decoderLine = QString::asprintf("(ffpg)audio decoder %p was existed",
                                                  static_cast<void *>(&decoderTwin));
    const QString encoderLine = QString::asprintf("(ffpg)audio decoder %p was existed",
                                                  static_cast<void *>(&encoderTwin));
    m_log->expect(Logger::Error, decoderLine);
    m_log->expect(Logger::Error, encoderLine);
    QCOMPARE(add_audio_decoder(&decoderTwin), -1);
    QCOMPARE(add_audio_encoder(&encoderTwin), -1);
    QCOMPARE(m_log->count(Logger::Error, decoderLine), 1);
    QCOMPARE(m_log->count(Logger::Error, encoderLine), 1);
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
                if (encode(encoder, silence, &encoded) != 0
                    || decode(decoder, content(encoded), &decoded) != 0
                    || content(decoded) != expanded(codec, content(encoded)))
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
