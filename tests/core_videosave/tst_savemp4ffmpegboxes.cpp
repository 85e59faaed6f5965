// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How the file is made up: fragments that begin at key pictures, and what of it is in the hands of
/// the system while the recording goes on.

#include "mp4boxes.h"
#include "recordcase.h"
#include "recordedfile.h"
#include "recordingtools.h"

#include "support/tone.h"

#include <QtTest>

using namespace vantratest;

class TestSaveMp4FFmpegBoxes : public RecordCase
{
    Q_OBJECT

private slots:
    void fragments_beginAtKeyPictures_data();
    void fragments_beginAtKeyPictures();
    void header_waitsForTheFirstFragment();
    void finishedFragments_areNotHeldBack();
    void soundAlone_isHeldBackForSecondsAtMost();
    void announcedSound_thatIsLate_holdsNothingBack();
    void picturesWithoutKey_areNotHeldWithoutEnd();
    void longGops_areOneFragment();
};

void TestSaveMp4FFmpegBoxes::fragments_beginAtKeyPictures_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<bool>("sound");
    QTest::newRow("H.264") << 1 << false;
    QTest::newRow("H.265") << 2 << false;
    QTest::newRow("H.264 with sound") << 1 << true;
}

void TestSaveMp4FFmpegBoxes::fragments_beginAtKeyPictures()
{
    QFETCH(int, codec);
    QFETCH(bool, sound);
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(codec), sound ? audioPara(HCodecG711A) : HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i) {
        feed.picture(clip(codec).at(i), i * kFrameMs);
        for (int j = 0; sound && j < 2; ++j)
            feed.frame(4, i * kFrameMs + j * 20, QByteArray(kBlockSamples, '\xd5'));
    }
    writer.stop();
    const Mp4Boxes boxes = readBoxes(path());
    QCOMPARE(boxes.error, QString());
    QCOMPARE(boxes.tail, qint64(0));
    QStringList expected{"ftyp", "moov"};
    const int fragments = boxes.fragments.size();
    for (int i = 0; i < fragments; ++i)
        expected += QStringList{"moof", "mdat"};
    QCOMPARE(boxes.top, expected + QStringList{"mfra"});
    // The first frame of AAC comes after 0.4 s, and the header waits for it.
    QVERIFY(sound ? fragments >= kPictures / kGop - 1 : fragments == kPictures / kGop);
    int pictures = 0;
    for (const QVector<TrackFragment> &fragment : boxes.fragments) {
        QCOMPARE(fragment.first().track, 1);
        QVERIFY(fragment.first().beginsWithKey);
        QCOMPARE(fragment.first().time, qint64(pictures) * kFrameMs * 90);
        pictures += fragment.first().samples;
        QCOMPARE(pictures % kGop, 0);
        for (const TrackFragment &track : fragment)
            QVERIFY(track.track == 1 || track.beginsWithKey);
    }
    QCOMPARE(pictures, kPictures);
}

void TestSaveMp4FFmpegBoxes::header_waitsForTheFirstFragment()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    QVERIFY(QFile::exists(path()));
    Feeder feed(writer);
    for (int i = 0; i < kGop; ++i) {
        feed.picture(clip(1).at(i), i * kFrameMs);
        feed.settle();
        QCOMPARE(QFileInfo(path()).size(), qint64(0));
    }
    feed.picture(clip(1).at(kGop), kGop * kFrameMs);
    QVERIFY(waitFor([&] { return !readBoxes(path()).fragments.isEmpty(); }));
    QCOMPARE(readBoxes(path()).top, (QStringList{"ftyp", "moov", "moof", "mdat"}));
    QCOMPARE(readBoxes(path()).fragments.first().first().samples, kGop);
}

void TestSaveMp4FFmpegBoxes::finishedFragments_areNotHeldBack()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i) {
        feed.picture(clip(1).at(i), i * kFrameMs);
        if (i % kGop != 0 || i == 0)
            continue;
        // All before this key picture, some hundred bytes only, is in the file to its last byte.
        QVERIFY(waitFor([&] {
            const Mp4Boxes boxes = readBoxes(path());
            return boxes.fragments.size() == i / kGop && boxes.tail == 0 &&
                   boxes.top.last() == QLatin1String("mdat");
        }));
    }
}

