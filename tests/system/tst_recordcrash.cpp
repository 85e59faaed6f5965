// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A recording process that is killed leaves a file that plays up to its last finished fragment.
#include "recordingmatrix.h"
#include "support/loggedtest.h"
#include "support/players.h"
#include "support/rounds.h"
#include "support/seed.h"

#include "../core_videosave/recordedfile.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <random>

using namespace vantratest;

namespace {

const int kKills = roundsOf(50, 20);
constexpr int kGop = 10;
constexpr int kClipPictures = 400;
constexpr int kLatestKill = 300; ///< pictures
/// Pictures until the first sound is in the file, at the latest; only then it has a header.
constexpr int kUntilSound = 20;
constexpr int kAnswerMs = 30000; ///< safeguard

/// The recorder, killed some time after it has told of so many pictures. How many it told of; -1 if
/// it did not come so far.
int recordUntilKilled(const QStringList &arguments, int pictures, int microseconds)
{
    QProcess recorder;
    recorder.start(QStringLiteral(VANTRA_TEST_RECORDER), arguments);
    int told = -1;
    QByteArray line;
    while (told < pictures) {
        if (!recorder.canReadLine() && !recorder.waitForReadyRead(kAnswerMs))
            return -1;
        while (recorder.canReadLine())
            told = recorder.readLine().trimmed().toInt();
    }
    QThread::usleep(microseconds); // so that it may be anywhere
    recorder.kill();
    recorder.waitForFinished();
    while (!(line = recorder.readLine()).isEmpty()) {
        if (line.endsWith('\n'))
            told = line.trimmed().toInt();
    }
    return told;
}

} // namespace

class TestRecordCrash : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void killedRecording_playsUpToItsLastFinishedFragment_data();
    void killedRecording_playsUpToItsLastFinishedFragment();

private:
    QTemporaryDir dir;
    quint32 seed = 0;
};

void TestRecordCrash::initTestCase()
{
    seed = seedOfThisRun();

    ClipOptions options;
    options.width = kPictureSize.width();
    options.height = kPictureSize.height();
    options.count = kClipPictures;
    options.gop = kGop;
    QFile clip(dir.filePath(QStringLiteral("clip.h264")));
    QVERIFY(clip.open(QIODevice::WriteOnly));
    QVERIFY(clip.write(joinUnits(makeClip(options))) > 0);
}

void TestRecordCrash::killedRecording_playsUpToItsLastFinishedFragment_data()
{
    QTest::addColumn<int>("filler");
    QTest::newRow("low bit rate") << 0;
    QTest::newRow("high bit rate") << 60000; // 12 Mbit/s
}

void TestRecordCrash::killedRecording_playsUpToItsLastFinishedFragment()
{
    QFETCH(int, filler);
    std::minstd_rand random(seed | 1);
    const QString path = dir.filePath(QStringLiteral("killed.mp4"));
    for (int kill = 0; kill < kKills; ++kill) {
        const bool sound = random() % 2;
        const bool packets = random() % 2;
        const int pictures = int(random() % kLatestKill);
        const int microseconds = int(random() % 3000);
        const int told = recordUntilKilled({dir.filePath(QStringLiteral("clip.h264")), path,
                                            packets ? "packets" : "frames",
                                            sound ? "sound" : "silent", QString::number(filler)},
                                           pictures, microseconds);
        // Those before the last key picture that the writer is done with are in finished fragments.
        int finished = qMax(0, told - 1) / kGop * kGop;
        if (sound && finished < kUntilSound)
            finished = 0;
        const RecordedFile file = readRecording(path);
        const QByteArray where =
            QStringLiteral("kill %1 of seed %2, %3 %4: told %5, finished %6, in the file %7 %8")
                .arg(kill)
                .arg(seed)
                .arg(packets ? "packets" : "frames", sound ? "sound" : "silent")
                .arg(told)
                .arg(finished)
                .arg(file.pictures.size())
                .arg(file.error)
                .toUtf8();
        QVERIFY2(told >= pictures, where);
        QVERIFY2(file.pictures.size() >= finished, where);
        for (int i = 0; i < file.pictures.size(); ++i)
            QVERIFY2(file.pictures.at(i) == i % kClipPictures, where);
        if (finished > 0) {
            const Playback played = decodeWithFFmpeg(path);
            QVERIFY2(played.pictures.size() >= finished, where);
        }
        QVERIFY(QFile::remove(path));
    }
}

QTEST_GUILESS_MAIN(TestRecordCrash)
#include "tst_recordcrash.moc"
