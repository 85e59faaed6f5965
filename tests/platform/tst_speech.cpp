// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/speech.h"

#include <QtTest>

using namespace vantratest;

class TestSpeech : public QObject
{
    Q_OBJECT

private slots:
    void sameSound_isFound_withItsDelay();
    void hole_isFound();
    void otherSound_isNotAlike();

private:
    const QVector<qint16> speech = makeSpeechLike(32000);
};

void TestSpeech::sameSound_isFound_withItsDelay()
{
    const QVector<qint16> late = QVector<qint16>(1000, 0) + speech;
    const SoundMatch match = matchSound(speech, late);
    QCOMPARE(match.delay, 1000);
    QCOMPARE(match.compared, 32000);
    QVERIFY(match.whole > 0.999 && match.worst > 0.999);
}

void TestSpeech::hole_isFound()
{
    QVector<qint16> holed = speech;
    holed.remove(20000, 1024); // a frame of AAC
    const SoundMatch match = matchSound(speech, holed);
    QCOMPARE(match.delay, 0);
    QVERIFY2(match.worst < 0.5, qPrintable(QString::number(match.worst)));
    QVERIFY(match.worstAt >= 18000);
    QVERIFY(match.whole < 0.9);
}

void TestSpeech::otherSound_isNotAlike()
{
    const SoundMatch match = matchSound(speech.mid(0, 14000), speech.mid(16000));
    QVERIFY2(match.whole < 0.5, qPrintable(QString::number(match.whole)));
}

QTEST_APPLESS_MAIN(TestSpeech)
#include "tst_speech.moc"
