// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "downloaddesk.h"
#include "downloadrow.h"
#include "downloadthread.h"
#include "support/loggedtest.h"
#include "support/players.h"

#include <QDeadlineTimer>
#include <QDirIterator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;
using namespace vantrasim;
using recordingtime::minuteMs;
using recordingtime::secondMs;
using State = DownloadState;

/// The queue of downloads and what each of them tells.
class TestDownloadQueue : public LoggedTest
{
    Q_OBJECT

private slots:
    void meter_tellsPartRateAndTimeLeft();
    void meter_rateIsThatOfTheLastSeconds();
    void meter_withNothingDone_knowsNothing();
    void download_writesAFileNamedByItsSpan();
    void download_ofDays_makesFilesOfEach();
    void download_overMidnight_isNamedByBothDays();
    void cancelBetweenDays_isNoEnd();
    void download_withoutSound_hasNone();
    void progress_countsWhatIsRecorded_andOnlyGrows();
    void twoRunAtOnce_othersWaitInTheirOrder();
    void oneRunsForEachChannel();
    void camerasOfOneFolder_doNotRunTogether();
    void cancelled_keepsAFileThatPlays_withItsName();
    void cancel_doesNotWait_whileTheDeviceIsSilent();
    void cancelledWhileWaiting_neverStarts();
    void retry_usesAThreadOfItsOwn_andCompletes();
    void ended_canBeTakenOut_runningCannot();
    void stopAll_endsAllFiles_andStartsNoOther();
    void queue_isDeletedWhileDownloading();
    void table_hasALineForEach();
};

// ---- Progress -----------------------------------------------------------------------------------

void TestDownloadQueue::meter_tellsPartRateAndTimeLeft()
{
    ProgressMeter meter;
    meter.begin(1000, 60000);
    QCOMPARE(meter.part(), 0.0);
    QCOMPARE(meter.left(), qint64(-1));
    meter.note(2000, 15000);
    QCOMPARE(meter.part(), 0.25);
    QCOMPARE(meter.rate(), 15.0);
    QCOMPARE(meter.left(), qint64(3000));
    meter.note(3000, 70000); // more than there was to be
    QCOMPARE(meter.part(), 1.0);
    QCOMPARE(meter.left(), qint64(0));
}

void TestDownloadQueue::meter_rateIsThatOfTheLastSeconds()
{
    ProgressMeter meter;
    meter.begin(0, 1000000);
    for (int second = 1; second <= 20; ++second)
        meter.note(second * 1000, second * 10000);
    QCOMPARE(meter.rate(), 10.0);
    for (int second = 21; second <= 26; ++second) // slower from now on
        meter.note(second * 1000, 200000 + (second - 20) * 1000);
    QCOMPARE(meter.rate(), 1.0);
    meter.begin(27000, 50);
    QCOMPARE(meter.rate(), 0.0);
}

void TestDownloadQueue::meter_withNothingDone_knowsNothing()
{
    ProgressMeter meter;
    QCOMPARE(meter.part(), 0.0);
    QCOMPARE(meter.left(), qint64(-1));
    meter.begin(0, 0); // an empty span
    meter.note(100, 0);
    QCOMPARE(meter.part(), 0.0);
    QCOMPARE(meter.left(), qint64(-1));
}

// ---- One download -------------------------------------------------------------------------------

void TestDownloadQueue::download_writesAFileNamedByItsSpan()
{
    const Recorder recorder(1, 2);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(1), from(9, 10, 30 * secondMs), true);
    QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(download->results().size(), 1);
    const QFileInfo file(download->results().first());
    QCOMPARE(file.absolutePath(),
             download->files().folder() + QDate::currentDate().toString("/yyyy-MM-dd/'vod'"));
    QVERIFY2(QRegularExpression("^20260314T09100\\d_20260314T09102\\d_1\\.mp4$")
                 .match(file.fileName())
                 .hasMatch(),
             qPrintable(file.fileName()));
    const ProbedFile film = probeFile(file.filePath());
    QCOMPARE(film.error, QString());
    QVERIFY2(qAbs(film.duration - 30) < 1.5, qPrintable(QString::number(film.duration)));
    QCOMPARE(film.audio.codec, QString("aac"));
    QCOMPARE(download->part(), 1.0);
    QVERIFY(download->problem().isEmpty());
    QCOMPARE(downloadText(*download), QString("Done"));
    // The device was asked for that span of that channel.
    const QVariantList asked = recorder.calls().calls(DeviceOp::vodDownloadStart).last().arguments;
    QCOMPARE(asked.first().toInt(), 1);
    QVERIFY(waitFor([&] { return recorder.control->openDownloads() == 0; }));
}

