// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The files of downloads: where they are cut, and what is in them.

#include "downloadcase.h"

#include "support/players.h"
#include "support/speech.h"

#include <algorithm>
#include <cmath>
#include <iterator>

using namespace vantratest;

class TestOrvoVodDLFiles : public DownloadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void interval_cuts_whenItIsOver_data();
    void interval_cuts_whenItIsOver();
    void interval_countsFromEachFile();
    void interval_cutsAtKeyPicturesOnly();
    void changedForm_cuts_data();
    void changedForm_cuts();
    void changedCodec_makesAFileOfTheOther();
    void changedSound_cuts_onlyWhereSoundIsSaved_data();
    void changedSound_cuts_onlyWhereSoundIsSaved();
    void soundThatIsNotThere_butDescribed_cutsAtEachKeyPicture();
    void failedDescription_cuts_andTheOldFormHolds();
    void formIsAsked_atKeyPicturesOnly();
    void firstFrames_areDropped_untilAKeyPicture();
    void firstSound_isDropped_untilAKeyPicture();
    void sound_isSaved_onlyIfWanted_data();
    void sound_isSaved_onlyIfWanted();
    void soundThatIsNotDescribed_isRefused();
    void sound_staysWithItsPicture_behindAGap();
    void allTypesBelowFour_arePictures();
    void gaps_areJoined_data();
    void gaps_areJoined();
};

// --- Cuts ---------------------------------------------------------------------------------------

void TestOrvoVodDLFiles::interval_cuts_whenItIsOver_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<qint64>("second");
    QTest::addColumn<QStringList>("names");
    const QString day = QStringLiteral("20260314T");
    const auto name = [day](const char *begin, const char *end) {
        return day + begin + "_" + day + end + "_3.mp4";
    };
    QTest::newRow("60.000 s") << 60 << qint64(60000) << QStringList{name("100000", "100100")};
    QTest::newRow("60.001 s") << 60 << qint64(60001)
                              << QStringList{name("100000", "100100"), name("100100", "100100")};
    QTest::newRow("1.001 s") << 1 << qint64(1001)
                             << QStringList{name("100000", "100001"), name("100001", "100001")};
    QTest::newRow("24 days, in ms more than an int holds")
        << 2147484 << qint64(2147484001)
        << QStringList{name("000000", "063124"), name("063124", "063124")};
    QTest::newRow("no limit") << 0 << qint64(3600000) << QStringList{name("100000", "110000")};
    QTest::newRow("default") << -1 << qint64(3600000) << QStringList{name("100000", "110000")};
    QTest::newRow("backwards") << 60 << qint64(-100000) << QStringList{name("000000", "095820")};
}

void TestOrvoVodDLFiles::interval_cuts_whenItIsOver()
{
    QFETCH(int, interval);
    QFETCH(qint64, second);
    QFETCH(QStringList, names);
    announceSteps();
    if (interval >= 0)
        thread->setSaveInterval(interval);
    send(picture(0, at(10, 0, 0)));
    send(picture(1, at(10, 0, 0) + 40));
    send(picture(10, at(10, 0, 0) + second));
    sendEnd();
    run();
    QCOMPARE(files(), names);
    QCOMPARE(allPictures(), QVector<int>({0, 1, 10}));
    // Whether the form has changed is asked all the same.
    QCOMPARE(script->count(Op::vodGetDownloadSdp), names.size() + 1);
}

void TestOrvoVodDLFiles::interval_countsFromEachFile()
{
    announceSteps();
    thread->setSaveInterval(2);
    for (int i = 0; i < 7; ++i)
        send(picture(i * 10, at(10, 0, 0) + i * 1000));
    sendEnd();
    run();
    // Each ends with the key picture that is more than two seconds after its first one.
    QCOMPARE(files(), QStringList({"20260314T100000_20260314T100003_3.mp4",
                                   "20260314T100003_20260314T100006_3.mp4",
                                   "20260314T100006_20260314T100006_3.mp4"}));
    QCOMPARE(allPictures(), QVector<int>({0, 10, 20, 0, 10, 20, 0}));
}

void TestOrvoVodDLFiles::interval_cutsAtKeyPicturesOnly()
{
    announceSteps();
    thread->setSaveInterval(1);
    for (int i = 0; i < 12; ++i)
        send(picture(i, at(10, 0, 0) + i * 500));
    sendEnd();
    run();
    QCOMPARE(files(), QStringList({"20260314T100000_20260314T100005_3.mp4",
                                   "20260314T100005_20260314T100005_3.mp4"}));
    QCOMPARE(read(files().first()).pictures, numbers(0, 10));
}

