// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicetree.h"
#include "download.h"
#include "downloadpage.h"
#include "downloadqueue.h"
#include "downloadrow.h"
#include "recorderhost.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"
#include "theme.h"
#include "timeline.h"

#include <QApplication>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QtTest>

using namespace vantratest;
using namespace vantrasim;
using recordingtime::minuteMs;
using recordingtime::secondMs;

namespace {

using State = DownloadState;

/// The page in a window of its own, ticked as the main window does it.
struct Desk
{
    explicit Desk(const Recorder &recorder) : queue(folder.path()), page(&queue)
    {
        for (const Camera &camera : recorder.device.cameras())
            page.addCamera(camera);
        page.resize(1100, 700);
        page.setSpan({recordedAt(9, 10), recordedAt(9, 10, 20)});
        QObject::connect(&timer, &QTimer::timeout, &page, &DownloadPage::tick);
        timer.start(50);
        page.show();
    }

    QDateTimeEdit *from() { return page.findChildren<QDateTimeEdit *>()[0]; }
    QDateTimeEdit *to() { return page.findChildren<QDateTimeEdit *>()[1]; }
    TimeLine *line() { return page.findChild<TimeLine *>(); }
    bool becomes(Download *download, State state)
    {
        return waitFor([=] { return download->state() == state; });
    }
    /// A button of a row by its words; null unless it is seen.
    static QToolButton *button(const DownloadRow *row, const QString &words)
    {
        for (QToolButton *button : row->findChildren<QToolButton *>())
            if (button->toolTip().startsWith(words))
                return button->isVisible() ? button : nullptr;
        return nullptr;
    }

    QTemporaryDir folder;
    DownloadQueue queue;
    DownloadPage page;
    QTimer timer;
};

} // namespace

/// The page of downloads as a person uses it.
class TestDownloadPage : public LoggedTest
{
    Q_OBJECT

private slots:
    void span_isShownInFieldsAndOnTheLine();
    void fields_markTheLine_andTheLineFillsTheFields();
    void otherDay_keepsTheTimes();
    void line_showsWhatTheChosenCameraHasRecorded();
    void wrongSpans_areToldAndNotQueued_data();
    void wrongSpans_areToldAndNotQueued();
    void submitted_runsToItsResult_thatOpens();
    void withoutADesktop_thePathIsTold();
    void resultThatIsGone_isTold();
    void rowsOfEveryState_offerWhatCanBeDone();
    void refusal_isToldInTheRow_andTriedAgain();
    void emptyList_saysHowToBegin();
    void bar_countsAndTidies();
    void keys_workTheForm();

public slots:
    void takeUrl(const QUrl &url) { opened.append(url); }

private:
    QVector<QUrl> opened;
};

void TestDownloadPage::span_isShownInFieldsAndOnTheLine()
{
    const Recorder recorder;
    Desk desk(recorder);
    QCOMPARE(desk.from()->text(), QString("2026-03-14  09:10:00"));
    QCOMPARE(desk.to()->text(), QString("2026-03-14  09:10:20"));
    QCOMPARE(desk.line()->day(), recordedDay());
    QCOMPARE(desk.line()->mark(), (TimeSpan{recordedAt(9, 10), recordedAt(9, 10, 20)}));
    QCOMPARE(desk.page.span(), desk.line()->mark());
}