void TestDownloadQueue::download_ofDays_makesFilesOfEach()
{
    using recordingtime::dayMs;
    // At the same time of each day, but for one without any.
    const Recorder recorder(1, 1, [](DeviceConfig *config) {
        config->channels[0].archive.clear();
        for (const int day : {0, 1, 3})
            Recorder::record(&config->channels[0], recordedAt(9) + day * dayMs,
                             recordedAt(9, 0, 5) + day * dayMs);
    });
    DownloadDesk desk;
    Download *download =
        desk.queue.add(recorder.camera(), {recordedAt(8), recordedAt(10) + 3 * dayMs}, true);
    QVector<double> parts;
    connect(download, &Download::changed, this, [&] { parts.append(download->part()); });
    QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(download->results().size(), 3);
    for (const char *day : {"20260314", "20260315", "20260317"})
        QCOMPARE(download->results().filter(QString("/%1T09000").arg(day)).size(), 1);
    for (const QString &file : download->results()) {
        const ProbedFile film = probeFile(file);
        QCOMPARE(film.error, QString());
        QVERIFY2(qAbs(film.duration - 5) < 1.5, qPrintable(QString::number(film.duration)));
    }
    QVERIFY(std::is_sorted(parts.begin(), parts.end()));
    QCOMPARE(recorder.count(DeviceOp::vodDownloadStart), qint64(3));
    QVERIFY(waitFor([&] { return recorder.control->openDownloads() == 0; }));
}

void TestDownloadQueue::download_overMidnight_isNamedByBothDays()
{
    const Recorder recorder(1, 1, [](DeviceConfig *config) {
        Recorder::record(&config->channels[0], recordedAt(23, 59, 50), recordedAt(24, 0, 10));
    });
    DownloadDesk desk;
    Download *download =
        desk.queue.add(recorder.camera(), {recordedAt(23, 59), recordedAt(24, 1)}, true);
    QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(download->results().size(), 2);
    const QRegularExpression before("/20260314T2359[45]\\d_20260314T2359\\d\\d_0\\.mp4$");
    const QRegularExpression after("/20260315T0000\\d\\d_20260315T0000\\d\\d_0\\.mp4$");
    QVERIFY2(before.match(download->results()[0]).hasMatch(), qPrintable(download->results()[0]));
    QVERIFY2(after.match(download->results()[1]).hasMatch(), qPrintable(download->results()[1]));
}

/// What comes of a day that has ended by itself meanwhile does not make the rest done.
void TestDownloadQueue::cancelBetweenDays_isNoEnd()
{
    using recordingtime::dayMs;
    const Recorder recorder(1, 1, [](DeviceConfig *config) {
        config->channels[0].archive.clear();
        for (const int day : {0, 1})
            Recorder::record(&config->channels[0], recordedAt(9) + day * dayMs,
                             recordedAt(9, 0, 5) + day * dayMs);
    });
    DownloadDesk desk;
    Download *download =
        desk.queue.add(recorder.camera(), {recordedAt(8), recordedAt(10) + dayMs}, true);
    // The first day comes to its end without this thread, which cancels before it hears of that.
    const QDeadlineTimer deadline(20000);
    while (recorder.count(DeviceOp::vodDownloadStop) == 0 && !deadline.hasExpired())
        QThread::msleep(1);
    QCOMPARE(recorder.count(DeviceOp::vodDownloadStop), qint64(1));
    download->cancel();
    QVERIFY(desk.ends(download));
    QCOMPARE(download->state(), State::Cancelled);
    QCOMPARE(recorder.count(DeviceOp::vodDownloadStart), qint64(1));
}

