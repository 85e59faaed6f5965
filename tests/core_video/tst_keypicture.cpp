// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Key pictures whose parameter sets stand only in the description of their stream.

#include "core_video/keypicture_p.h"

#include "support/clipmaker.h"
#include "support/streammaker.h"

#include <QtTest>

#include <limits>

using namespace vantratest;

namespace {

struct ParametersDeleter
{
    void operator()(AVCodecParameters *parameters) const { avcodec_parameters_free(&parameters); }
};
using Parameters = std::unique_ptr<AVCodecParameters, ParametersDeleter>;

Parameters description(AVCodecID codec, const QByteArray &extradata)
{
    Parameters parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = codec;
    if (!extradata.isEmpty()) {
        const auto size = static_cast<size_t>(extradata.size());
        parameters->extradata =
            static_cast<quint8 *>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
        memcpy(parameters->extradata, extradata.constData(), size);
        parameters->extradata_size = extradata.size();
    }
    return parameters;
}

AVPacketPtr packetOf(const QByteArray &bytes)
{
    AVPacketPtr packet(av_packet_alloc());
    if (!bytes.isEmpty() && av_new_packet(packet.get(), bytes.size()) == 0)
        memcpy(packet->data, bytes.constData(), static_cast<size_t>(bytes.size()));
    packet->stream_index = 3;
    packet->pts = 4711;
    packet->flags = AV_PKT_FLAG_KEY;
    return packet;
}

QByteArray bytesOf(const AVPacketPtr &packet)
{
    return QByteArray(reinterpret_cast<const char *>(packet->data), packet->size);
}

} // namespace

class TestKeyPicture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }
    void sets_areAdded_whereTheyAreMissing_data();
    void sets_areAdded_whereTheyAreMissing();
    void nothing_isAdded_whereItCannotBe_data();
    void nothing_isAdded_whereItCannotBe();
};

void TestKeyPicture::sets_areAdded_whereTheyAreMissing_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("codecId");
    QTest::newRow("H.264") << 1 << int(AV_CODEC_ID_H264);
    QTest::newRow("H.265") << 2 << int(AV_CODEC_ID_HEVC);
}

void TestKeyPicture::sets_areAdded_whereTheyAreMissing()
{
    QFETCH(int, codec);
    QFETCH(int, codecId);
    ClipOptions options;
    options.codec = codec;
    options.count = 1;
    const QVector<AccessUnit> whole = makeClip(options);
    QCOMPARE(whole.size(), 1);
    const QByteArray bare = withoutParameterSets(whole, codec).first().data;
    // Their content does not matter: nothing looks into them.
    const QByteArray sets("\0\0\0\1\x67sets", 9);
    const Parameters parameters = description(static_cast<AVCodecID>(codecId), sets);

    const AVPacketPtr packet = packetOf(bare);
    const AVPacketPtr completed = withParameterSets(packet.get(), parameters.get());
    QVERIFY(completed);
    QCOMPARE(bytesOf(completed), sets + bare);
    QCOMPARE(completed->stream_index, 3);
    QCOMPARE(completed->pts, int64_t(4711));
    QVERIFY(completed->flags & AV_PKT_FLAG_KEY);
    QCOMPARE(bytesOf(packet), bare);

    QVERIFY(!withParameterSets(packetOf(whole.first().data).get(), parameters.get()));
}

void TestKeyPicture::nothing_isAdded_whereItCannotBe_data()
{
    QTest::addColumn<int>("codecId");
    QTest::addColumn<QByteArray>("sets");
    QTest::addColumn<QByteArray>("picture");
    const QByteArray sets("\0\0\1\x67sets", 8);
    const QByteArray picture("\0\0\1\x65picture", 11);
    const int h264 = AV_CODEC_ID_H264;
    QTest::newRow("other codec") << int(AV_CODEC_ID_MJPEG) << sets << picture;
    QTest::newRow("no description") << h264 << QByteArray() << picture;
    QTest::newRow("sets of a file") << h264 << QByteArray("\1\x64\0\x1f\xff\xe1", 6) << picture;
    QTest::newRow("picture of a file") << h264 << sets << QByteArray("\0\0\0\7\x65picture", 12);
    QTest::newRow("no picture") << h264 << sets << QByteArray();
    QTest::newRow("short sets") << h264 << QByteArray("\0\0\1", 3) << picture;
    QTest::newRow("short picture") << h264 << sets << QByteArray("\0\0", 2);
}

void TestKeyPicture::nothing_isAdded_whereItCannotBe()
{
    QFETCH(int, codecId);
    QFETCH(QByteArray, sets);
    QFETCH(QByteArray, picture);
    const Parameters parameters = description(static_cast<AVCodecID>(codecId), sets);
    QVERIFY(!withParameterSets(packetOf(picture).get(), parameters.get()));
    QVERIFY(!withParameterSets(nullptr, parameters.get()));
    QVERIFY(!withParameterSets(packetOf(picture).get(), nullptr));
}

QTEST_GUILESS_MAIN(TestKeyPicture)
#include "tst_keypicture.moc"