void TestOrvoVodDLFiles::changedForm_cuts_data()
{
    QTest::addColumn<VodSdp>("form");
    QTest::addColumn<bool>("cuts");
    VodSdp form = sdp();
    QTest::newRow("nothing") << form << false;
    form.sdpMark = 2;
    QTest::newRow("mark") << form << true;
    form.video = HVideoEncPara();
    QTest::newRow("mark, and the video is not valid") << form << true;
    form = sdp();
    form.video.width = 640;
    QTest::newRow("size") << form << true;
    form = sdp();
    form.video.frameRate = 12;
    form.video.bitRate = 5000;
    QTest::newRow("rates") << form << false;
    form = sdp();
    form.video.codecId = 9;
    QTest::newRow("video that is not valid") << form << false;
    form = sdp();
    form.hasVideo = false;
    QTest::newRow("no video any more") << form << false;
    form = sdp();
    form.hasAudio = false;
    form.audio = HAudioEncPara();
    QTest::newRow("no sound any more") << form << false;
}

void TestOrvoVodDLFiles::changedForm_cuts()
{
    QFETCH(VodSdp, form);
    QFETCH(bool, cuts);
    thread->setSaveAudio(true);
    describeOnce(sdp());
    describeOnce(form); // whether it has changed; what a new file is for is asked once more
    sendPictures(0, 20, at(10, 0, 0, 600));
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(files(), cuts ? QStringList({"20260314T100000_20260314T100001_3.mp4",
                                          "20260314T100001_20260314T100001_3.mp4"})
                           : QStringList{"20260314T100000_20260314T100001_3.mp4"});
    QCOMPARE(allPictures(), numbers(0, 20));
    QCOMPARE(script->count(Op::vodGetDownloadSdp), cuts ? 3 : 2);
}

void TestOrvoVodDLFiles::changedCodec_makesAFileOfTheOther()
{
    VodSdp other = sdp(2);
    other.video = videoPara(2);
    describeOnce(sdp());
    describe(other);
    sendPictures(0, 10, at(10, 0, 0));
    sendPictures(0, 10, at(10, 0, 1), 2);
    announceSteps();
    sendEnd();
    run();
    QCOMPARE(files().size(), 2);
    QCOMPARE(read(files().first()).videoCodec, 27); // H.264
    QCOMPARE(read(files().last()).videoCodec, 173); // H.265
    QCOMPARE(allPictures(), numbers(0, 10) + numbers(0, 10));
}

void TestOrvoVodDLFiles::changedSound_cuts_onlyWhereSoundIsSaved_data()
{
    QTest::addColumn<bool>("saveAudio");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<bool>("cuts");
    QTest::newRow("saved") << true << true << true;
    QTest::newRow("not saved") << false << true << false;
    QTest::newRow("saved, but not valid") << true << false << false;
}

void TestOrvoVodDLFiles::changedSound_cuts_onlyWhereSoundIsSaved()
{
    QFETCH(bool, saveAudio);
    QFETCH(bool, valid);
    QFETCH(bool, cuts);
    thread->setSaveAudio(saveAudio);
    VodSdp other = sdp();
    other.audio.codecId = valid ? HCodecG711U : 7;
    describeOnce(sdp());
    describe(other);
    sendPictures(0, 20, at(10, 0, 0, 600));
    sendEnd();
    run();
    QCOMPARE(files().size(), cuts ? 2 : 1);
    QCOMPARE(allPictures(), numbers(0, 20));
}

/// The form of sound that is not there is not kept, so it always looks new.
void TestOrvoVodDLFiles::soundThatIsNotThere_butDescribed_cutsAtEachKeyPicture()
{
    thread->setSaveAudio(true);
    VodSdp form = sdp();
    form.hasAudio = false;
    describe(form);
    sendPictures(0, 10, at(10, 0, 0));
    sendPictures(10, 10, at(10, 0, 1));
    sendPictures(20, 10, at(10, 0, 2));
    announceSteps();
    sendEnd();
    run();
    QCOMPARE(files().size(), 3);
    QCOMPARE(allPictures(), numbers(0, 30));
    QCOMPARE(read(files().first()).audioCodec, 0);
}