void TestDownloadQueue::download_withoutSound_hasNone()
{
    const Recorder recorder;
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 10, 10 * secondMs), false);
    QVERIFY(desk.becomes(download, State::Done));
    const ProbedFile film = probeFile(download->results().first());
    QVERIFY(film.audio.codec.isEmpty());
    QVERIFY(!film.video.codec.isEmpty());
}

void TestDownloadQueue::progress_countsWhatIsRecorded_andOnlyGrows()
{
    // The writer tells of the gap that it closes.
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(svmp4ff\\).* pts \\("));
    // An hour of which twenty seconds are recorded, in two parts far from each other.
    const Recorder recorder(1, 1, [](DeviceConfig *config) {
        config->downloadSpeed = 8;
        config->channels[0].archive.clear();
        Recorder::record(&config->channels[0], recordedAt(9), recordedAt(9, 0, 10));
        Recorder::record(&config->channels[0], recordedAt(9, 50), recordedAt(9, 50, 10));
    });
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 60 * minuteMs), true);
    QVector<double> parts;
    QStringList texts;
    connect(download, &Download::changed, this, [&] {
        if (download->state() != State::Running)
            return;
        parts.append(download->part());
        texts.append(downloadText(*download));
    });
    QVERIFY(desk.becomes(download, State::Done));
    QVERIFY(parts.size() > 5);
    QVERIFY(std::is_sorted(parts.begin(), parts.end()));
    // There is no jump where the gap is.
    for (int i = 1; i < parts.size(); ++i)
        QVERIFY2(parts[i] - parts[i - 1] < 0.3, qPrintable(QString::number(parts[i])));
    QVERIFY(parts.last() > 0.7);
    const QRegularExpression words("^\\d+ %   [\\d.]+ times as fast as recorded   "
                                   "\\d+:\\d\\d left$");
    QVERIFY2(words.match(texts.last()).hasMatch(), qPrintable(texts.last()));
}

// ---- The queue ----------------------------------------------------------------------------------

void TestDownloadQueue::twoRunAtOnce_othersWaitInTheirOrder()
{
    const Recorder recorder(1, 4);
    DownloadDesk desk;
    QVector<Download *> downloads;
    QVector<int> started;
    int most = 0;
    for (int channel = 0; channel < 4; ++channel) {
        Download *download =
            desk.queue.add(recorder.camera(channel), from(9, 0, 20 * secondMs), true);
        if (download->state() == State::Running)
            started.append(channel);
        connect(download, &Download::changed, this, [&, download, channel] {
            most = qMax(most, desk.queue.active());
            if (download->state() == State::Running && !started.contains(channel))
                started.append(channel);
        });
        downloads.append(download);
    }
    QCOMPARE(desk.queue.active(), 2);
    QCOMPARE(desk.queue.waiting(), 2);
    QCOMPARE(downloadText(*downloads[3]), QString("Waits for its turn"));
    for (Download *download : downloads)
        QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(started, (QVector<int>{0, 1, 2, 3}));
    QCOMPARE(most, DownloadQueue::kAtOnce);
    QCOMPARE(desk.queue.downloads().size(), 4);
    QCOMPARE(desk.films().size(), 4);
}

void TestDownloadQueue::oneRunsForEachChannel()
{
    const Recorder recorder(1, 2);
    DownloadDesk desk;
    Download *first = desk.queue.add(recorder.camera(0), from(9, 0, 20 * secondMs), true);
    Download *second = desk.queue.add(recorder.camera(0), from(9, 5, 20 * secondMs), true);
    Download *other = desk.queue.add(recorder.camera(1), from(9, 0, 20 * secondMs), true);
    // The device would refuse the second, so the third takes its place.
    QCOMPARE(first->state(), State::Running);
    QCOMPARE(second->state(), State::Waiting);
    QCOMPARE(other->state(), State::Running);
    for (Download *download : {first, second, other})
        QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(first->results().size(), 1);
    QCOMPARE(second->results().size(), 1);
    QVERIFY(first->results() != second->results());
}

