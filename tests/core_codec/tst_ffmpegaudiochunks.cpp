// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What audio handles make of the chunks that they are given.

#include "audiohandles.h"
#include "codectest.h"

#include <QtTest>

#include <vector>

using namespace vantratest;

namespace {

constexpr int kReserve = 64 * 1024; // bytes that a decoder's buffer holds at least

} // namespace

class TestFfmpegAudioChunks : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

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
    void decoder_staysUsable_afterChunkThatEndsWithinASample_data();
    void decoder_staysUsable_afterChunkThatEndsWithinASample();

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
};

void TestFfmpegAudioChunks::decoder_expandsEveryCode()
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
    QCOMPARE(log->count(Logger::Debug,
                        QStringLiteral("(ffpg)av_samples_get_buffer_size ret 512, linesize 512")),
             1);
}

void TestFfmpegAudioChunks::decoder_handsBackTimeStamp_andItsOwnBuffer()
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
    QCOMPARE(log->countMatching(Logger::Debug,
                                QRegularExpression(QStringLiteral("av_samples_get_buffer_size"))),
             1);
}

void TestFfmpegAudioChunks::decoder_writesLargerFrame_intoTheFirstBuffer()
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

void TestFfmpegAudioChunks::decoder_failsFrame_largerThanItsBuffer()
{
    const QRegularExpression line(
        QStringLiteral("^\\(ffpg\\)swr_convert failed with [0-9a-f]{8}$"));
    log->expectMatching(Logger::Error, line);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
    QCOMPARE(decode(handle, QByteArray(kReserve / 2 + 1, '\x55'), &out), -1);
    QVERIFY(!out.data && out.size == 0);
    QCOMPARE(log->countMatching(Logger::Error, line), 1);
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);

    // A buffer is as large as its first frame, if that is large.
    const AudioDecoderHandle wide = makeDecoder(kALaw);
    QCOMPARE(decode(wide, QByteArray(kReserve, '\x55'), &out), 0);
    QCOMPARE(out.size, unsigned(kReserve) * 2);
    QCOMPARE(decode(wide, QByteArray(kReserve + 1, '\x55'), &out), -1);
    QCOMPARE(decode(wide, QByteArray(kReserve, '\x2a'), &out), 0);
    QCOMPARE(content(out), expanded(kALaw, QByteArray(kReserve, '\x2a')));
}

void TestFfmpegAudioChunks::decoder_goesOnWithNextFrame_whenConversionFailed()
{
    const QRegularExpression line(
        QStringLiteral("^\\(ffpg\\)swr_convert failed with [0-9a-f]{8}$"));
    log->expectMatching(Logger::Error, line);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
    // A frame that has no room waits in the decoder before the one of the next chunk.
    QByteArray huge(kReserve, '\x55');
    const AVPacket packet = borrowed_packet(bytesOf(huge), unsigned(huge.size()), 1);
    QCOMPARE(avcodec_send_packet(handle->ctx, &packet), 0);

    const QByteArray next(80, '\x31');
    QCOMPARE(decode(handle, next, &out, 2), 0);
    QCOMPARE(log->countMatching(Logger::Error, line), 1);
    QCOMPARE(content(out), expanded(kALaw, next));
    QCOMPARE(out.pts, quint64(2));
}

void TestFfmpegAudioChunks::decoder_failsInSilence_whenNothingFollowsFailedConversion()
{
    const QString line = QStringLiteral("(ffpg)swr_convert failed with ffffffea");
    log->expect(Logger::Error, line);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    swr_close(handle->swr); // it refuses to convert until it is initialised again
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
    QCOMPARE(log->unexpected(), QStringList()); // that there is no further frame has no line
    QCOMPARE(swr_init(handle->swr), 0);
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
}

void TestFfmpegAudioChunks::decoder_refusesInputThatIsNone_andStaysUsable_data()
{
    unusableInputRows();
}

void TestFfmpegAudioChunks::decoder_refusesInputThatIsNone_andStaysUsable()
{
    QFETCH(bool, isNull);
    QFETCH(unsigned, size);
    log->expect(Logger::Error, kInvalidSend);
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    unsigned char byte = 0;
    _tag_audio_frame_s out;
    memset(&out, 0xaa, sizeof(out));
    QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), isNull ? nullptr : &byte, size, 3, &out), -1);
    QVERIFY(!out.data && out.size == 0 && out.pts == 0);
    QCOMPARE(log->count(Logger::Error, kInvalidSend), 1);
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
}

void TestFfmpegAudioChunks::decoder_decodesTwoChannels()
{
    const AudioDecoderHandle handle = makeDecoder(kMuLaw, 8000, 2);
    const QByteArray codes = encodeMuLaw(makeTone(320, 8000, 440));
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, codes, &out), 0);
    QCOMPARE(out.size, 640u); // interleaved as it came
    QCOMPARE(content(out), expanded(kMuLaw, codes));
}