void TestOrvoVodDLFiles::failedDescription_cuts_andTheOldFormHolds()
{
    expectError(QStringLiteral("vod get dl sdp err"));
    describeOnce(sdp());
    describeOnce(HRetBusy); // has it changed?
    describeOnce(HRetBusy); // what is it? In silence.
    sendPictures(0, 10, at(10, 0, 0, 600));
    sendPictures(10, 20, at(10, 0, 1));
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(log->count(Logger::Error, line(QStringLiteral("vod get dl sdp err"))), 1);
    QCOMPARE(files(), QStringList({"20260314T100000_20260314T100001_3.mp4",
                                   "20260314T100001_20260314T100001_3.mp4"}));
    QCOMPARE(read(files().first()).pictures, numbers(0, 10));
    QCOMPARE(read(files().last()).pictures, numbers(10, 20));
}

void TestOrvoVodDLFiles::formIsAsked_atKeyPicturesOnly()
{
    sendPictures(1, 29, at(10, 0, 0));
    send(sound(0, at(10, 0, 2)));
    sendEnd();
    run();
    QCOMPARE(script->count(Op::vodGetDownloadSdp), 2); // at pictures 10 and 20
}

// --- What is in them ----------------------------------------------------------------------------

void TestOrvoVodDLFiles::firstFrames_areDropped_untilAKeyPicture()
{
    sendPictures(4, 10, at(10, 0, 0));
    sendEnd();
    run();
    QCOMPARE(allPictures(), numbers(10, 4));
    QVERIFY(read(files().first()).keys.value(0));
}

void TestOrvoVodDLFiles::firstSound_isDropped_untilAKeyPicture()
{
    thread->setSaveAudio(true);
    const qint64 t = at(10, 0, 0);
    for (int i = 0; i < 50; ++i)
        send(sound(i, t + i * 20));
    sendPictures(0, 25, t + 1000);
    sendEnd();
    run();
    const RecordedFile file = read(files().value(0));
    QCOMPARE(file.pictures, numbers(0, 25));
    QCOMPARE(file.sound.size(), 0);
    QVERIFY(file.duration <= 1000);
}

void TestOrvoVodDLFiles::sound_isSaved_onlyIfWanted_data()
{
    QTest::addColumn<bool>("wanted");
    QTest::newRow("wanted") << true;
    QTest::newRow("not wanted") << false;
}

void TestOrvoVodDLFiles::sound_isSaved_onlyIfWanted()
{
    QFETCH(bool, wanted);
    if (wanted)
        thread->setSaveAudio(true);
    const qint64 t = at(10, 0, 0);
    for (int i = 0; i < 25; ++i) {
        send(picture(i, t + i * 40));
        send(sound(2 * i, t + i * 40));
        send(sound(2 * i + 1, t + i * 40 + 20));
    }
    sendEnd();
    run();
    const RecordedFile file = read(files().value(0));
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures, numbers(0, 25));
    QCOMPARE(file.audioCodec, wanted ? 0x15002 : 0); // AAC
    QCOMPARE(!file.sound.isEmpty(), wanted);
}

void TestOrvoVodDLFiles::soundThatIsNotDescribed_isRefused()
{
    const QString refused = QStringLiteral("(svmp4ff)find av stream (0:-1) err");
    log->expect(Logger::Error, refused);
    thread->setSaveAudio(true);
    VodSdp form = sdp();
    form.hasAudio = false;
    form.audio = HAudioEncPara();
    describe(form);
    send(sound(0, at(10, 0, 0)));
    for (int i = 0; i < 5; ++i) {
        send(picture(i, at(10, 0, 0) + i * 40));
        send(sound(i, at(10, 0, 0) + i * 40));
    }
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(log->count(Logger::Error, refused), 5);
    QCOMPARE(read(files().value(0)).pictures, numbers(0, 5));
}

