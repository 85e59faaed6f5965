// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Every form of H.264 recording in the video element of a browser.
#include "recordingmatrix.h"
#include "support/loggedtest.h"
#include "support/players.h"
#include "support/speech.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestRecordBrowser : public LoggedTest
{
    Q_OBJECT

private slots:
    void recordings_playToTheEnd();
    void damage_isTold();

private:
    QTemporaryDir dir;
};

void TestRecordBrowser::recordings_playToTheEnd()
{
    const QVector<RecordingForm> forms = recordingForms(HCodecH264);
    const QVector<qint16> speech = makeSpeechLike((kRecordingMs + 1000) * kSoundRate / 1000);
    QStringList files;
    for (const RecordingForm &form : forms) {
        files << dir.filePath(QStringLiteral("%1.mp4").arg(files.size()));
        const QByteArray sound = form.sound == HCodecG711A   ? encodeALaw(speech)
                                 : form.sound == HCodecG711U ? encodeMuLaw(speech)
                                                             : pcmBytes(speech);
        record(form, sound, files.last());
    }
    QString failure;
    const QVector<Shown> shown = playInBrowser(files, &failure);
    QCOMPARE(shown.size(), files.size());
    for (int i = 0; i < files.size(); ++i) {
        const Shown &video = shown.at(i);
        const QVector<int> times = pictureTimes(forms.at(i).pace);
        const QByteArray name = nameOf(forms.at(i)).toUtf8();
        QVERIFY2(video.error.isEmpty(), name + ": " + video.error.toUtf8());
        QVERIFY2(video.ended, name);
        QVERIFY2(video.size == kPictureSize, name);
        QVERIFY2(video.pictures == times.size() - 1, name + QByteArray::number(video.pictures));
        QVERIFY2((video.soundBytes > 0) == (forms.at(i).sound != 0), name);
        int longest = 0; // picture
        for (int j = 1; j < times.size(); ++j)
            longest = qMax(longest, times.at(j) - times.at(j - 1));
        const double apart = video.duration - times.last() / 1000.0;
        QVERIFY2(std::abs(apart) <= longest / 1000.0, name + QByteArray::number(apart));
        QVERIFY2(std::abs(video.time - video.duration) < 0.1, name);
    }
}

void TestRecordBrowser::damage_isTold()
{
    const QString path = dir.filePath(QStringLiteral("broken.mp4"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write("no recording") > 0);
    file.close();
    QString failure;
    const QVector<Shown> shown = playInBrowser({path}, &failure);
    QVERIFY2(shown.size() == 1, qPrintable(failure));
    QVERIFY(!shown.first().error.isEmpty());
    QVERIFY(!shown.first().ended);
}

int main(int argc, char *argv[])
{
    if (const int code = browserExitCode())
        return code;
    QCoreApplication app(argc, argv);
    TestRecordBrowser test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_recordbrowser.moc"
