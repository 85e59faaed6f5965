// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What is told of downloads that go wrong.

#include "downloaddesk.h"
#include "downloadrow.h"
#include "downloadthread.h"
#include "support/loggedtest.h"
#include "support/players.h"

#include <QtTest>

using namespace vantratest;
using namespace vantrasim;
using recordingtime::minuteMs;
using recordingtime::secondMs;
using State = DownloadState;

class TestDownloadFailures : public LoggedTest
{
    Q_OBJECT

private slots:
    void refusals_areToldInPlainWords_data();
    void refusals_areToldInPlainWords();
    void refusedForTooMany_goesOnAgain_whenAnotherHasEnded();
    void goneDevice_silentDevice_andReadErrors_areTold_data();
    void goneDevice_silentDevice_andReadErrors_areTold();
    void formThatCannotBeStored_isTold();
    void fileThatIsRemoved_isTold();
    void cameraByAddress_hasNoRecordings();
    void nothingRecorded_isTold();
    void changeOfForm_givesTwoResults();
    void sameSpanAgain_isToldItsFileAgain();
    void folderThatCannotBeWritten_isTold_andNothingIsAsked();
};

// ---- What goes wrong ----------------------------------------------------------------------------

void TestDownloadFailures::refusals_areToldInPlainWords_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("words");
    QTest::newRow("exceed max") << int(HRetExceedMax)
                                << "The device refuses: it gives out as many downloads as it can.";
    QTest::newRow("already") << int(HRetAlready) << "The device refuses this download.";
    QTest::newRow("other") << int(HRetRefused) << "The device refuses this download.";
}

void TestDownloadFailures::refusals_areToldInPlainWords()
{
    QFETCH(int, answer);
    QFETCH(QString, words);
    log->expect(Logger::Error, QString("(orvdlthr)vod dl start err %1").arg(answer));
    log->expect(Logger::Error, "(atvdlthr)before download thr err");
    const Recorder recorder;
    recorder.control->faults().refuse(DeviceOp::vodDownloadStart, HRetError(answer), -1);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 20 * secondMs), true);
    QVERIFY(desk.becomes(download, State::Failed));
    QCOMPARE(download->problem(), words);
    QCOMPARE(downloadText(*download), words);
    QVERIFY(download->results().isEmpty());
}

void TestDownloadFailures::refusedForTooMany_goesOnAgain_whenAnotherHasEnded()
{
    log->expect(Logger::Error, "(orvdlthr)vod dl start err 17");
    log->expect(Logger::Error, "(atvdlthr)before download thr err");
    const Recorder recorder(1, 2, [](DeviceConfig *config) {
        config->mostDownloads = 1;
        config->downloadSpeed = 1;
    });
    DownloadDesk desk;
    Download *first = desk.queue.add(recorder.camera(0), from(9, 0, 50 * minuteMs), true);
    QVERIFY(waitFor([&] { return recorder.control->openDownloads() == 1; }));
    Download *second = desk.queue.add(recorder.camera(1), from(9, 0, secondMs), true);
    QVERIFY(desk.becomes(second, State::Failed));
    QVERIFY(second->problem().contains("as many downloads as it can"));
    first->cancel();
    QVERIFY(desk.becomes(first, State::Cancelled));
    desk.queue.retry(second);
    QVERIFY(desk.becomes(second, State::Done));
}

void TestDownloadFailures::goneDevice_silentDevice_andReadErrors_areTold_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("words");
    QTest::newRow("gone") << "gone"
                          << "The device is gone.";
    QTest::newRow("silent") << "silent"
                            << "The device has sent nothing for 5 seconds.";
    QTest::newRow("error") << "error"
                           << "The device has broken off the download.";
}

void TestDownloadFailures::goneDevice_silentDevice_andReadErrors_areTold()
{
    QFETCH(QString, fault);
    QFETCH(QString, words);
    const Recorder recorder(1, 1, slowly);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 50 * minuteMs), true);
    QVERIFY(waitFor([&] { return download->part() > 0; }));
    if (fault == "gone")
        recorder.control->loseConnection();
    else if (fault == "silent")
        recorder.control->faults().refuse(DeviceOp::vodReadDLFrame, HRetTimeout, -1);
    else
        recorder.control->faults().refuse(DeviceOp::vodReadDLFrame, HRetError(99), 1);
    QVERIFY(desk.becomes(download, State::Failed));
    QCOMPARE(download->problem(), words);
    // What had come is kept, under its name.
    QCOMPARE(download->results().size(), 1);
    QVERIFY(QFileInfo(download->results().first()).fileName().count('_') == 2);
    QVERIFY(probeFile(download->results().first()).duration > 0);
    QVERIFY(downloadText(*download).endsWith("Kept so far:"));
    recorder.control->restoreConnection();
    recorder.control->faults().clear();
    desk.queue.retry(download);
    QVERIFY(waitFor([&] { return download->part() > 0; }));
    download->cancel();
    QVERIFY(desk.becomes(download, State::Cancelled));
}

