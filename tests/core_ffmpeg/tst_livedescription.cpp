// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_ffmpeg/ffmpegptr.h"
#include "core_ffmpeg/livedescription_p.h"
#include "simulator/coding/bits.h"

#include <QtTest>

#include <cstring>

using vantrasim::BitWriter;
using vantrasim::Bytes;

namespace {

using ParametersPtr = FFmpegPtr<AVCodecParameters, &avcodec_parameters_free>;

/// What a made H.264 sequence parameter set says.
struct Sequence
{
    std::uint32_t profile = 77;
    std::uint32_t chroma = 1; ///< written where the profile has it
    bool scalingLists = false;
    std::uint32_t orderType = 0;
    bool frames = true;
    bool cropped = false;
    bool usability = true;
    bool looks = false;
    bool timing = true;
    std::uint32_t tick = 1, scale = 50; ///< 25 a second
    bool models = false;
    bool restriction = true;
    std::uint32_t late = 0; ///< pictures
};

void writeScalingLists(BitWriter *out, std::uint32_t chroma)
{
    out->flag(true);
    const int lists = chroma == 3 ? 12 : 8;
    for (int i = 0; i < lists; ++i) {
        out->flag(i % 2 == 0);
        if (i % 2 != 0)
            continue;
        if (i == 0) { // ends at its second entry
            out->se(8);
            out->se(-16);
            continue;
        }
        for (int entry = 0; entry < (i < 6 ? 16 : 64); ++entry)
            out->se(entry % 2 == 0 ? 1 : -1);
    }
}

void writeOrder(BitWriter *out, std::uint32_t type)
{
    out->ue(type);
    if (type == 0) {
        out->ue(4);
    } else if (type == 1) {
        out->flag(true);
        out->se(-3);
        out->se(2);
        out->ue(2);
        out->se(1);
        out->se(-70000);
    }
}

void writeLooks(BitWriter *out, bool looks)
{
    out->flag(looks);
    if (looks) {
        out->bits(255, 8);
        out->bits(0x00040003, 32);
    }
    out->flag(looks);
    if (looks)
        out->flag(true);
    out->flag(looks);
    if (looks) {
        out->bits(0xb, 4);
        out->flag(true);
        out->bits(0x010101, 24);
    }
    out->flag(looks);
    if (looks) {
        out->ue(0);
        out->ue(5);
    }
}

void writeModel(BitWriter *out)
{
    out->ue(1);
    out->bits(0x34, 8);
    for (int i = 0; i < 2; ++i) {
        out->ue(100000);
        out->ue(7);
        out->flag(i == 0);
    }
    out->bits(0xabcde, 20);
}

void writeUsability(BitWriter *out, const Sequence &sequence)
{
    writeLooks(out, sequence.looks);
    out->flag(sequence.timing);
    if (sequence.timing) {
        out->bits(sequence.tick, 32);
        out->bits(sequence.scale, 32);
        out->flag(true);
    }
    out->flag(sequence.models);
    if (sequence.models)
        writeModel(out);
    out->flag(sequence.models);
    if (sequence.models) {
        writeModel(out);
        out->flag(true);
    }
    out->flag(true);
    out->flag(sequence.restriction);
    if (sequence.restriction) {
        out->flag(true);
        for (int i = 0; i < 4; ++i)
            out->ue(std::uint32_t(i));
        out->ue(sequence.late);
        out->ue(4);
    }
}

Bytes unitOf(const Sequence &sequence)
{
    BitWriter out;
    out.bits(0x67, 8);
    out.bits(sequence.profile, 8);
    out.bits(0x001e, 16);
    out.ue(0);
    if (sequence.profile >= 100) {
        out.ue(sequence.chroma);
        if (sequence.chroma == 3)
            out.flag(false);
        out.ue(0);
        out.ue(0);
        out.flag(false);
        if (sequence.scalingLists)
            writeScalingLists(&out, sequence.chroma);
        else
            out.flag(false);
    }
    out.ue(0);
    writeOrder(&out, sequence.orderType);
    out.ue(4);
    out.flag(false);
    out.ue(19);
    out.ue(14);
    out.flag(sequence.frames);
    if (!sequence.frames)
        out.flag(false);
    out.flag(true);
    out.flag(sequence.cropped);
    for (int i = 0; sequence.cropped && i < 4; ++i)
        out.ue(std::uint32_t(i));
    out.flag(sequence.usability);
    if (sequence.usability)
        writeUsability(&out, sequence);
    out.alignWithStop();
    return out.bytes();
}

Bytes streamOf(const QVector<Sequence> &sequences)
{
    Bytes stream;
    for (const Sequence &sequence : sequences)
        vantrasim::appendUnit(unitOf(sequence), &stream);
    vantrasim::appendUnit({0x68, 0xef, 0x3c, 0x80}, &stream); // a picture parameter set
    return stream;
}

bool tells(const Bytes &sets, AVCodecID codec = AV_CODEC_ID_H264)
{
    const ParametersPtr parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = codec;
    // Of exactly this size and FFmpeg's padding, so that a sanitizer sees what is read beyond.
    parameters->extradata =
        static_cast<std::uint8_t *>(av_mallocz(sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!sets.empty())
        memcpy(parameters->extradata, sets.data(), sets.size());
    parameters->extradata_size = int(sets.size());
    return tellsOrderAndRate(parameters.get());
}

Bytes bytesOf(const char *hexadecimal)
{
    const QByteArray bytes = QByteArray::fromHex(hexadecimal);
    return Bytes(bytes.begin(), bytes.end());
}

// As x265 writes them, with the timing of 25 a second and without.
constexpr char kH265WithTiming[] =
    "0000000140010c01ffff01600000030090000003000003003c959809000000014201010160000003009000000300"
    "0003003ca00a080b9f796566924caf016808000003000800000300c840000000014401c172b46240";
constexpr char kH265WithoutTiming[] =
    "0000000140010c01ffff01600000030090000003000003003c959809000000014201010160000003009000000300"
    "0003003ca00a080b9f796566924caf01680080000000014401c172b46240";

} // namespace

Q_DECLARE_METATYPE(Sequence)

class TestLiveDescription : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }

    void h264_data();
    void h264();
    void h264_asAnEncoderWritesIt_data();
    void h264_asAnEncoderWritesIt();
    void h264_ofSeveralSets_allMustTell();
    void h264_cutShort_tellsNothing();
    void h264_cutBehindItsRate_tellsNothing();
    void h264_ofNoise_isBorne();
    void h265_tellsWithItsTiming();
    void nothing_tellsNothing();
};

