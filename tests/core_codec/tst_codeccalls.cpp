// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What the codec layer hands to FFmpeg, where pictures and sound alone do not tell.

#include "audiohandles.h"
#include "codectest.h"
#include "core_codec/codeccompat_p.h"
#include "ffmpegfaults.h"

#include <QtTest>

using namespace vantratest;

class TestCodecCalls : public CodecTest
{
    Q_OBJECT

protected:
    void tearDown() override
    {
        Faults::reset();
        CodecTest::tearDown();
    }

private slots:
    void initTestCase() { quietConsole(); }

    void videoPacket_borrowsItsData_andCarriesStampAndKey();
    void audioPacket_borrowsItsData_andCarriesItsStamp();
    void encodedFrame_hasNoStamp();
    void conversion_isToldBytesAsRoom();
    void layout_isTheDefaultOne_inEncoders();
};

void TestCodecCalls::videoPacket_borrowsItsData_andCarriesStampAndKey()
{
    ClipOptions options;
    options.count = 1;
    AccessUnit unit = makeClip(options).value(0);
    const VideoHandle handle = makeVideo(1);
    for (const bool key : {true, false}) {
        unit.key = key;
        unit.pts = 4711;
        QCOMPARE(decode(handle, unit), 0);
        const AVPacket &packet = Faults::sentPacket;
        QVERIFY(!packet.buf); // FFmpeg copies what it needs, and there is nothing to release
        QVERIFY(packet.data == bytesOf(unit.data));
        QCOMPARE(packet.size, unit.data.size());
        QCOMPARE(packet.pts, int64_t(4711));
        QCOMPARE(packet.dts, int64_t(4711));
        QCOMPARE(packet.stream_index, 0);
        QCOMPARE(packet.flags, key ? AV_PKT_FLAG_KEY : 0);
        QCOMPARE(packet.side_data_elems, 0);
    }
}

void TestCodecCalls::audioPacket_borrowsItsData_andCarriesItsStamp()
{
    const AudioDecoderHandle handle = makeDecoder(kMuLaw);
    const QByteArray codes(160, '\x55');
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, codes, &out, 815), 0);
    const AVPacket &packet = Faults::sentPacket;
    QVERIFY(!packet.buf);
    QVERIFY(packet.data == bytesOf(codes));
    QCOMPARE(packet.size, 160);
    QCOMPARE(packet.pts, int64_t(815));
    QCOMPARE(packet.dts, int64_t(815));
    QCOMPARE(packet.flags, 0);
}

void TestCodecCalls::encodedFrame_hasNoStamp()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(encode(handle, QByteArray(640, '\0'), &out, 815), 0);
    QCOMPARE(Faults::sentFramePts, int64_t(AV_NOPTS_VALUE));
    QCOMPARE(out.pts, quint64(815)); // it goes past the encoder
}

void TestCodecCalls::conversion_isToldBytesAsRoom()
{
    const AudioDecoderHandle handle = makeDecoder(kALaw);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
    QCOMPARE(Faults::convertSamples, 160);
    QCOMPARE(Faults::convertRoom, 320); // intended; it is never less than what goes in
}

void TestCodecCalls::layout_isTheDefaultOne_inEncoders()
{
    const AudioEncoderHandle handle = makeEncoder(kALaw, 8000, 2);
#if VANTRA_HAS_CHANNEL_LAYOUT_RECORD
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    QCOMPARE(av_channel_layout_compare(&handle->ctx->ch_layout, &stereo), 0);
    QCOMPARE(av_channel_layout_compare(&handle->frame->ch_layout, &stereo), 0);
#else
    QCOMPARE(handle->ctx->channel_layout, uint64_t(AV_CH_LAYOUT_STEREO));
    QCOMPARE(handle->frame->channel_layout, uint64_t(AV_CH_LAYOUT_STEREO));
#endif
}

QTEST_GUILESS_MAIN(TestCodecCalls)
#include "tst_codeccalls.moc"