void TestDownloadPage::fields_markTheLine_andTheLineFillsTheFields()
{
    const Recorder recorder;
    Desk desk(recorder);
    desk.to()->setTime(QTime(9, 40));
    QCOMPARE(desk.line()->mark(), (TimeSpan{recordedAt(9, 10), recordedAt(9, 40)}));
    const QPoint begin(desk.line()->scale().xOf(recordedAt(11)),
                       desk.line()->placeOf(0).center().y());
    QTest::mousePress(desk.line(), Qt::LeftButton, {}, begin);
    const QPoint end(desk.line()->scale().xOf(recordedAt(12)), begin.y());
    QMouseEvent move(QEvent::MouseMove, end, desk.line()->mapToGlobal(end), Qt::NoButton,
                     Qt::LeftButton, {});
    QCoreApplication::sendEvent(desk.line(), &move);
    QTest::mouseRelease(desk.line(), Qt::LeftButton, {}, end);
    QVERIFY(qAbs(desk.page.span().begin - recordedAt(11)) <= 2 * minuteMs);
    QVERIFY(qAbs(desk.page.span().end - recordedAt(12)) <= 2 * minuteMs);
    QCOMPARE(desk.page.span().begin % secondMs, qint64(0)); // as the fields show it
    // An end beyond the day is that of the field; the line shows what it can.
    desk.to()->setDateTime(QDateTime(recordedDay().addDays(1), QTime(1, 0), Qt::UTC));
    QCOMPARE(desk.page.span().end, recordedAt(25));
    QCOMPARE(desk.line()->mark().end, recordedAt(24));
}

void TestDownloadPage::otherDay_keepsTheTimes()
{
    const Recorder recorder;
    Desk desk(recorder);
    QTest::keyClick(&desk.page, Qt::Key_PageDown);
    if (desk.line()->day() == recordedDay())
        QTest::keyClick(desk.from(), Qt::Key_PageDown, Qt::ControlModifier); // no focus here
    desk.page.setSpan(
        {recordedAt(9, 10) + recordingtime::dayMs, recordedAt(9, 10, 20) + recordingtime::dayMs});
    QCOMPARE(desk.line()->day(), recordedDay().addDays(1));
    QVERIFY(desk.line()->rows()[0].recorded.isEmpty());
    QCOMPARE(desk.from()->text(), QString("2026-03-15  09:10:00"));
}

void TestDownloadPage::line_showsWhatTheChosenCameraHasRecorded()
{
    const Recorder recorder(1, 2, [](DeviceConfig *config) {
        config->channels[1].archive.clear();
        Recorder::record(&config->channels[1], recordedAt(1), recordedAt(2));
    });
    Desk desk(recorder);
    QCOMPARE(desk.line()->rows()[0].recorded.size(), 2);
    QCOMPARE(desk.line()->rows()[0].name, recorder.camera(0).name);
    desk.page.choose(recorder.camera(1).key);
    QCOMPARE(desk.line()->rows()[0].recorded, (QVector<TimeSpan>{{recordedAt(1), recordedAt(2)}}));
    desk.page.choose("nobody");
    QCOMPARE(desk.line()->rows()[0].name, recorder.camera(1).name);
    QCOMPARE(desk.page.span().begin, recordedAt(9, 10)); // the span stays
}

void TestDownloadPage::wrongSpans_areToldAndNotQueued_data()
{
    QTest::addColumn<qint64>("begin");
    QTest::addColumn<qint64>("end");
    QTest::addColumn<QString>("words");
    const qint64 nine = recordedAt(9);
    QTest::newRow("turned round") << nine << nine - 1000 << "end lies before";
    QTest::newRow("nothing") << nine << nine << "end lies before";
    QTest::newRow("months") << nine << nine + 40 * recordingtime::dayMs << "more than a month";
    const qint64 later = recordingtime::now() + recordingtime::dayMs;
    QTest::newRow("to come") << later << later + 1000 << "still to come";
}

void TestDownloadPage::wrongSpans_areToldAndNotQueued()
{
    QFETCH(qint64, begin);
    QFETCH(qint64, end);
    QFETCH(QString, words);
    const Recorder recorder;
    Desk desk(recorder);
    desk.page.setSpan({begin, end});
    desk.page.submit();
    QVERIFY2(desk.page.message().contains(words), qPrintable(desk.page.message()));
    QVERIFY(desk.queue.downloads().isEmpty());
    desk.page.setSpan({recordedAt(9), recordedAt(9, 0, 5)}); // mended, the words go
    QVERIFY(desk.page.message().isEmpty());
}