void TestLiveDescription::h264_data()
{
    QTest::addColumn<Sequence>("sequence");
    QTest::addColumn<bool>("isTold");
    const auto row = [](const char *name, bool isTold, const std::function<void(Sequence &)> &set) {
        Sequence sequence;
        set(sequence);
        QTest::newRow(name) << sequence << isTold;
    };
    row("all there", true, [](Sequence &) {});
    row("late pictures, told", true, [](Sequence &s) { s.late = 2; });
    row("high profile", true, [](Sequence &s) { s.profile = 100; });
    row("scaling lists", true, [](Sequence &s) {
        s.profile = 100;
        s.scalingLists = true;
    });
    row("full chroma, scaling lists", true, [](Sequence &s) {
        s.profile = 244;
        s.chroma = 3;
        s.scalingLists = true;
    });
    row("order of a cycle", true, [](Sequence &s) { s.orderType = 1; });
    row("cropped", true, [](Sequence &s) { s.cropped = true; });
    row("looks", true, [](Sequence &s) { s.looks = true; });
    row("models of buffers", true, [](Sequence &s) { s.models = true; });
    row("12.5 a second", true, [](Sequence &s) { s.scale = 25; });
    row("29.97 a second", true, [](Sequence &s) {
        s.tick = 1001;
        s.scale = 60000;
    });
    row("1 a second", true, [](Sequence &s) { s.scale = 2; });
    row("60 a second", true, [](Sequence &s) { s.scale = 120; });
    row("in the order of decoding, no restriction", true, [](Sequence &s) {
        s.orderType = 2;
        s.restriction = false;
    });
    row("no restriction", false, [](Sequence &s) { s.restriction = false; });
    row("no timing", false, [](Sequence &s) { s.timing = false; });
    row("no usability information", false, [](Sequence &s) { s.usability = false; });
    row("fields", false, [](Sequence &s) { s.frames = false; });
    row("less than 1 a second", false, [](Sequence &s) { s.scale = 1; });
    row("61 a second", false, [](Sequence &s) { s.scale = 122; });
    row("no tick", false, [](Sequence &s) { s.tick = 0; });
    row("no scale", false, [](Sequence &s) { s.scale = 0; });
    row("largest numbers", false, [](Sequence &s) { s.tick = s.scale = 0xffffffff; });
}

void TestLiveDescription::h264()
{
    QFETCH(Sequence, sequence);
    QFETCH(bool, isTold);
    QCOMPARE(tells(streamOf({sequence})), isTold);
}