void TestSaveMp4FFmpegBoxes::soundAlone_isHeldBackForSecondsAtMost()
{
    SaveMp4FFmpeg writer;
    writer.setPara(HVideoEncPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    const QByteArray sound = encodeALaw(makeTone(4 * kSampleRate, kSampleRate, kHertz));
    for (int at = 0; at < sound.size(); at += kBlockSamples)
        feed.frame(4, at / 8, sound.mid(at, kBlockSamples));
    QVERIFY(waitFor([&] { return !readBoxes(path()).fragments.isEmpty(); }));
    writer.stop();
    QVERIFY(readBoxes(path()).fragments.size() >= 2);
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QVERIFY(file.sound.size() >= 3 * kSampleRate * 2);
}

void TestSaveMp4FFmpegBoxes::announcedSound_thatIsLate_holdsNothingBack()
{
    constexpr int kSilentPictures = 100;
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kSilentPictures; ++i)
        feed.picture(clip(1).at(i % kPictures), i * kFrameMs);
    // What came before the last key picture.
    const auto inFile = [this] {
        int pictures = 0;
        for (const QVector<TrackFragment> &fragment : readBoxes(path()).fragments)
            pictures += fragment.first().samples;
        return pictures;
    };
    QVERIFY(waitFor([&] { return inFile() == kSilentPictures - kGop; }));
    const QByteArray sound = encodeALaw(makeTone(3 * kSampleRate, kSampleRate, kHertz));
    for (int at = 0; at < sound.size(); at += kBlockSamples)
        feed.frame(4, kSilentPictures * kFrameMs + at / 8, sound.mid(at, kBlockSamples));
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.times, regularTimes(kSilentPictures));
    QVERIFY(file.tellsSound);
    QCOMPARE(file.sampleRate, kSampleRate);
    QVERIFY(file.sound.size() >= 2 * kSampleRate * 2);
    QVERIFY(hasTone(file.sound.mid(kSampleRate), kSampleRate, kHertz));
}

void TestSaveMp4FFmpegBoxes::picturesWithoutKey_areNotHeldWithoutEnd()
{
    constexpr int kMany = 760;
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.frame(0, 0, clip(1).first().data);
    for (int i = 1; i < kMany; ++i) {
        feed.frame(1, i * kFrameMs, clip(1).at(1).data);
        if (i % 10 == 0) // a key picture that is none ends no fragment
            feed.frame(0, i * kFrameMs + 1, QByteArray());
    }
    QVERIFY(waitFor([&] { return !readBoxes(path()).fragments.isEmpty(); }));
    QVERIFY(readBoxes(path()).fragments.first().first().samples >= 700);
    log->expectMatching(Logger::Error, QRegularExpression("write video .*err \\(-1094995529:"));
    writer.stop();
}

void TestSaveMp4FFmpegBoxes::longGops_areOneFragment()
{
    // Ten megabytes from one key picture to the next, as a large camera sends in ten seconds.
    constexpr int kLong = 100;
    const QByteArray filler = QByteArray::fromHex("0000010c") + QByteArray(100000, '\xff');
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.frame(0, 0, clip(1).first().data);
    for (int i = 1; i < kLong; ++i)
        feed.frame(1, i * kFrameMs, clip(1).at(1).data + filler);
    feed.frame(0, kLong * kFrameMs, clip(1).first().data);
    writer.stop();
    const Mp4Boxes boxes = readBoxes(path());
    QCOMPARE(boxes.fragments.size(), 2);
    QCOMPARE(boxes.fragments.first().first().samples, kLong);
    QVERIFY(boxes.fragments.first().first().onlyTheFirstIsKey);
}

int main(int argc, char *argv[])
{
    av_log_set_level(AV_LOG_QUIET);
    QCoreApplication app(argc, argv);
    TestSaveMp4FFmpegBoxes test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_savemp4ffmpegboxes.moc"