void TestDownloadPage::submitted_runsToItsResult_thatOpens()
{
    const Recorder recorder(1, 2);
    Desk desk(recorder);
    desk.page.choose(recorder.camera(1).key);
    desk.page.findChild<QPushButton *>("accent")->click();
    QCOMPARE(desk.page.message(), QString("Recorder 1 · CH 2 is in the queue."));
    QCOMPARE(desk.page.rows().size(), 1);
    const DownloadRow *row = desk.page.rows().first();
    Download *download = row->download();
    QCOMPARE(download->camera().channel, 1);
    QVERIFY(desk.becomes(download, State::Done));
    QCOMPARE(row->text(), QString("Done"));
    auto *link = row->findChild<QPushButton *>("link");
    QVERIFY(link);
    const QString file = download->results().first();
    QVERIFY2(link->text().startsWith(QFileInfo(file).fileName()), qPrintable(link->text()));
    QVERIFY2(link->text().contains(QRegularExpression("\\d (kB|MB)$")), qPrintable(link->text()));

    qputenv("XDG_CURRENT_DESKTOP", "test");
    opened.clear();
    QDesktopServices::setUrlHandler("file", this, "takeUrl");
    link->click();
    Desk::button(row, "Open the folder")->click();
    QDesktopServices::unsetUrlHandler("file");
    qunsetenv("XDG_CURRENT_DESKTOP");
    QCOMPARE(opened, (QVector<QUrl>{QUrl::fromLocalFile(file),
                                    QUrl::fromLocalFile(QFileInfo(file).absolutePath())}));
}

void TestDownloadPage::withoutADesktop_thePathIsTold()
{
    qunsetenv("XDG_CURRENT_DESKTOP");
    qunsetenv("DESKTOP_SESSION");
    const Recorder recorder;
    Desk desk(recorder);
    desk.page.submit();
    DownloadRow *row = desk.page.rows().first();
    QVERIFY(desk.becomes(row->download(), State::Done));
    row->findChild<QPushButton *>("link")->click();
    QVERIFY(desk.page.message().contains(row->download()->results().first()));
    Desk::button(row, "Open the folder")->click();
    QVERIFY(desk.page.message().startsWith("The files are in "));
}

void TestDownloadPage::resultThatIsGone_isTold()
{
    const Recorder recorder;
    Desk desk(recorder);
    desk.page.submit();
    DownloadRow *row = desk.page.rows().first();
    QVERIFY(desk.becomes(row->download(), State::Done));
    QVERIFY(QFile::remove(row->download()->results().first()));
    row->findChild<QPushButton *>("link")->click();
    QVERIFY(desk.page.message().startsWith("The file is not there any more"));
}

void TestDownloadPage::rowsOfEveryState_offerWhatCanBeDone()
{
    const Recorder recorder(1, 3, [](DeviceConfig *config) { config->downloadSpeed = 1; });
    Desk desk(recorder);
    desk.page.setSpan({recordedAt(9), recordedAt(9, 50)});
    for (int channel = 0; channel < 3; ++channel) {
        desk.page.choose(recorder.camera(channel).key);
        desk.page.submit();
    }
    const DownloadRow *running = desk.page.rows()[0], *waiting = desk.page.rows()[2];
    QVERIFY(waitFor([&] { return running->download()->part() > 0; }));
    auto *bar = running->findChild<QProgressBar *>();
    QVERIFY(bar->isVisible());
    QVERIFY(waitFor([&] { return bar->value() > 0; }));
    QVERIFY2(running->text().contains("times as fast as recorded"), qPrintable(running->text()));
    QVERIFY(Desk::button(running, "Cancel"));
    QVERIFY(!Desk::button(running, "Try again") && !Desk::button(running, "Take out"));
    QVERIFY(Desk::button(waiting, "Cancel"));
    QVERIFY(!waiting->findChild<QProgressBar *>()->isVisible());
    QCOMPARE(waiting->text(), QString("Waits for its turn"));

    Desk::button(waiting, "Cancel")->click();
    QCOMPARE(waiting->text(), QString("Cancelled"));
    QVERIFY(Desk::button(waiting, "Try again") && Desk::button(waiting, "Take out"));
    Desk::button(running, "Cancel")->click();
    QVERIFY(!Desk::button(running, "Cancel")); // once is enough
    QVERIFY(desk.becomes(running->download(), State::Cancelled));
    QVERIFY(running->findChild<QPushButton *>("link")); // what was kept
    Desk::button(waiting, "Take out")->click();
    QCOMPARE(desk.page.rows().size(), 2);
    QCOMPARE(desk.queue.downloads().size(), 2);
    desk.queue.stopAll();
    QVERIFY(waitFor([&] { return desk.queue.active() == 0; }));
}