void TestLiveDescription::h264_asAnEncoderWritesIt_data()
{
    QTest::addColumn<QByteArray>("set");
    QTest::addColumn<bool>("isTold");
    QTest::newRow("x264") << QByteArray("6764000cacb202833f3e0220000003002000000651e28549") << true;
    QTest::newRow("x264, reordered")
        << QByteArray("6764000cacd941419f9f011000000300100000030320f1429960") << true;
    QTest::newRow("x264, models of buffers")
        << QByteArray("6764000dacb202833f3e022000000300200000065c04003d08000f425261803c50a920")
        << true;
    QTest::newRow("x264, interlaced")
        << QByteArray("67640015acd941433f260220000003002000000643e28532c0") << false;
    QTest::newRow("baseline, nothing but the size") << QByteArray("6742001e95a0a00b69") << false;
}

void TestLiveDescription::h264_asAnEncoderWritesIt()
{
    QFETCH(QByteArray, set);
    QFETCH(bool, isTold);
    QCOMPARE(tells(bytesOf("00000001" + set)), isTold);
    QCOMPARE(tells(bytesOf("000001" + set + "00000168ef3c80")), isTold);
}

void TestLiveDescription::h264_ofSeveralSets_allMustTell()
{
    Sequence silent;
    silent.timing = false;
    QVERIFY(tells(streamOf({Sequence(), Sequence()})));
    QVERIFY(!tells(streamOf({Sequence(), silent})));
    QVERIFY(!tells(streamOf({silent, Sequence()})));
    QVERIFY(!tells(streamOf({})));
}

void TestLiveDescription::h264_cutShort_tellsNothing()
{
    Sequence sequence;
    sequence.profile = 100;
    sequence.scalingLists = sequence.looks = sequence.models = true;
    Bytes stream;
    vantrasim::appendUnit(unitOf(sequence), &stream);
    QVERIFY(tells(stream));
    stream.resize(stream.size() - 2); // into the restrictions
    while (!stream.empty()) {
        QVERIFY2(!tells(stream), qPrintable(QString::number(stream.size())));
        stream.pop_back();
    }
}

/// The rate alone would do for pictures that come as decoded, if it were whole.
void TestLiveDescription::h264_cutBehindItsRate_tellsNothing()
{
    Sequence sequence;
    sequence.orderType = 2;
    sequence.cropped = true; // so that the rate ends with a byte, and its last bit is in the next
    constexpr std::size_t kBytesWithRate = 18;
    for (const std::size_t more : {1, 0}) {
        Bytes unit = unitOf(sequence);
        QVERIFY(unit.size() > kBytesWithRate + more);
        unit.resize(kBytesWithRate + more);
        Bytes stream;
        vantrasim::appendUnit(unit, &stream);
        QCOMPARE(tells(stream), more == 1);
    }
}

void TestLiveDescription::h264_ofNoise_isBorne()
{
    const Bytes whole = streamOf({Sequence()});
    for (std::size_t i = 5; i < whole.size(); ++i) {
        for (const int value : {0x00, 0x01, 0x55, 0xff}) {
            Bytes changed = whole;
            changed[i] = std::uint8_t(value);
            tells(changed);
        }
        Bytes flooded = whole;
        std::fill(flooded.begin() + std::ptrdiff_t(i), flooded.end(), std::uint8_t(0xff));
        tells(flooded);
        std::fill(flooded.begin() + std::ptrdiff_t(i), flooded.end(), std::uint8_t(0));
        tells(flooded);
    }
}

void TestLiveDescription::h265_tellsWithItsTiming()
{
    QVERIFY(tells(bytesOf(kH265WithTiming), AV_CODEC_ID_HEVC));
    QVERIFY(!tells(bytesOf(kH265WithoutTiming), AV_CODEC_ID_HEVC));
    QVERIFY(!tells(bytesOf("000000014001"), AV_CODEC_ID_HEVC));
}

void TestLiveDescription::nothing_tellsNothing()
{
    QVERIFY(!tellsOrderAndRate(nullptr));
    QVERIFY(!tells({}));
    QVERIFY(!tells({}, AV_CODEC_ID_HEVC));
    QVERIFY(!tells(streamOf({Sequence()}), AV_CODEC_ID_MPEG4));
    QVERIFY(!tells(Bytes(std::size_t(1) << 17, 0)));
    const ParametersPtr parameters(avcodec_parameters_alloc());
    parameters->codec_id = AV_CODEC_ID_H264;
    QVERIFY(!tellsOrderAndRate(parameters.get()));
}

QTEST_GUILESS_MAIN(TestLiveDescription)
#include "tst_livedescription.moc"
