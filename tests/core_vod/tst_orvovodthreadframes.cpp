// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What becomes of the frames of a playback: what is shown, and where play is said to be.

#include "vodthreadcase.h"

#include <QDir>
#include <QTemporaryDir>

#include <limits>

using namespace vantratest;

class TestOrvoVodThreadFrames : public VodThreadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void frames_areDropped_withoutAViewer();
    void frames_withoutAViewer_endTheTimeouts();
    void viewer_whoComesBack_beginsAtAKeyPicture();
    void sound_beginsWithTheFirstKeyPicture();
    void unknownFrames_goNowhere();
    void position_isToldInStepsOfJustOverASecond();
    void position_isToldBehindThePicture();
    void position_bearsAnyStamp();
    void seek_leavesPositionAndDecodersAlone();
    void position_isThatOfVideoOnly();
    void brokenPictures_failAlone();
    void recording_isNotMade();
};

void TestOrvoVodThreadFrames::frames_areDropped_withoutAViewer()
{
    qint64 lastPts = -1;
    bool keyFrameSeen = true;
    feed(pictures(0, 15));
    feed(sound());
    feedLook([&] {
        lastPts = thread->lastPts;
        keyFrameSeen = thread->keyFrameSeen;
    });
    QVERIFY(begin(0));
    QVERIFY(settle());
    QCOMPARE(lastPts, qint64(0));
    QVERIFY(!keyFrameSeen);
    QVERIFY(shown().isEmpty());
    QVERIFY(positions().isEmpty());
    QCOMPARE(recorder->names(), QStringList("start"));
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::frames_withoutAViewer_endTheTimeouts()
{
    QVector<bool> raised;
    const auto look = [&] { raised << thread->isReadTimeout(); };
    feedTimes(5, HRetTimeout);
    feedLook(look);
    feed(picture(0));
    feedTimes(4, HRetTimeout);
    feedLook(look);
    QVERIFY(begin(0));
    QVERIFY(settle());
    QCOMPARE(raised, QVector<bool>({true, false}));
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::viewer_whoComesBack_beginsAtAKeyPicture()
{
    qint64 lastPts = -1;
    feed(pictures(5, 7)); // 10 is the first key picture
    feedLook([&] { thread->previewRef() = 0; });
    feed(pictures(12, 2));
    feedLook([&] {
        lastPts = thread->lastPts;
        thread->previewRef() = 1;
    });
    feed(pictures(14, 8)); // and 20 the next
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({10, 11, 20, 21}));
    QCOMPARE(lastPts, qint64(1000 + 11 * kFrameMs));
    // Unlike with a live stream its arrival is not announced: the decoder has been there all along.
    QCOMPARE(recorder->count(QStringLiteral("codecRender")), 1);
    QCOMPARE(recorder->count(QStringLiteral("renderStart")), 1);
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::sound_beginsWithTheFirstKeyPicture()
{
    qint64 lastPts = -1;
    feed(sound(0));
    feed(picture(3));
    feed(sound(1));
    feed(picture(10));
    feed(sound(2));
    feed(sound(3));
    feedLook([&] { lastPts = thread->lastPts; });
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({10}));
    QCOMPARE(recorder->count(QStringLiteral("audioFormat")), 1);
    QCOMPARE(recorder->count(QStringLiteral("audio")), 2);
    QCOMPARE(lastPts, qint64(1000 + 10 * kFrameMs)); // sound leaves it alone
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::unknownFrames_goNowhere()
{
    qint64 lastPts = -1;
    feed(picture(0));
    for (const quint32 type : {5u, 6u, 0xffffffffu}) {
        ScriptedFrame frame = picture(1);
        frame.header.frameType = type;
        frame.header.pts = 1000000;
        feed(frame);
    }
    feedLook([&] { lastPts = thread->lastPts; });
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({0}));
    QCOMPARE(lastPts, qint64(1000));
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::position_isToldInStepsOfJustOverASecond()
{
    const qint64 base = QDateTime(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC).toMSecsSinceEpoch();
    const int stamps[] = {0, 40, 1000, 1001, 1002, 2001, 2002, 500, 3000, 9000, 9999, 10001};
    for (const int stamp : stamps)
        feedPicture(0, base + stamp);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(positions(),
             QVector<qint64>({base, base + 1001, base + 2002, base + 9000, base + 10001}));
    QCOMPARE(recorder->calls(QStringLiteral("position")).first().thread,
             static_cast<QThread *>(thread.get()));
    QCOMPARE(thread->getPosition(), base + 10001);
    QVERIFY(end());
    QCOMPARE(thread->getPosition(), qint64(0)); // of the next play
    QCOMPARE(positions().size(), 5);
}

void TestOrvoVodThreadFrames::position_isToldBehindThePicture()
{
    QVector<int> shownBefore;
    QObject::connect(
        thread.get(), &AbstractVideoThread::receivePosition, thread.get(),
        [&] { shownBefore << shown().size(); }, Qt::DirectConnection);
    for (const int pts : {5000, 5500, 6001})
        feedPicture(0, pts);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shownBefore, QVector<int>({1, 3}));
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::seek_leavesPositionAndDecodersAlone()
{
    feedPicture(0, 60000);
    QVERIFY(begin());
    QVERIFY(settle());
    thread->seekFile(QDateTime::fromMSecsSinceEpoch(20000, Qt::UTC));
    QCOMPARE(thread->getPosition(), qint64(60000));
    feedPicture(1, 60040); // still of before
    feedPicture(0, 20000);
    feedPicture(1, 20040);
    feedPicture(10, 60900);
    feedPicture(11, 61001);
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({0, 1, 0, 1, 10, 11}));
    // It is told again once play has passed where it was.
    QCOMPARE(positions(), QVector<qint64>({60000, 61001}));
    QCOMPARE(recorder->count(QStringLiteral("codecRender")), 1);
    QCOMPARE(script->count(Op::vodStart), 1);
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::position_bearsAnyStamp()
{
    constexpr qint64 least = std::numeric_limits<qint64>::min();
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    for (const qint64 stamp : {least, qint64(-1), qint64(0), qint64(1000), most, least, most})
        feedPicture(0, stamp);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(positions(), QVector<qint64>({most}));
    QCOMPARE(shown().size(), 7);
    QVERIFY(end());
    QCOMPARE(thread->lastPts, most);
}

void TestOrvoVodThreadFrames::position_isThatOfVideoOnly()
{
    feedPicture(0, 5000);
    ScriptedFrame late = sound();
    late.header.pts = 60000;
    feed(late);
    feedPicture(1, 6000);
    feedPicture(2, 6001);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(positions(), QVector<qint64>({5000, 6001}));
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::brokenPictures_failAlone()
{
    log->expect(Logger::Error, QStringLiteral("(pvptvthr)decode video frame err"));
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffpg\\)avcodec_send_packet failed"));
    log->expect(Logger::Warning, QStringLiteral("(mdcdc)video decoder fail (0:0)"));
    feedPicture(0, 5000);
    ScriptedFrame tooLong = picture(1);
    tooLong.header.frameSize = 0xffffffffu;
    tooLong.header.pts = 7000;
    feed(tooLong);
    ScriptedFrame empty = picture(1);
    empty.header.frameSize = 0;
    empty.header.pts = 9000;
    feed(empty);
    feedPicture(10, 9100);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({0, 10}));
    QCOMPARE(positions(), QVector<qint64>({5000, 7000, 9000})); // play has come there all the same
    QVERIFY(log->count(Logger::Error, QStringLiteral("(pvptvthr)decode video frame err")) >= 1);
    QVERIFY(end());
}

void TestOrvoVodThreadFrames::recording_isNotMade()
{
    QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("a.mp4"));
    thread->setFileName(AbstractVideoThread::MANUAL_RECORD, name);
    thread->recordStart(AbstractVideoThread::MANUAL_RECORD);
    feed(pictures(0, 30));
    QVERIFY(begin());
    QVERIFY(settle());
    QVERIFY(end());
    QCOMPARE(shown().size(), 30);
    QVERIFY(QDir(folder.path()).isEmpty());
    QVERIFY(log->unexpected().isEmpty());
}

QTEST_GUILESS_MAIN(TestOrvoVodThreadFrames)
#include "tst_orvovodthreadframes.moc"