void TestFfmpegAudioChunks::decoder_decodesOddPieces()
{
    // Heap memory of exactly the size: memory checkers see a read beyond.
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    const QByteArray codes = encodeALaw(makeTone(2000, 8000, 300));
    QByteArray pcm;
    for (int at = 0, size = 1; at < codes.size(); at += size, size = size * 3 % 201 + 1) {
        const QByteArray piece = codes.mid(at, size);
        std::vector<unsigned char> exact(piece.begin(), piece.end());
        _tag_audio_frame_s out;
        QCOMPARE(
            ffmpeg_decoder_audio_frame(handle.get(), exact.data(), unsigned(exact.size()), 0, &out),
            0);
        pcm += content(out);
    }
    QCOMPARE(pcm, expanded(kALaw, codes));
}

void TestFfmpegAudioChunks::decoder_staysUsable_afterChunkThatEndsWithinASample_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("size");
    for (const int channels : {2, 3}) {
        for (const int size : {1, 2, 4, 5, 161, 1601})
            QTest::addRow("%d channels, %d bytes", channels, size) << channels << size;
    }
}

void TestFfmpegAudioChunks::decoder_staysUsable_afterChunkThatEndsWithinASample()
{
    QFETCH(int, channels);
    QFETCH(int, size);
    const int whole = size / channels * channels;
    if (whole == 0)
        log->expect(Logger::Error, QStringLiteral("(ffpg)avcodec_send_packet failed with bebbb1b7"
                                                  " (Invalid data found when processing input)"));
    const AudioDecoderHandle handle = makeDecoder(kALaw, 8000, channels);
    const QByteArray codes = encodeALaw(makeTone(2000, 8000, 300));
    _tag_audio_frame_s out;
    for (int round = 0; round < 4; ++round) {
        // More than once: FFmpeg queues one packet before it refuses to take another.
        QCOMPARE(decode(handle, codes.left(size), &out), whole == 0 ? -1 : 0);
        QCOMPARE(content(out), expanded(kALaw, codes.left(whole)));
    }
    for (int round = 0; round < 4; ++round) {
        const QByteArray good = codes.mid(round * 240, 240);
        QCOMPARE(decode(handle, good, &out), 0);
        QCOMPARE(content(out), expanded(kALaw, good));
    }
    QCOMPARE(log->missing(), QStringList());
}

void TestFfmpegAudioChunks::encoder_hasFramesOfTwentyMilliseconds_timesBytes_data()
{
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("samples");
    QTest::newRow("8000 Hz") << 8000 << 320; // the factor of two is intended
    QTest::newRow("16000 Hz") << 16000 << 640;
    QTest::newRow("11025 Hz") << 11025 << 441;
    QTest::newRow("48000 Hz") << 48000 << 1920;
}

void TestFfmpegAudioChunks::encoder_hasFramesOfTwentyMilliseconds_timesBytes()
{
    QFETCH(int, sampleRate);
    QFETCH(int, samples);
    const AudioEncoderHandle handle = makeEncoder(kALaw, sampleRate);
    QCOMPARE(handle->frame->nb_samples, samples);
    _tag_audio_frame_s out;
    QCOMPARE(encode(handle, pcmBytes(makeTone(samples, sampleRate, 440)), &out), 0);
    QCOMPARE(out.size, unsigned(samples));
}

void TestFfmpegAudioChunks::encoder_encodesTone_withinOneStep()
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

void TestFfmpegAudioChunks::encoder_keepsTail_afterShorterInput()
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

void TestFfmpegAudioChunks::encoder_startsWithSilence_behindShortInput()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(encode(handle, pcmBytes(QVector<qint16>(10, 20000)), &out), 0);
    QCOMPARE(content(out).mid(10), QByteArray(310, '\xd5'));
}

void TestFfmpegAudioChunks::encoder_leavesOut_whatIsLongerThanItsFrame()
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

void TestFfmpegAudioChunks::encoder_keepsBufferOfFirstPacket_andFailsLarger()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    const QByteArray pcm = pcmBytes(makeTone(320, 8000, 440));
    handle->frame->nb_samples = 160; // as no caller can: packets of one encoder have one size
    QCOMPARE(encode(handle, pcm, &out), 0);
    QCOMPARE(out.size, 160u);
    const uint8_t *buffer = out.data;
    const QString line = QStringLiteral("(ffpg)av_malloc 320 failed");
    log->expect(Logger::Error, line);
    handle->frame->nb_samples = 320;
    QCOMPARE(encode(handle, pcm, &out), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
    QVERIFY(!out.data);
    handle->frame->nb_samples = 80;
    QCOMPARE(encode(handle, pcm, &out), 0);
    QCOMPARE(out.size, 80u);
    QVERIFY(out.data == buffer);
}

void TestFfmpegAudioChunks::encoder_refusesNoData_andStaysUsable()
{
    const QString line =
        QStringLiteral("(ffpg)avcodec_send_frame failed with ffffffea (Invalid argument)");
    log->expect(Logger::Error, line);
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(ffmpeg_encoder_audio_frame(handle.get(), nullptr, 640, 0, &out), -1);
    QCOMPARE(log->count(Logger::Error, line), 1);
    QCOMPARE(encode(handle, pcmBytes(makeTone(320, 8000, 440)), &out), 0);
}

void TestFfmpegAudioChunks::encoder_encodesTwoChannels()
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

QTEST_GUILESS_MAIN(TestFfmpegAudioChunks)
#include "tst_ffmpegaudiochunks.moc"