void TestDownloadQueue::camerasOfOneFolder_doNotRunTogether()
{
    // A file that is being written is named by its time alone.
    Recorder one(1), two(2);
    one.device.name = "A:B";
    two.device.name = "A_B";
    DownloadDesk desk;
    Download *first = desk.queue.add(one.camera(), from(9, 0, 10 * secondMs), true);
    Download *second = desk.queue.add(two.camera(), from(9, 0, 10 * secondMs), true);
    QCOMPARE(first->files().folder(), second->files().folder());
    QCOMPARE(second->state(), State::Waiting);
    QVERIFY(desk.becomes(second, State::Done));
    QCOMPARE(first->state(), State::Done);
}

void TestDownloadQueue::cancelled_keepsAFileThatPlays_withItsName()
{
    const Recorder recorder(1, 1, slowly);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 50 * minuteMs), true);
    QVERIFY(waitFor([&] { return download->part() > 0; }));
    download->cancel();
    QCOMPARE(download->state(), State::Stopping);
    QCOMPARE(downloadText(*download), QString("Ending the file"));
    QVERIFY(desk.becomes(download, State::Cancelled));
    QVERIFY(!download->isActive());
    QCOMPARE(download->results().size(), 1);
    const QString name = QFileInfo(download->results().first()).fileName();
    QVERIFY2(QRegularExpression("^20260314T09000\\d_20260314T0900\\d\\d_0\\.mp4$")
                 .match(name)
                 .hasMatch(),
             qPrintable(name));
    const ProbedFile film = probeFile(download->results().first());
    QCOMPARE(film.error, QString());
    QVERIFY(film.duration > 0);
    QVERIFY(downloadText(*download).startsWith("Cancelled; kept"));
    QVERIFY(download->problem().isEmpty());
}

void TestDownloadQueue::cancel_doesNotWait_whileTheDeviceIsSilent()
{
    const Recorder recorder(1, 1, slowly);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 50 * minuteMs), true);
    QVERIFY(waitFor([&] { return download->part() > 0; }));
    recorder.control->loseConnection(); // reads last as long as they may
    const qint64 reads = recorder.count(DeviceOp::vodReadDLFrame);
    QVERIFY(waitFor([&] { return recorder.count(DeviceOp::vodReadDLFrame) > reads; }));
    download->cancel();
    QVERIFY(download->isActive()); // it has returned all the same
    QVERIFY(desk.becomes(download, State::Cancelled));
    QCOMPARE(download->results().size(), 1);
}

void TestDownloadQueue::cancelledWhileWaiting_neverStarts()
{
    const Recorder recorder(1, 3);
    DownloadDesk desk;
    desk.queue.add(recorder.camera(0), from(9, 0, 20 * secondMs), true);
    Download *last = desk.queue.add(recorder.camera(1), from(9, 0, 20 * secondMs), true);
    Download *waiting = desk.queue.add(recorder.camera(2), from(9, 0, 20 * secondMs), true);
    waiting->cancel();
    QCOMPARE(waiting->state(), State::Cancelled);
    QCOMPARE(downloadText(*waiting), QString("Cancelled"));
    QVERIFY(desk.becomes(last, State::Done));
    QVERIFY(waitFor([&] { return desk.queue.active() == 0; }));
    QCOMPARE(recorder.calls().count(DeviceOp::vodDownloadStart, {2u}), 0);
    desk.queue.retry(waiting); // a person may think again
    QVERIFY(desk.becomes(waiting, State::Done));
}

