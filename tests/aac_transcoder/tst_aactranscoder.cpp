// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "g7param.h"

#include "aac_transcoder/easyaacencoder.h"
#include "aac_transcoder/g711topcm_p.h"
#include "aac_transcoder/g726topcm_p.h"
#include "aac_transcoder/g7ring_p.h"
#include "aac_transcoder/g7toaac_p.h"

#include <faac.h>

#include <QRandomGenerator>
#include <QtMath>
#include <QtTest>

#include <functional>

extern "C" {
#include <libavcodec/avcodec.h>
}

using namespace vantratest;

namespace {

/// A sine in the codes of a G.711 law, found by searching the codes for the nearest value.
QByteArray tone(DecodeToPcmBase &law, double hertz, int samples)
{
    QByteArray codes;
    for (int i = 0; i < samples; ++i) {
        const int wanted = qRound(12000 * qSin(2 * M_PI * hertz * i / kRate));
        int best = 0;
        for (int code = 1; code < 256; ++code) {
            if (qAbs(law.DecodeOne(uchar(code)) - wanted) <
                qAbs(law.DecodeOne(uchar(best)) - wanted))
                best = code;
        }
        codes.append(char(best));
    }
    return codes;
}

/// In chunks as long as `length` says, one after the other.
QByteArray transcode(
    const G7ToAacInitParam &param, QByteArray input,
    const std::function<int()> &length = [] { return kFrameBytes; })
{
    void *handle = Easy_AACEncoder_Init(param);
    if (!handle)
        return {};
    QByteArray output;
    for (int at = 0; at < input.size();) {
        const int chunk = qMin(length(), input.size() - at);
        QByteArray room((chunk / G7ToAacInputChunk + 1) * G7ToAacOutputRoom, '\0');
        unsigned int produced = 0;
        const int result = Easy_AACEncoder_Encode(
            handle, reinterpret_cast<uchar *>(input.data()) + at, static_cast<unsigned int>(chunk),
            reinterpret_cast<uchar *>(room.data()), &produced);
        if (result != int(produced))
            qFatal("the result is not the length told");
        output += room.left(result);
        at += chunk;
    }
    Easy_AACEncoder_Release(handle);
    return output;
}

/// Lengths of the ADTS frames (ISO/IEC 13818-7, 6.2); empty if they do not make up the whole.
QList<int> adtsFrames(const QByteArray &aac)
{
    QList<int> lengths;
    int at = 0;
    while (at + 7 <= aac.size()) {
        const auto *head = reinterpret_cast<const uchar *>(aac.constData()) + at;
        if (head[0] != 0xFF || head[1] != 0xF9)
            return {};
        const int length = ((head[3] & 3) << 11) | (head[4] << 3) | (head[5] >> 5);
        if (length < 7)
            return {};
        lengths << length;
        at += length;
    }
    return at == aac.size() ? lengths : QList<int>();
}

/// Samples of the decoded frames, by libavcodec.
QVector<float> decodeAac(const QByteArray &aac)
{
    QVector<float> samples;
    const auto *codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
    AVCodecContext *context = avcodec_alloc_context3(codec);
    avcodec_open2(context, codec, nullptr);
    AVPacket *packet = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    int at = 0;
    const QList<int> lengths = adtsFrames(aac);
    for (const int length : lengths) {
        av_new_packet(packet, length);
        memcpy(packet->data, aac.constData() + at, size_t(length));
        at += length;
        if (avcodec_send_packet(context, packet) >= 0) {
            while (avcodec_receive_frame(context, frame) >= 0) {
                const auto *plane = reinterpret_cast<const float *>(frame->data[0]);
                for (int i = 0; i < frame->nb_samples; ++i)
                    samples << plane[i];
            }
        }
        av_packet_unref(packet);
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
    return samples;
}

/// Reaches what a host cannot.
class OpenTranscoder : public G7ToAac
{
public:
    OpenTranscoder() = default;
    explicit OpenTranscoder(const G7ToAacInitParam &param) : G7ToAac(param) {}
    using G7ToAac::lastAacSize;
    using G7ToAac::param;
    using G7ToAac::pcmBufferSize;
    using G7ToAac::pcmDecoded;
    using G7ToAac::pcmFill;
    using G7ToAac::takeFrame;
};

} // namespace

class tst_AacTranscoder : public QObject
{
    Q_OBJECT

private slots:
    void record_hasItsLayout();
    void init_refusesWhatTheEncoderRefuses_data();
    void init_refusesWhatTheEncoderRefuses();
    void encode_refusesNullHandle();
    void release_ignoresNull();
    void encode_refusesMissingArguments();
    void encode_yieldsNothing_withoutDecoder();
    void transcoder_isALawMono_withoutARecord();
    void chunks_ofAnyLength_giveTheSameAac_data();
    void chunks_ofAnyLength_giveTheSameAac();
    void output_fitsTheRoomThatTheHeaderNames_data();
    void output_fitsTheRoomThatTheHeaderNames();
    void chunk_shorterThanAFrame_waits();
    void output_isAdtsOfTheTone_data();
    void output_isAdtsOfTheTone();
    void output_isThatOfTheEncoder_setAsItIs();
    void unknownCodec_isALaw();
    void unknownG726Rate_isTwo();
    void inputThatDoesNotFit_isLostInSilence();
    void frameBeyondTheBuffer_isCarriedOver();
    void frameThatJustFills_isOnlyAppended();
    void shortFrame_isEncodedAtOnce_andStays();
    void oddSampleWidths_stayInBounds();
    void ring_takesAllOrNothing();
};

void tst_AacTranscoder::record_hasItsLayout()
{
    G7ToAacInitParam record{};
    record.audioCodec = 1;
    record.channels = 2;
    record.sampleRate = 0x03040506;
    record.bitsPerSample = 0x0708090A;
    record.g726Rate = 11;
    const QByteArray bytes(reinterpret_cast<const char *>(&record), sizeof record);
    QCOMPARE(bytes.toHex(), QByteArray("0102000006050403"
                                       "0a090807"
                                       "0b000000"));
}

void tst_AacTranscoder::init_refusesWhatTheEncoderRefuses_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<uint>("sampleRate");
    QTest::addColumn<uint>("bits");
    QTest::newRow("no channel") << 0 << 8000u << 16u;
    QTest::newRow("too many channels") << 200 << 8000u << 16u;
    QTest::newRow("no rate") << 1 << 0u << 16u;
    QTest::newRow("less than a byte a sample") << 1 << 8000u << 7u;
    QTest::newRow("absurd width") << 1 << 8000u << 0xFFFFFFFFu;
}

