// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The helpers that other tests take their clips and their expectations from.

#include "support/accessunits.h"
#include "support/clipmaker.h"
#include "support/filecontent.h"
#include "support/framemd5.h"

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

extern "C" {
#include <libavutil/log.h>
}

#include <vector>

using namespace vantratest;

class TestClips : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }
    void clip_hasItsCountAndKeyFrames_data();
    void clip_hasItsCountAndKeyFrames();
    void cutting_givesBackTheUnits_data() { clip_hasItsCountAndKeyFrames_data(); }
    void cutting_givesBackTheUnits();
    void cutting_bearsWhatIsNoStream();
    void rawFile_isKnownByItsSuffix();
    void unreadableFile_hasNoUnits();
    void number_isReadOnlyWhereItStands();
    void pictureMd5_leavesPaddingOut();
    void frameMd5_isReadFromItsFile();
    void companding_hitsKnownCodes();
};

void TestClips::clip_hasItsCountAndKeyFrames_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << 1;
    QTest::newRow("H.265") << 2;
}

void TestClips::clip_hasItsCountAndKeyFrames()
{
    QFETCH(int, codec);
    ClipOptions options;
    options.codec = codec;
    options.gop = 5;
    options.count = 12;
    const QVector<AccessUnit> units = makeClip(options);
    QCOMPARE(units.size(), 12);
    for (int i = 0; i < units.size(); ++i) {
        QCOMPARE(units[i].key, i % 5 == 0);
        QCOMPARE(units[i].pts, qint64(i) * 40);
        QVERIFY(units[i].data.startsWith(QByteArray("\0\0\0\1", 4)));
        if (units[i].key) // parameter sets, SPS or VPS, stand in every key frame
            QVERIFY(units[i].data.contains(codec == 1 ? QByteArray("\0\0\0\1\x67", 5)
                                                      : QByteArray("\0\0\0\1\x40\1", 6)));
    }
}

/// Without zero bytes at either end.
static QByteArray withoutZeros(const QByteArray &data)
{
    int first = 0;
    int last = data.size();
    while (first < last && data[first] == 0)
        ++first;
    while (last > first && data[last - 1] == 0)
        --last;
    return data.mid(first, last - first);
}

void TestClips::cutting_givesBackTheUnits()
{
    QFETCH(int, codec);
    ClipOptions options;
    options.codec = codec;
    options.gop = 5;
    const QVector<AccessUnit> units = makeClip(options);
    const QVector<AccessUnit> cut = cutAccessUnits(joinUnits(units), codec);
    QCOMPARE(cut.size(), units.size());
    QCOMPARE(joinUnits(cut), joinUnits(units));
    for (int i = 0; i < units.size(); ++i) {
        // The first zero of a start code may be counted to the unit before.
        QCOMPARE(withoutZeros(cut[i].data), withoutZeros(units[i].data));
        QCOMPARE(cut[i].key, units[i].key);
        QCOMPARE(cut[i].pts, qint64(i) * 40);
    }
}

void TestClips::cutting_bearsWhatIsNoStream()
{
    QVERIFY(cutAccessUnits(QByteArray(), 1).isEmpty());
    QCOMPARE(joinUnits(cutAccessUnits(QByteArray("no stream"), 2)), QByteArray("no stream"));
}

void TestClips::rawFile_isKnownByItsSuffix()
{
    QTemporaryDir dir;
    ClipOptions options;
    options.codec = 2;
    options.count = 3;
    const QByteArray stream = joinUnits(makeClip(options));
    QFile file(dir.filePath(QStringLiteral("clip.h265")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(stream);
    file.close();
    QCOMPARE(contentOf(file.fileName()), stream);
    const VideoUnits video = readVideoUnits(file.fileName());
    QCOMPARE(video.codec, 2);
    QCOMPARE(video.units.size(), 3);
}

void TestClips::unreadableFile_hasNoUnits()
{
    QTemporaryDir dir;
    QVERIFY(readVideoUnits(dir.filePath(QStringLiteral("none.264"))).units.isEmpty());
    const VideoUnits video = readVideoUnits(dir.filePath(QStringLiteral("none.mp4")));
    QCOMPARE(video.codec, 0);
    QVERIFY(video.units.isEmpty());
}

void TestClips::number_isReadOnlyWhereItStands()
{
    const std::vector<quint8> grey(320 * 240, 126);
    QCOMPARE(readNumber(grey.data(), 320, 320, 240), -1);
    const std::vector<quint8> white(320 * 240, 235);
    QCOMPARE(readNumber(white.data(), 320, 320, 240), -1);
    QCOMPARE(readNumber(nullptr, 320, 320, 240), -1);
    QCOMPARE(readNumber(white.data(), 320, 10, 240), -1);
}

void TestClips::pictureMd5_leavesPaddingOut()
{
    // 5 * 3, so chroma is 3 * 2; lines are 8 bytes apart.
    std::vector<uint8_t> planes[3];
    QByteArray packed;
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? 5 : 3;
        const int height = plane == 0 ? 3 : 2;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < 8; ++x) {
                planes[plane].push_back(uint8_t(plane * 64 + y * 8 + x));
                if (x < width)
                    packed.append(char(plane * 64 + y * 8 + x));
            }
        }
    }
    const uint8_t *const data[] = {planes[0].data(), planes[1].data(), planes[2].data()};
    const int lines[] = {8, 8, 8};
    QCOMPARE(pictureMd5(data, lines, 5, 3, AV_PIX_FMT_YUV420P),
             QCryptographicHash::hash(packed, QCryptographicHash::Md5).toHex());
}

void TestClips::frameMd5_isReadFromItsFile()
{
    QTemporaryDir dir;
    const QString clip = dir.filePath(QStringLiteral("clip.264"));
    QVERIFY(readFrameMd5(clip).isEmpty());
    QFile file(clip + QStringLiteral(".framemd5"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#format: frame checksums\n#stream#, dts, pts\n"
               "0,          0,          0,        1,   115200, 00112233445566778899aabbccddeeff\n"
               "0,          1,          1,        1,   115200, ffeeddccbbaa99887766554433221100\n");
    file.close();
    QCOMPARE(readFrameMd5(clip), (QVector<QByteArray>{"00112233445566778899aabbccddeeff",
                                                      "ffeeddccbbaa99887766554433221100"}));
}

void TestClips::companding_hitsKnownCodes()
{
    QCOMPARE(encodeALaw({0, -1, 32767, -32768}), QByteArray("\xd5\x55\xaa\x2a"));
    QCOMPARE(encodeMuLaw({0, -1, 32767, -32768}), QByteArray("\xff\x7f\x80\x00", 4));
    QCOMPARE(pcmBytes({0x1234}).size(), 2);
    const QVector<qint16> tone = makeTone(800, 8000, 100, 10000);
    QCOMPARE(tone[0], qint16(0));
    QCOMPARE(tone[20], qint16(10000)); // a quarter of a period
    QCOMPARE(tone[60], qint16(-10000));
}

QTEST_GUILESS_MAIN(TestClips)
#include "tst_clips.moc"