void TestDownloadPage::refusal_isToldInTheRow_andTriedAgain()
{
    log->expect(Logger::Error, "(orvdlthr)vod dl start err 17");
    log->expect(Logger::Error, "(atvdlthr)before download thr err");
    const Recorder recorder;
    recorder.control->faults().refuse(DeviceOp::vodDownloadStart, HRetExceedMax, 1);
    Desk desk(recorder);
    desk.page.submit();
    const DownloadRow *row = desk.page.rows().first();
    QVERIFY(waitFor([&] { return row->text().contains("as many downloads as it can"); }));
    QVERIFY(row->findChild<QLabel *>("problem"));
    Desk::button(row, "Try again")->click();
    QVERIFY(desk.becomes(row->download(), State::Done));
    QVERIFY(!row->findChild<QLabel *>("problem"));
}

void TestDownloadPage::emptyList_saysHowToBegin()
{
    const Recorder recorder;
    Desk desk(recorder);
    QLabel *words = nullptr;
    for (QLabel *label : desk.page.findChildren<QLabel *>())
        if (label->text().startsWith("No downloads yet"))
            words = label;
    QVERIFY(words && words->isVisible());
    desk.page.submit();
    QVERIFY(!words->isVisible());
    QVERIFY(desk.becomes(desk.page.rows().first()->download(), State::Done));
    desk.queue.removeEnded();
    QVERIFY(words->isVisible());
}

void TestDownloadPage::bar_countsAndTidies()
{
    const Recorder recorder;
    Desk desk(recorder);
    desk.page.bar()->show();
    desk.page.submit();
    desk.page.submit(); // the same channel, so it waits
    const auto status = [&] { return desk.page.bar()->findChild<QLabel *>("dim")->text(); };
    QVERIFY(waitFor([&] { return status().contains("1 running    1 waiting"); }));
    QVERIFY(waitFor([&] { return status() == "2 ended"; }));
    QToolButton *tidy = desk.page.bar()->findChildren<QToolButton *>().first();
    QVERIFY(tidy->isEnabled());
    tidy->click();
    QVERIFY(desk.page.rows().isEmpty());
    QVERIFY(waitFor([&] { return status().isEmpty() && !tidy->isEnabled(); }));
}

void TestDownloadPage::keys_workTheForm()
{
    const Recorder recorder;
    Desk desk(recorder);
    QVERIFY(QTest::qWaitForWindowActive(&desk.page));
    desk.page.setFocus();
    QVERIFY(qobject_cast<QComboBox *>(QApplication::focusWidget()));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), desk.from());
    // Letters and digits that are commands elsewhere belong to the field.
    QSignalSpy fullScreen(&desk.page, &DownloadPage::fullScreenWanted);
    QTest::keyClicks(desk.from(), "f");
    QCOMPARE(fullScreen.size(), 0);
    QTest::keyClick(desk.from(), Qt::Key_Return, Qt::ControlModifier);
    QCOMPARE(desk.page.rows().size(), 1);
    QVERIFY(desk.becomes(desk.page.rows().first()->download(), State::Done));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Delete, Qt::ControlModifier);
    QVERIFY(waitFor([&] { return desk.page.rows().isEmpty(); }));
    for (const QDateTimeEdit *field : desk.page.findChildren<QDateTimeEdit *>())
        QVERIFY(!field->accessibleName().isEmpty());
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    TestDownloadPage test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_downloadpage.moc"