void tst_AacTranscoder::init_refusesWhatTheEncoderRefuses()
{
    QFETCH(int, channels);
    QFETCH(uint, sampleRate);
    QFETCH(uint, bits);
    G7ToAacInitParam record = param(G7CodecALaw);
    record.channels = static_cast<uint8_t>(channels);
    record.sampleRate = sampleRate;
    record.bitsPerSample = bits;
    QVERIFY(!Easy_AACEncoder_Init(record));
}

void tst_AacTranscoder::encode_refusesNullHandle()
{
    unsigned char in[kFrameBytes] = {}, out[G7ToAacOutputRoom];
    unsigned int produced = 7;
    QCOMPARE(Easy_AACEncoder_Encode(nullptr, in, sizeof in, out, &produced), -1);
    QCOMPARE(produced, 7u);
}

void tst_AacTranscoder::release_ignoresNull()
{
    Easy_AACEncoder_Release(nullptr);
}

void tst_AacTranscoder::encode_refusesMissingArguments()
{
    void *handle = Easy_AACEncoder_Init(param(G7CodecALaw));
    QVERIFY(handle);
    unsigned char in[kFrameBytes] = {}, out[G7ToAacOutputRoom];
    unsigned int produced = 7;
    QCOMPARE(Easy_AACEncoder_Encode(handle, in, sizeof in, nullptr, &produced), -1);
    QCOMPARE(Easy_AACEncoder_Encode(handle, in, sizeof in, out, nullptr), -1);
    QCOMPARE(produced, 7u);
    QCOMPARE(Easy_AACEncoder_Encode(handle, nullptr, kFrameBytes, out, &produced), 0);
    QCOMPARE(produced, 0u);
    Easy_AACEncoder_Release(handle);
}