/// Silence but for two beeps, one of them behind a gap of an hour.
void TestOrvoVodDLFiles::sound_staysWithItsPicture_behindAGap()
{
    constexpr int kPictures = 200, kGapAt = 100;
    constexpr int kBeeps[] = {50, 150}; // numbers of pictures
    constexpr int kBeepPictures = 8;
    constexpr int kSamplesPerPacket = 1024;
    constexpr double kMostLate = 0.45; // seconds, of which the encoder takes the most
    constexpr double kMostOutOfStep = 0.15;
    announceSteps();
    thread->setSaveAudio(true);
    for (int i = 0; i < kPictures; ++i) {
        const qint64 t = at(10, 0, 0) + i * kFrameMs + (i >= kGapAt ? 3600000 : 0);
        send(picture(i, t));
        const bool beep = std::any_of(std::begin(kBeeps), std::end(kBeeps), [i](int first) {
            return i >= first && i < first + kBeepPictures;
        });
        for (int half = 0; half < 2; ++half) {
            ScriptedFrame frame = sound(2 * i + half, t + half * kFrameMs / 2);
            if (!beep)
                frame.payload.fill(char(0xD5)); // G.711 A-law of 0
            send(frame);
        }
    }
    sendEnd();
    run();
    QCOMPARE(files().size(), 1);
    const QString path = thread->saveDir + QLatin1Char('/') + files().first();
    const RecordedFile file = readRecording(path);
    const ProbedFile probed = probeFile(path);
    QCOMPARE(file.error + probed.error, QString());
    QCOMPARE(probed.video.times.size(), kPictures);
    QVector<double> heard;
    for (int packet = 0; packet < probed.audio.times.size(); ++packet) {
        const QVector<qint16> samples =
            pcmSamples(file.sound.mid(packet * kSamplesPerPacket * 2, kSamplesPerPacket * 2));
        const bool loud = std::any_of(samples.begin(), samples.end(),
                                      [](qint16 sample) { return std::abs(sample) > 3000; });
        const double time = probed.audio.times.at(packet);
        if (loud && (heard.isEmpty() || time - heard.last() > 1))
            heard << time;
    }
    QCOMPARE(heard.size(), 2);
    QVector<double> late;
    for (int i = 0; i < 2; ++i)
        late << heard.at(i) - probed.video.times.at(kBeeps[i]);
    for (const double seconds : late)
        QVERIFY2(std::abs(seconds) < kMostLate, qPrintable(QString::number(seconds)));
    QVERIFY2(std::abs(late.at(1) - late.at(0)) < kMostOutOfStep,
             qPrintable(QString::number(late.at(1) - late.at(0))));
}

void TestOrvoVodDLFiles::allTypesBelowFour_arePictures()
{
    for (int i = 0; i < 10; ++i) {
        ScriptedFrame frame = picture(i, at(10, 0, 0) + i * kFrameMs);
        if (i > 0)
            frame.header.frameType = quint32(1 + i % 3);
        send(frame);
    }
    sendEnd();
    run();
    QCOMPARE(allPictures(), numbers(0, 10));
    QCOMPARE(read(files().first()).keys, QVector<bool>({true}) + QVector<bool>(9, false));
    QCOMPARE(thread->curPts, at(10, 0, 0, 9 * kFrameMs));
}

void TestOrvoVodDLFiles::gaps_areJoined_data()
{
    QTest::addColumn<qint64>("gap");
    QTest::addColumn<qint64>("step");
    QTest::newRow("regular") << qint64(40) << qint64(40);
    QTest::newRow("a second") << qint64(1000) << qint64(1000);
    QTest::newRow("more than a second") << qint64(1001) << qint64(500);
    QTest::newRow("an hour") << qint64(3600000) << qint64(500);
    QTest::newRow("backwards") << qint64(-5000) << qint64(500);
    QTest::newRow("repeated") << qint64(0) << qint64(500);
}

void TestOrvoVodDLFiles::gaps_areJoined()
{
    QFETCH(qint64, gap);
    QFETCH(qint64, step);
    announceSteps();
    const qint64 t = at(10, 0, 0);
    sendPictures(0, 10, t);
    sendPictures(10, 10, t + 9 * 40 + gap);
    sendEnd();
    run();
    QCOMPARE(files().size(), 1);
    const RecordedFile file = read(files().first());
    QCOMPARE(file.pictures, numbers(0, 20));
    QVector<qint64> times;
    for (int i = 0; i < 20; ++i)
        times << (i < 10 ? i * 40 : 9 * 40 + step + (i - 10) * 40);
    QCOMPARE(file.times, times);
}

int main(int argc, char *argv[])
{
    return runInNewYork<TestOrvoVodDLFiles>(argc, argv);
}
#include "tst_orvovoddlfiles.moc"
