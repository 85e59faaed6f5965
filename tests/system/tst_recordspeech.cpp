// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// People who speak, as cameras code them, are understood in a recording.
#include "recordingmatrix.h"
#include "support/filecontent.h"
#include "support/loggedtest.h"
#include "support/media.h"
#include "support/players.h"
#include "support/speech.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestRecordSpeech : public LoggedTest
{
    Q_OBJECT

private slots:
    void speech_isUnderstood_data();
    void speech_isUnderstood();
};

void TestRecordSpeech::speech_isUnderstood_data()
{
    QTest::addColumn<QString>("clip");
    QTest::addColumn<int>("sound");
    QTest::addColumn<bool>("packets");
    for (const char *clip : {"allison_congrats", "itu_voice"}) {
        for (const bool packets : {true, false}) {
            const char *way = packets ? "packets" : "frames";
            QTest::addRow("%s, A-law, %s", clip, way)
                << QString("g711/%1.al").arg(clip) << int(HCodecG711A) << packets;
            QTest::addRow("%s, mu-law, %s", clip, way)
                << QString("g711/%1.ul").arg(clip) << int(HCodecG711U) << packets;
        }
    }
}

void TestRecordSpeech::speech_isUnderstood()
{
    QFETCH(QString, clip);
    QFETCH(int, sound);
    QFETCH(bool, packets);
    const QString path = mediaDir() + '/' + clip;
    const QByteArray coded = contentOf(path);
    const QVector<qint16> said = pcmSamples(contentOf(path + QStringLiteral(".pcm")));
    const int samples = kRecordingMs * kSoundRate / 1000;
    QVERIFY(coded.size() >= samples && said.size() == coded.size());

    const QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("a.mp4"));
    record({HCodecH264, sound, packets, Pace::Fast}, coded, file);
    const Playback played = decodeWithFFmpeg(file, true);
    QCOMPARE(played.error, QString());
    const SoundMatch match = matchSound(said.mid(0, samples), pcmSamples(played.sound));
    const QByteArray found =
        "alike " + QByteArray::number(match.whole) + ", worst " + QByteArray::number(match.worst) +
        " at " + QByteArray::number(match.worstAt) + " of " + QByteArray::number(match.compared);
    QVERIFY2(match.whole > 0.9 && match.worst > 0.9, found);
    QVERIFY2(match.compared > samples - kSoundRate, found);
}

int main(int argc, char *argv[])
{
    if (const int code = mediaExitCode())
        return code;
    QCoreApplication app(argc, argv);
    TestRecordSpeech test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_recordspeech.moc"