void TestDownloadQueue::retry_usesAThreadOfItsOwn_andCompletes()
{
    log->expect(Logger::Error, "(orvdlthr)vod dl start err 1");
    log->expect(Logger::Error, "(atvdlthr)before download thr err");
    const Recorder recorder;
    recorder.control->faults().refuse(DeviceOp::vodDownloadStart, HRetRefused, 1);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 20 * secondMs), true);
    const QPointer<QThread> first = download->findChild<DownloadThread *>();
    QVERIFY(first);
    desk.queue.retry(download); // too early
    QCOMPARE(download->state(), State::Running);
    QVERIFY(desk.becomes(download, State::Failed));
    desk.queue.retry(download);
    QCOMPARE(download->state(), State::Running);
    QVERIFY(download->problem().isEmpty());
    QVERIFY(!download->findChildren<DownloadThread *>().isEmpty());
    QVERIFY(download->findChildren<DownloadThread *>().last() != first || !first);
    QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(download->results().size(), 1);
    QVERIFY(waitFor([&] { return download->findChildren<DownloadThread *>().isEmpty(); }));
}

// ---- The end ------------------------------------------------------------------------------------

void TestDownloadQueue::ended_canBeTakenOut_runningCannot()
{
    const Recorder recorder(1, 2, slowly);
    DownloadDesk desk;
    Download *running = desk.queue.add(recorder.camera(0), from(9, 0, 50 * minuteMs), true);
    Download *ended = desk.queue.add(recorder.camera(1), from(9, 0, secondMs), true);
    QVERIFY(desk.becomes(ended, State::Done));
    const QString file = ended->results().first();
    QSignalSpy removed(&desk.queue, &DownloadQueue::removed);
    desk.queue.remove(running);
    QCOMPARE(removed.size(), 0);
    desk.queue.removeEnded();
    QCOMPARE(removed.size(), 1);
    QCOMPARE(desk.queue.downloads(), QList<Download *>{running});
    QVERIFY(QFileInfo::exists(file)); // that stays
    running->cancel();
    QVERIFY(desk.becomes(running, State::Cancelled));
}

void TestDownloadQueue::stopAll_endsAllFiles_andStartsNoOther()
{
    const Recorder recorder(1, 3, slowly);
    DownloadDesk desk;
    QVector<Download *> downloads;
    for (int channel = 0; channel < 3; ++channel)
        downloads.append(desk.queue.add(recorder.camera(channel), from(9, 0, 50 * minuteMs), true));
    QVERIFY(waitFor([&] { return downloads[0]->part() > 0 && downloads[1]->part() > 0; }));
    desk.queue.stopAll();
    QVERIFY(desk.queue.active() == 2);
    QVERIFY(waitFor([&] { return desk.queue.active() == 0; }));
    for (Download *download : downloads)
        QCOMPARE(download->state(), State::Cancelled);
    QVERIFY(downloads[2]->results().isEmpty());
    desk.queue.retry(downloads[2]);
    QCOMPARE(desk.queue.active(), 0);
    for (const QString &name : desk.films())
        QCOMPARE(name.count('_'), 2); // none is left half named
    QCOMPARE(desk.films().size(), 2);
}

void TestDownloadQueue::queue_isDeletedWhileDownloading()
{
    const Recorder recorder(1, 2, slowly);
    QTemporaryDir folder;
    {
        DownloadQueue queue(folder.path());
        Download *download = queue.add(recorder.camera(0), from(9, 0, 50 * minuteMs), true);
        queue.add(recorder.camera(1), from(9, 0, 50 * minuteMs), true);
        QVERIFY(waitFor([&] { return download->part() > 0; }));
    }
    QCOMPARE(recorder.control->openDownloads(), 0);
    QDirIterator walk(folder.path(), {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
    QVERIFY(walk.hasNext());
    while (walk.hasNext()) {
        walk.next();
        QCOMPARE(walk.fileName().count('_'), 2);
    }
}

void TestDownloadQueue::table_hasALineForEach()
{
    const Recorder recorder;
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 10 * secondMs), true);
    QVERIFY(desk.becomes(download, State::Done));
    const QStringList lines = downloadsTable(desk.queue.downloads()).split('\n');
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines[0].startsWith("name "));
    QVERIFY2(lines[1].startsWith("Recorder 1  2026-03-14 09:00:00    0:10  Done   /"),
             qPrintable(lines[1]));
    QVERIFY(lines[1].endsWith(".mp4"));
}

QTEST_MAIN(TestDownloadQueue)
#include "tst_downloadqueue.moc"