void tst_AacTranscoder::encode_yieldsNothing_withoutDecoder()
{
    G7ToAac transcoder; // never prepared
    unsigned char in[kFrameBytes] = {}, out[G7ToAacOutputRoom];
    unsigned int produced = 7;
    QCOMPARE(transcoder.Encode(in, sizeof in, out, &produced), 0);
}

void tst_AacTranscoder::transcoder_isALawMono_withoutARecord()
{
    OpenTranscoder transcoder;
    QVERIFY(transcoder.Init());
    QCOMPARE(int(transcoder.param.audioCodec), 1);
    QCOMPARE(int(transcoder.param.channels), 1);
    QCOMPARE(transcoder.param.sampleRate, 8000u);
    QCOMPARE(transcoder.param.bitsPerSample, 16u);
    QCOMPARE(transcoder.pcmBufferSize, 2048u);
}

void tst_AacTranscoder::chunks_ofAnyLength_giveTheSameAac_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("g726Rate");
    QTest::newRow("A-law") << int(G7CodecALaw) << 0;
    QTest::newRow("mu-law") << int(G7CodecMuLaw) << 0;
    for (int rate = 2; rate <= 5; ++rate)
        QTest::addRow("G.726 at %d kbit/s", 8 * rate) << int(G7CodecG726) << rate;
}

void tst_AacTranscoder::chunks_ofAnyLength_giveTheSameAac()
{
    QFETCH(int, codec);
    QFETCH(int, g726Rate);
    QRandomGenerator random(7);
    QByteArray sound(2 * kRate, '\0');
    for (char &code : sound)
        code = char(random.bounded(256));
    const QByteArray whole = transcode(param(codec, g726Rate), sound, [&] { return sound.size(); });
    QVERIFY(!adtsFrames(whole).isEmpty());
    for (const int chunk : {1, 159, 160, 4096})
        QCOMPARE(transcode(param(codec, g726Rate), sound, [=] { return chunk; }), whole);
    for (const int most : {5, 400, 3000}) {
        const auto length = [&] { return 1 + random.bounded(most); };
        QCOMPARE(transcode(param(codec, g726Rate), sound, length), whole);
    }
}

void tst_AacTranscoder::output_fitsTheRoomThatTheHeaderNames_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<uint>("sampleRate");
    QTest::addColumn<uint>("bits");
    QTest::newRow("as devices send it") << 1 << 8000u << 16u;
    QTest::newRow("least width") << 1 << 8000u << 8u;
    QTest::newRow("least width, low rate") << 1 << 100u << 8u;
    QTest::newRow("six channels, low rate") << 6 << 100u << 16u;
    QTest::newRow("three channels") << 3 << 8000u << 16u;
}

