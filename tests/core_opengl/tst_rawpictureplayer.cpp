// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/rawpictureplayer_p.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

namespace {

constexpr int kWidth = 4;
constexpr int kHeight = 2;
constexpr int kBytes = kWidth * kHeight * 3 / 2; ///< of a picture
constexpr int kRate = 25;

} // namespace

class TestRawPicturePlayer : public QObject
{
    Q_OBJECT

private slots:
    void play_startsATimer_atTheRate();
    void play_withoutARate_startsNone_data();
    void play_withoutARate_startsNone();
    void play_ofNoFile_endsTheOneBefore();
    void play_again_beginsAtTheStart();
    void next_readsOnePictureAfterTheOther();
    void next_atTheEnd_isNought_andEndsTheTimer();
    void next_ofACutOffPicture_keepsTheRestOfTheOneBefore();
    void next_withoutAFile_fails();
    void next_thatCannotRead_fails_andTheTimerGoesOn();
    void next_ofAnotherSize_hasRoomForIt();
    void next_ofAnImpossibleSize_isNought_andEndsTheTimer_data();
    void next_ofAnImpossibleSize_isNought_andEndsTheTimer();
    void stop_endsTheTimer_andForgetsTheFile();

private:
    QString fileOf(const QByteArray &bytes)
    {
        const QString name = folder.filePath(QString::number(++files));
        QFile file(name);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? name
                                                                                    : QString();
    }
    static QByteArray picture(char sample) { return QByteArray(kBytes, sample); }
    static QByteArray shown(const RawPicturePlayer &player)
    {
        return QByteArray(reinterpret_cast<const char *>(player.data()), kBytes);
    }

    QTemporaryDir folder;
    int files = 0;
};

void TestRawPicturePlayer::play_startsATimer_atTheRate()
{
    RawPicturePlayer player;
    QVERIFY(!player.timer.isActive());
    player.play(fileOf(picture('a')), kRate, kWidth, kHeight);
    QVERIFY(player.timer.isActive());
    QCOMPARE(player.timer.interval(), 1000 / kRate);
    player.play(fileOf(picture('b')), 1000, kWidth, kHeight);
    QCOMPARE(player.timer.interval(), 1);
}

void TestRawPicturePlayer::play_withoutARate_startsNone_data()
{
    QTest::addColumn<int>("rate");
    QTest::newRow("0") << 0;
    QTest::newRow("negative") << -25;
    QTest::newRow("least") << std::numeric_limits<int>::min();
}

void TestRawPicturePlayer::play_withoutARate_startsNone()
{
    QFETCH(int, rate);
    RawPicturePlayer player;
    player.play(fileOf(picture('a')), kRate, kWidth, kHeight);
    player.play(fileOf(picture('b')), rate, kWidth, kHeight);
    QVERIFY(!player.timer.isActive());
}

void TestRawPicturePlayer::play_ofNoFile_endsTheOneBefore()
{
    RawPicturePlayer player;
    player.play(fileOf(picture('a')), kRate, kWidth, kHeight);
    player.play(folder.filePath(QStringLiteral("none")), kRate, kWidth, kHeight);
    QVERIFY(!player.timer.isActive());
    QCOMPARE(player.next(kWidth, kHeight), qint64(-1));
}

void TestRawPicturePlayer::play_again_beginsAtTheStart()
{
    RawPicturePlayer player;
    const QString file = fileOf(picture('a') + picture('b'));
    for (int i = 0; i < 2; ++i) {
        player.play(file, kRate, kWidth, kHeight);
        QCOMPARE(player.next(kWidth, kHeight), qint64(kBytes));
        QCOMPARE(shown(player), picture('a'));
    }
}

void TestRawPicturePlayer::next_readsOnePictureAfterTheOther()
{
    RawPicturePlayer player;
    player.play(fileOf(picture('a') + picture('b') + picture('c')), kRate, kWidth, kHeight);
    for (const char sample : {'a', 'b', 'c'}) {
        QCOMPARE(player.next(kWidth, kHeight), qint64(kBytes));
        QCOMPARE(shown(player), picture(sample));
        QVERIFY(player.timer.isActive());
    }
}

