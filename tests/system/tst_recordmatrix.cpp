// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Every form of recording in every reader: what went in comes out of FFmpeg and GStreamer, picture
// by picture, and the sound is heard again. tst_recordbrowser has the browser.
#include "recordingmatrix.h"
#include "support/loggedtest.h"
#include "support/players.h"
#include "support/speech.h"

#include <QTemporaryDir>
#include <QtTest>

#include <future>

using namespace vantratest;

Q_DECLARE_METATYPE(vantratest::RecordingForm)

namespace {

constexpr double kAacFrame = 1024.0 / kSoundRate; ///< seconds
/// Seconds of sound that stay in the transcoder at the end: the frame under way, and the four that
/// its encoder runs behind.
constexpr double kUnfinished = 5 * kAacFrame;
constexpr double kAlike = 0.9;
constexpr double kNoiseAlike = 0.8; ///< of PCM taken for A-law, in which AAC finds little to save

/// G.711 A-law by its definition.
QVector<qint16> decodeALaw(const QByteArray &bytes)
{
    QVector<qint16> samples;
    for (const char byte : bytes) {
        const int code = uchar(byte) ^ 0x55;
        const int segment = (code >> 4) & 7;
        int value = ((code & 0x0f) << 4) + 8;
        if (segment > 0)
            value = (value + 0x100) << (segment - 1);
        samples.append(qint16(code & 0x80 ? value : -value));
    }
    return samples;
}

/// The clip by itself, as FFmpeg decodes it.
QVector<QByteArray> decodedUnits(const QVector<AccessUnit> &units, int codec)
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(codec == HCodecH265 ? "clip.h265" : "clip.h264");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write(joinUnits(units));
    file.close();
    return decodeWithFFmpeg(path).pictures;
}

} // namespace

class TestRecordMatrix : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void recording_isTheSame_inEveryReader_data();
    void recording_isTheSame_inEveryReader();

private:
    void lookAtTimes(const RecordingForm &form, const ProbedFile &probed);
    void listen(const RecordingForm &form, const QByteArray &heard);

    QTemporaryDir dir;
    QVector<qint16> speech;
};

void TestRecordMatrix::initTestCase()
{
    speech = makeSpeechLike((kRecordingMs + 1000) * kSoundRate / 1000);
}

void TestRecordMatrix::recording_isTheSame_inEveryReader_data()
{
    QTest::addColumn<RecordingForm>("form");
    for (const RecordingForm &form : recordingForms(VANTRA_TEST_CODEC))
        QTest::newRow(qPrintable(nameOf(form))) << form;
}

void TestRecordMatrix::recording_isTheSame_inEveryReader()
{
    QFETCH(RecordingForm, form);
    const QString path = dir.filePath(QStringLiteral("a.mp4"));
    const QByteArray sound = form.sound == HCodecG711A   ? encodeALaw(speech)
                             : form.sound == HCodecG711U ? encodeMuLaw(speech)
                                                         : pcmBytes(speech);
    const QVector<AccessUnit> units = record(form, sound, path);
    const bool hasSound = form.sound != 0;

    auto probing = std::async(std::launch::async, [&] { return probeFile(path); });
    auto gstreamer = std::async(std::launch::async,
                                [&] { return decodeWithGStreamer(path, kPictureSize, hasSound); });
    const Playback byFFmpeg = decodeWithFFmpeg(path, hasSound);
    const ProbedFile probed = probing.get();
    const Playback byGStreamer = gstreamer.get();
    QCOMPARE(byFFmpeg.error, QString());
    QCOMPARE(probed.error, QString());
    QCOMPARE(byGStreamer.error, QString());

    const QVector<QByteArray> pictures = decodedUnits(units, form.codec);
    QCOMPARE(pictures.size(), units.size());
    QCOMPARE(byFFmpeg.pictures, pictures);
    QCOMPARE(byGStreamer.pictures, pictures);

    QCOMPARE(probed.video.codec, QString(form.codec == HCodecH265 ? "hevc" : "h264"));
    QCOMPARE(probed.video.size, kPictureSize);
    QCOMPARE(probed.audio.codec, QString(hasSound ? "aac" : ""));
    for (int i = 0; i < units.size(); ++i)
        QCOMPARE(probed.video.keys.value(i), units.at(i).key);
    lookAtTimes(form, probed);
    if (!hasSound)
        return;
    QCOMPARE(probed.audio.sampleRate, kSoundRate);
    for (const QByteArray &heard : {byFFmpeg.sound, byGStreamer.sound}) {
        listen(form, heard);
        if (QTest::currentTestFailed())
            return;
    }
}

void TestRecordMatrix::lookAtTimes(const RecordingForm &form, const ProbedFile &probed)
{
    const QVector<int> times = pictureTimes(form.pace);
    QCOMPARE(probed.video.times.size(), times.size() - 1);
    const double first = probed.video.times.first();
    double frame = 0; // the longest
    for (int i = 0; i + 1 < times.size(); ++i) {
        const double time = probed.video.times.at(i) - first;
        QVERIFY2(std::abs(time - times.at(i) / 1000.0) < 0.002, qPrintable(QString::number(i)));
        frame = qMax(frame, (times.at(i + 1) - times.at(i)) / 1000.0);
    }
    const double apart = probed.video.duration - times.last() / 1000.0;
    QVERIFY2(std::abs(apart) <= frame, qPrintable(QString::number(apart)));
    if (!form.sound)
        return;
    // Each bears the time of the block or of the picture that completed it, and the transcoder
    // takes several blocks at once. PCM is taken for A-law, of which its bytes make twice as many
    // samples: this is intended.
    const double aacFrame = form.sound == HCodecPcm ? kAacFrame / 2 : kAacFrame;
    for (int i = 0; i < probed.audio.times.size(); ++i) {
        const double apart = probed.audio.times.at(i) - probed.audio.times.first() - i * aacFrame;
        QVERIFY2(std::abs(apart) <= frame + kAacFrame,
                 qPrintable(QStringLiteral("packet %1: %2").arg(i).arg(apart)));
    }
    const double soundApart = probed.audio.times.last() - times.last() / 1000.0;
    QVERIFY2(std::abs(soundApart) <= frame + kAacFrame, qPrintable(QString::number(soundApart)));
}

/// All of the sound is in the file, once, and nothing between.
void TestRecordMatrix::listen(const RecordingForm &form, const QByteArray &heard)
{
    const bool isPcm = form.sound == HCodecPcm;
    const int soundMs = (pictureTimes(form.pace).last() + kBlockMs - 1) / kBlockMs * kBlockMs;
    const QVector<qint16> said = speech.mid(0, soundMs * kSoundRate / 1000);
    const QVector<qint16> source = isPcm ? decodeALaw(pcmBytes(said)) : said;
    const SoundMatch match = matchSound(source, pcmSamples(heard));
    const QString found = QStringLiteral("late by %1, alike %2, worst %3 at %4, %5 of %6")
                              .arg(match.delay)
                              .arg(match.whole)
                              .arg(match.worst)
                              .arg(match.worstAt)
                              .arg(match.compared)
                              .arg(source.size());
    QVERIFY2(match.worst > (isPcm ? kNoiseAlike : kAlike), qPrintable(found));
    QVERIFY2(match.whole > kAlike, qPrintable(found));
    QVERIFY2(match.compared >= source.size() - kUnfinished * kSoundRate, qPrintable(found));
}

QTEST_GUILESS_MAIN(TestRecordMatrix)
#include "tst_recordmatrix.moc"