/// Noise in the form that yields most samples for a byte, so that frames are as many and as long as
/// they get. What goes beyond the room is for the sanitizer, and for the bytes behind it.
void tst_AacTranscoder::output_fitsTheRoomThatTheHeaderNames()
{
    QFETCH(int, channels);
    QFETCH(uint, sampleRate);
    QFETCH(uint, bits);
    G7ToAacInitParam record = param(G7CodecG726, 2);
    record.channels = static_cast<uint8_t>(channels);
    record.sampleRate = sampleRate;
    record.bitsPerSample = bits;
    void *handle = Easy_AACEncoder_Init(record);
    QVERIFY(handle);
    QRandomGenerator random(3);
    QByteArray out(G7ToAacOutputRoom, '\0');
    unsigned int most = 0;
    for (int round = 0; round < 400; ++round) {
        unsigned char in[G7ToAacInputChunk];
        for (unsigned char &code : in)
            code = uchar(random.bounded(256));
        unsigned int produced = 0;
        QVERIFY(Easy_AACEncoder_Encode(handle, in, sizeof in, reinterpret_cast<uchar *>(out.data()),
                                       &produced) >= 0);
        most = qMax(most, produced);
        QVERIFY(produced <= uint(G7ToAacOutputRoom));
    }
    QVERIFY(most > 0);
    Easy_AACEncoder_Release(handle);
}

void tst_AacTranscoder::chunk_shorterThanAFrame_waits()
{
    OpenTranscoder transcoder(param(G7CodecMuLaw));
    QVERIFY(transcoder.Init());
    unsigned char code = 0x55, out[G7ToAacOutputRoom];
    unsigned int produced = 0;
    for (int i = 1; i < kFrameBytes; ++i) {
        QCOMPARE(transcoder.Encode(&code, 1, out, &produced), 0);
        QCOMPARE(transcoder.pcmFill, 0u);
    }
    QCOMPARE(transcoder.Encode(&code, 1, out, &produced), 0);
    QCOMPARE(transcoder.pcmFill, 320u);
}

void tst_AacTranscoder::output_isAdtsOfTheTone_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("mu-law") << int(G7CodecMuLaw);
    QTest::newRow("A-law") << int(G7CodecALaw);
}

void tst_AacTranscoder::output_isAdtsOfTheTone()
{
    QFETCH(int, codec);
    G711AToPcm aLaw;
    G711UToPcm muLaw;
    DecodeToPcmBase &law = codec == G7CodecALaw ? static_cast<DecodeToPcmBase &>(aLaw)
                                                : static_cast<DecodeToPcmBase &>(muLaw);
    const QByteArray aac = transcode(param(codec), tone(law, 440, 3 * kRate));
    const QList<int> frames = adtsFrames(aac);
    QVERIFY(frames.size() >= 18); // of 23 frames of 128 ms, less the encoder's delay
    // MPEG-2, layer 0, no CRC; profile LC (1), 8000 Hz (11), one channel.
    QCOMPARE(uchar(aac[1]), uchar(0xF9));
    QCOMPARE(uchar(aac[2]) >> 6, 1);
    QCOMPARE((uchar(aac[2]) >> 2) & 15, 11);
    QCOMPARE(((uchar(aac[2]) & 1) << 2) | (uchar(aac[3]) >> 6), 1);

    const QVector<float> samples = decodeAac(aac);
    QVERIFY(samples.size() >= kRate + 4096);
    // One second from the middle holds the tone and little else.
    double sine = 0, cosine = 0, power = 0;
    for (int i = 0; i < kRate; ++i) {
        const double value = samples[i + 4096];
        sine += value * qSin(2 * M_PI * 440 * i / kRate);
        cosine += value * qCos(2 * M_PI * 440 * i / kRate);
        power += value * value;
    }
    const double tonePower = 2 * (sine * sine + cosine * cosine) / kRate;
    QVERIFY2(tonePower > 0.95 * power, qPrintable(QString::number(tonePower / power)));
    const double amplitude = qSqrt(2 * power / kRate) * 32768;
    QVERIFY2(amplitude > 11000 && amplitude < 13000, qPrintable(QString::number(amplitude)));
}