void TestDownloadFailures::formThatCannotBeStored_isTold()
{
    log->expect(Logger::Error, "(orvdlthr)vod get dl sdp err");
    const Recorder recorder;
    recorder.control->faults().refuse(DeviceOp::vodGetDownloadSdp, HRetRefused, -1);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 20 * secondMs), true);
    QVERIFY(desk.becomes(download, State::Failed));
    QCOMPARE(download->problem(),
             QString("The device does not describe a video that could be stored."));
}

void TestDownloadFailures::fileThatIsRemoved_isTold()
{
    const Recorder recorder(1, 1, slowly);
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 50 * minuteMs), true);
    QVERIFY(waitFor([&] { return download->part() > 0; }));
    const QStringList there = download->files().recordingsSince(QDateTime::fromSecsSinceEpoch(0));
    QCOMPARE(there.size(), 1);
    QVERIFY(QFile::remove(there.first()));
    QVERIFY(desk.becomes(download, State::Failed));
    QCOMPARE(download->problem(), QString("The file could not be written, or has been removed."));
    QVERIFY(download->results().isEmpty());
}

void TestDownloadFailures::cameraByAddress_hasNoRecordings()
{
    log->expect(Logger::Error, "(orvdlthr)vod dl start err 1");
    log->expect(Logger::Error, "(atvdlthr)before download thr err");
    QString problem;
    const Device device =
        cameraDevice(CameraAddress::parse("rtsp://127.0.0.1:1/x", &problem), CameraAddress());
    DownloadDesk desk;
    Download *download = desk.queue.add(device.cameras().first(), from(9, 0, 20 * secondMs), true);
    QVERIFY(desk.ends(download));
    QCOMPARE(download->problem(),
             QString("A camera that is known by its address alone has no recordings."));
}

void TestDownloadFailures::nothingRecorded_isTold()
{
    const Recorder recorder;
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(10, 10, minuteMs), true);
    QVERIFY(desk.becomes(download, State::Failed));
    QCOMPARE(download->problem(), QString("Nothing is recorded in this span."));
    QVERIFY(desk.films().isEmpty());
}

void TestDownloadFailures::changeOfForm_givesTwoResults()
{
    const Recorder recorder(1, 1, [](DeviceConfig *config) {
        ChannelConfig &channel = config->channels[0];
        channel.archive.clear();
        Recorder::record(&channel, recordedAt(9), recordedAt(9, 0, 10));
        StreamConfig other = channel.streams[0];
        other.video.width = 320;
        other.video.height = 180;
        channel.archive.append({recordingtime::forDevice(recordedAt(9, 0, 10)),
                                recordingtime::forDevice(recordedAt(9, 0, 20)), other});
    });
    DownloadDesk desk;
    Download *download = desk.queue.add(recorder.camera(), from(9, 0, 20 * secondMs), true);
    QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(download->results().size(), 2);
    QCOMPARE(probeFile(download->results()[0]).video.size, QSize(640, 360));
    QCOMPARE(probeFile(download->results()[1]).video.size, QSize(320, 180));
}

void TestDownloadFailures::sameSpanAgain_isToldItsFileAgain()
{
    const Recorder recorder;
    DownloadDesk desk;
    Download *first = desk.queue.add(recorder.camera(), from(9, 0, 10 * secondMs), true);
    QVERIFY(desk.becomes(first, State::Done));
    Download *second = desk.queue.add(recorder.camera(), from(9, 0, 10 * secondMs), true);
    QVERIFY(desk.becomes(second, State::Done));
    QCOMPARE(second->results(), first->results());
    QCOMPARE(desk.films().size(), 1);
    // And what another has written is none of its results.
    Download *third = desk.queue.add(recorder.camera(), from(9, 30, 10 * secondMs), true);
    QVERIFY(desk.becomes(third, State::Done));
    QCOMPARE(third->results().size(), 1);
    QVERIFY(third->results() != first->results());
}

void TestDownloadFailures::folderThatCannotBeWritten_isTold_andNothingIsAsked()
{
    const Recorder recorder;
    DownloadQueue queue("/proc/films");
    Download *download = queue.add(recorder.camera(), from(9, 0, 20 * secondMs), true);
    QCOMPARE(download->state(), State::Failed);
    QVERIFY2(download->problem().contains("cannot be made"), qPrintable(download->problem()));
    QVERIFY(!download->isActive());
    QCOMPARE(recorder.count(DeviceOp::vodDownloadStart), qint64(0));
}

QTEST_MAIN(TestDownloadFailures)
#include "tst_downloadfailures.moc"