void TestRawPicturePlayer::next_atTheEnd_isNought_andEndsTheTimer()
{
    RawPicturePlayer player;
    player.play(fileOf(picture('a')), kRate, kWidth, kHeight);
    QCOMPARE(player.next(kWidth, kHeight), qint64(kBytes));
    QCOMPARE(player.next(kWidth, kHeight), qint64(0));
    QVERIFY(!player.timer.isActive());
    QCOMPARE(shown(player), picture('a')); // stays
}

void TestRawPicturePlayer::next_ofACutOffPicture_keepsTheRestOfTheOneBefore()
{
    RawPicturePlayer player;
    player.play(fileOf(picture('a') + picture('b').left(5)), kRate, kWidth, kHeight);
    QCOMPARE(player.next(kWidth, kHeight), qint64(kBytes));
    QCOMPARE(player.next(kWidth, kHeight), qint64(5));
    QVERIFY(player.timer.isActive()); // the end is told by the read after it
    QCOMPARE(shown(player), picture('b').left(5) + picture('a').mid(5));
}

void TestRawPicturePlayer::next_withoutAFile_fails()
{
    RawPicturePlayer player;
    QCOMPARE(player.next(kWidth, kHeight), qint64(-1));
}

void TestRawPicturePlayer::next_thatCannotRead_fails_andTheTimerGoesOn()
{
    RawPicturePlayer player;
    player.play(QStringLiteral("/proc/self/mem"), kRate, kWidth, kHeight); // nothing at its start
    QCOMPARE(player.next(kWidth, kHeight), qint64(-1));
    QVERIFY(player.timer.isActive());
}

void TestRawPicturePlayer::next_ofAnotherSize_hasRoomForIt()
{
    RawPicturePlayer player;
    const int large = kBytes * 100;
    player.play(fileOf(picture('a') + QByteArray(large, 'b')), kRate, kWidth, kHeight);
    QCOMPARE(player.next(kWidth, kHeight), qint64(kBytes));
    QCOMPARE(player.next(kWidth * 10, kHeight * 10), qint64(large));
    // Chroma of full height may be read of it too, which is not in the file.
    const QByteArray all(reinterpret_cast<const char *>(player.data()), kWidth * kHeight * 100 * 2);
    QCOMPARE(all.left(large), QByteArray(large, 'b'));
}

void TestRawPicturePlayer::next_ofAnImpossibleSize_isNought_andEndsTheTimer_data()
{
    const int most = std::numeric_limits<int>::max();
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("no width") << 0 << kHeight;
    QTest::newRow("no height") << kWidth << 0;
    QTest::newRow("negative") << -kWidth << kHeight;
    QTest::newRow("negative twice") << -kWidth << -kHeight;
    QTest::newRow("largest") << most << most;
    QTest::newRow("product wraps to 0") << 65536 << 65536;
    QTest::newRow("product wraps to 16") << 65540 << 65532;
    QTest::newRow("more than memory holds") << (1 << 15) << (1 << 14) + 1;
}

void TestRawPicturePlayer::next_ofAnImpossibleSize_isNought_andEndsTheTimer()
{
    QFETCH(int, width);
    QFETCH(int, height);
    RawPicturePlayer player;
    player.play(fileOf(picture('a')), kRate, width, height);
    QVERIFY(player.timer.isActive());
    QCOMPARE(player.next(width, height), qint64(0));
    QVERIFY(!player.timer.isActive());
}

void TestRawPicturePlayer::stop_endsTheTimer_andForgetsTheFile()
{
    RawPicturePlayer player;
    player.play(fileOf(picture('a') + picture('b')), kRate, kWidth, kHeight);
    QCOMPARE(player.next(kWidth, kHeight), qint64(kBytes));
    player.stop();
    QVERIFY(!player.timer.isActive());
    QCOMPARE(player.next(kWidth, kHeight), qint64(-1));
}

QTEST_GUILESS_MAIN(TestRawPicturePlayer)
#include "tst_rawpictureplayer.moc"