/// Against the bare encoder: five of its settings are made, all others stay.
void tst_AacTranscoder::output_isThatOfTheEncoder_setAsItIs()
{
    G711UToPcm law;
    const QByteArray sound = tone(law, 440, 2 * kRate);
    unsigned long samples = 0, most = 0;
    const faacEncHandle encoder = faacEncOpen(kRate, 1, &samples, &most);
    QVERIFY(encoder);
    QCOMPARE(samples, 1024ul);
    const faacEncConfigurationPtr settings = faacEncGetCurrentConfiguration(encoder);
    settings->inputFormat = FAAC_INPUT_16BIT;
    settings->outputFormat = 1; // ADTS
    settings->useTns = 0;
    settings->aacObjectType = LOW;
    settings->mpegVersion = MPEG2;
    faacEncSetConfiguration(encoder, settings);
    QByteArray expected;
    // The last whole buffer waits for the frame behind it.
    for (int at = 0; at + int(samples) < sound.size(); at += int(samples)) {
        QVector<short> pcm;
        for (int i = 0; i < int(samples); ++i)
            pcm << law.DecodeOne(uchar(sound[at + i]));
        QByteArray out(int(most), '\0');
        const int bytes =
            faacEncEncode(encoder, reinterpret_cast<int32_t *>(pcm.data()), uint(samples),
                          reinterpret_cast<uchar *>(out.data()), uint(most));
        QVERIFY(bytes >= 0);
        expected += out.left(bytes);
    }
    faacEncClose(encoder);
    QVERIFY(!expected.isEmpty());
    QCOMPARE(transcode(param(G7CodecMuLaw), sound), expected);
}

void tst_AacTranscoder::unknownCodec_isALaw()
{
    G711AToPcm law;
    const QByteArray sound = tone(law, 300, kRate);
    const QByteArray expected = transcode(param(G7CodecALaw), sound);
    QVERIFY(!expected.isEmpty());
    for (const int codec : {2, 4, 255})
        QCOMPARE(transcode(param(codec), sound), expected);
    QVERIFY(transcode(param(G7CodecMuLaw), sound) != expected);
}

void tst_AacTranscoder::unknownG726Rate_isTwo()
{
    QByteArray codes;
    for (int i = 0; i < 4000; ++i)
        codes.append(char(i * 73 + (i >> 3)));
    const QByteArray expected = transcode(param(G7CodecG726, 2), codes);
    QVERIFY(!expected.isEmpty());
    for (const int rate : {7, 0, 1, 6, 255})
        QCOMPARE(transcode(param(G7CodecG726, rate), codes), expected);
    QVERIFY(transcode(param(G7CodecG726, 3), codes) != expected);
}

void tst_AacTranscoder::inputThatDoesNotFit_isLostInSilence()
{
    OpenTranscoder transcoder(param(G7CodecALaw));
    QVERIFY(transcoder.Init());
    QByteArray flood(G7Ring::kCapacity + 1, 'x');
    unsigned char out[G7ToAacOutputRoom];
    unsigned int produced = 9;
    QCOMPARE(transcoder.Encode(reinterpret_cast<uchar *>(flood.data()), uint(flood.size()), out,
                               &produced),
             0);
    QCOMPARE(produced, 0u);
    QCOMPARE(transcoder.pcmFill, 0u);
    QCOMPARE(
        transcoder.Encode(reinterpret_cast<uchar *>(flood.data()), kFrameBytes, out, &produced), 0);
    QCOMPARE(transcoder.pcmFill, 320u);
}

void tst_AacTranscoder::frameBeyondTheBuffer_isCarriedOver()
{
    OpenTranscoder transcoder(param(G7CodecALaw));
    QVERIFY(transcoder.Init());
    QCOMPARE(transcoder.pcmBufferSize, 2048u);
    unsigned char in[kFrameBytes] = {}, out[G7ToAacOutputRoom];
    unsigned int produced = 0;
    // The seventh frame crosses the end, and 192 bytes go over.
    for (int i = 0; i < 7; ++i)
        transcoder.Encode(in, sizeof in, out, &produced);
    QCOMPARE(transcoder.pcmFill, 7u * 320 - 2048);

    transcoder.pcmFill = 2046; // two bytes short of full
    transcoder.lastAacSize = -1;
    transcoder.Encode(in, sizeof in, out, &produced);
    QCOMPARE(transcoder.pcmFill, 318u);
    QVERIFY(transcoder.lastAacSize >= 0); // encoded once
}

void tst_AacTranscoder::frameThatJustFills_isOnlyAppended()
{
    OpenTranscoder transcoder(param(G7CodecALaw));
    QVERIFY(transcoder.Init());
    unsigned char in[kFrameBytes] = {}, out[G7ToAacOutputRoom];
    unsigned int produced = 0;
    transcoder.pcmFill = 2048 - 320;
    transcoder.lastAacSize = -1;
    transcoder.Encode(in, sizeof in, out, &produced);
    QCOMPARE(transcoder.pcmFill, 2048u);
    QCOMPARE(transcoder.lastAacSize, -1); // no encode yet
    transcoder.Encode(in, sizeof in, out, &produced);
    QCOMPARE(transcoder.pcmFill, 320u);
    QVERIFY(transcoder.lastAacSize >= 0);
}

void tst_AacTranscoder::shortFrame_isEncodedAtOnce_andStays()
{
    OpenTranscoder transcoder(param(G7CodecALaw));
    QVERIFY(transcoder.Init());
    unsigned char out[G7ToAacOutputRoom];
    unsigned int produced = 0;
    transcoder.pcmDecoded = 100;
    transcoder.lastAacSize = -1;
    transcoder.takeFrame(out, &produced);
    QVERIFY(transcoder.lastAacSize >= 0);
    QCOMPARE(transcoder.pcmFill, 100u);
    for (int i = 0; i < 4; ++i) // the encoder begins to give on its fourth call
        transcoder.takeFrame(out, &produced);
    QCOMPARE(transcoder.pcmFill, 500u);
    QVERIFY(produced > 0);
}

void tst_AacTranscoder::oddSampleWidths_stayInBounds()
{
    QByteArray codes(20 * kFrameBytes, '\x2a');
    for (const uint bits : {8u, 15u, 24u, 32u}) {
        G7ToAacInitParam record = param(G7CodecG726, 2);
        record.bitsPerSample = bits;
        void *handle = Easy_AACEncoder_Init(record);
        QVERIFY(handle);
        QByteArray out(64 * G7ToAacOutputRoom, '\0');
        unsigned int produced = 0;
        QVERIFY(Easy_AACEncoder_Encode(handle, reinterpret_cast<uchar *>(codes.data()),
                                       uint(codes.size()), reinterpret_cast<uchar *>(out.data()),
                                       &produced) >= 0);
        Easy_AACEncoder_Release(handle);
    }
}

void tst_AacTranscoder::ring_takesAllOrNothing()
{
    G7Ring ring;
    QByteArray data(G7Ring::kCapacity - 10, 'a');
    QCOMPARE(ring.Write(reinterpret_cast<uchar *>(data.data()), data.size()), data.size());
    const unsigned char more[11] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    QCOMPARE(ring.Write(more, 11), -1);
    QCOMPARE(ring.Write(more, 10), 10);
    QCOMPARE(ring.Write(more, 1), -1);
    QCOMPARE(ring.Write(more, 0), 0);
    QCOMPARE(ring.Write(more, -5), 0);
    QByteArray back(G7Ring::kCapacity + 1, '\0');
    QCOMPARE(ring.Read(reinterpret_cast<uchar *>(back.data()), back.size()), 0);
    QCOMPARE(ring.Read(reinterpret_cast<uchar *>(back.data()), data.size()), data.size());
    QCOMPARE(back.left(data.size()), data);
    QCOMPARE(ring.Read(reinterpret_cast<uchar *>(back.data()), 10), 10);
    QCOMPARE(back.left(10), QByteArray(reinterpret_cast<const char *>(more), 10));
    QCOMPARE(ring.Read(reinterpret_cast<uchar *>(back.data()), 1), 0);
}

QTEST_APPLESS_MAIN(tst_AacTranscoder)
#include "tst_aactranscoder.moc"
