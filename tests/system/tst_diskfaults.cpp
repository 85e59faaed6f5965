// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A disk that fills up, refuses, dawdles or goes while a live view is recorded, a picture saved and
// a recording copied: every view goes on, what was written stays, and all of it works again when
// the disk does.
#include "devicedownload.h"
#include "livefaultcase.h"
#include "support/diskfault.h"
#include "support/privatepulse.h"
#include "support/smalldisk.h"

#include <QSignalSpy>
#include <QTemporaryDir>

#include <cerrno>
#include <functional>

#include <sys/mount.h>

using namespace vantratest;
using namespace vantrasim;

namespace {

QString noMounts; ///< why there are no disks to be had; empty: there are

constexpr qint64 kDiskBytes = 24 * 1024 * 1024;
constexpr int kLongMs = 60000; ///< safeguard
constexpr int kSlowMs = 40;    ///< of each write

enum class Trouble { Full, ReadOnly, Broken, Slow, Deleted, Unmounted };

} // namespace

class TestDiskFaults : public LiveFaultCase
{
    Q_OBJECT

private slots:
    void initTestCase();
    void trouble_holdsUpNoView_andAllGoesOnBehindIt_data();
    void trouble_holdsUpNoView_andAllGoesOnBehindIt();

private:
    void announceTrouble();
    void begin(Trouble trouble);
    void end(Trouble trouble);
    QString disk() const { return m_small ? m_small->path() : m_plain->path(); }
    QString faultsOf(const QStringList &files);
    /// Waits until a recording has been tried again so often that one second would not do.
    bool isTriedAgain();
    static bool beginsInTheFuture(const QString &file);
    /// Asks for a picture and waits until its wish is done with. Null if there is none.
    QImage snap(LiveView *view, const QString &name);

    Simulation m_recorder;
    std::unique_ptr<SmallDisk> m_small;
    std::unique_ptr<QTemporaryDir> m_plain;
    std::unique_ptr<DiskFault> m_fault;
};

void TestDiskFaults::initTestCase()
{
    useNoSoundServer();
    quietConsole();
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.number = 8;
    config.channels[0].streams[0] = form(HCodecH264, 0, 10);
    m_recorder = simulateDevice(config);
}

void TestDiskFaults::announceTrouble()
{
    expect(Logger::Error, "^\\(svmp4ff\\)(write (video|audio|trailer|header)|avio (open|close)"
                          "|creat mp4) .*(-28|-30|-5|err$)");
    // Of a file that has gone, when it is to get its last name.
    expect(Logger::Error, "^\\(orlvthr\\).* is not exists$");
    expect(Logger::Warning, "^\\(ffrlthr\\).* not exist$");
}

void TestDiskFaults::begin(Trouble trouble)
{
    switch (trouble) {
    case Trouble::Full: {
        QFile ballast(disk() + "/ballast");
        QVERIFY(ballast.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (ballast.write(QByteArray(4096, '.')) == 4096) {
        }
        break;
    }
    case Trouble::ReadOnly:
        m_fault->refuse(EROFS);
        break;
    case Trouble::Broken:
        m_fault->refuse(EIO);
        break;
    case Trouble::Slow:
        m_fault->delay(kSlowMs);
        break;
    case Trouble::Deleted:
        QVERIFY(QDir(disk()).removeRecursively());
        break;
    case Trouble::Unmounted:
        QCOMPARE(umount2(QFile::encodeName(disk()).constData(), MNT_DETACH), 0);
        break;
    }
}

void TestDiskFaults::end(Trouble trouble)
{
    if (m_fault) {
        m_fault->refuse(0);
        m_fault->delay(0);
    }
    if (trouble == Trouble::Full) {
        QVERIFY(QFile::remove(disk() + "/ballast"));
        QVERIFY(QDir(disk() + "/copies").removeRecursively());
    }
}

/// What is wrong with recordings of which all but the last had their ends refused; empty if
/// nothing.
QString TestDiskFaults::faultsOf(const QStringList &files)
{
    RecordedFile last;
    QString fault = faultOfRecording(files.value(files.size() - 1), &last);
    for (int i = 0; i + 1 < files.size(); ++i) {
        const QVector<qint64> counters = readRecording(files.at(i)).counters;
        if (counters.size() < 20)
            fault += QStringLiteral(" %1 pictures only").arg(counters.size());
        for (int j = 1; j < counters.size(); ++j)
            if (counters.at(j) != counters.at(j - 1) + 1)
                fault += QStringLiteral(" %1 after %2").arg(counters.at(j)).arg(counters.at(j - 1));
    }
    return fault;
}

bool TestDiskFaults::isTriedAgain()
{
    constexpr int kTries = 20;
    const QRegularExpression refused(QStringLiteral("^\\(svmp4ff\\)avio open"));
    return waitFor([&] { return log->countMatching(Logger::Error, refused) >= kTries; }, kLongMs);
}

bool TestDiskFaults::beginsInTheFuture(const QString &file)
{
    const QString begin = QFileInfo(file).completeBaseName().section(QLatin1Char('_'), 0, 0);
    const QDateTime time = QDateTime::fromString(begin, QStringLiteral("yyyyMMddTHHmmss"));
    return !time.isValid() || time > QDateTime::currentDateTime().addSecs(1);
}

QImage TestDiskFaults::snap(LiveView *view, const QString &name)
{
    AbstractVideoThread *thread = view->shown();
    QSignalSpy told(thread, &AbstractVideoThread::snapImage);
    thread->setSnapPreview(true);
    thread->snap(name);
    if (!waitFor([&] { return told.size() > 0 && !thread->getIsSnap(); }, kLongMs))
        qFatal("a wish for a picture is never done with");
    return told.last().first().value<QImage>();
}

void TestDiskFaults::trouble_holdsUpNoView_andAllGoesOnBehindIt_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("protocol");
    for (const HTransportProtocol protocol : {HTransportOrvo, HTransportRtsp}) {
        const auto row = [&](const char *name, Trouble trouble) {
            QTest::addRow("%s, %s", name, protocol == HTransportOrvo ? "orvo" : "rtsp")
                << int(trouble) << int(protocol);
        };
        row("full", Trouble::Full);
        row("read-only", Trouble::ReadOnly);
        row("broken", Trouble::Broken);
        row("slow", Trouble::Slow);
        row("folder deleted", Trouble::Deleted);
        row("unmounted", Trouble::Unmounted);
    }
}

void TestDiskFaults::trouble_holdsUpNoView_andAllGoesOnBehindIt()
{
    QFETCH(int, kind);
    QFETCH(int, protocol);
    const auto trouble = Trouble(kind);
    const bool isGone = trouble == Trouble::Deleted || trouble == Trouble::Unmounted;
    const bool isSlow = trouble == Trouble::Slow;
    m_fault.reset();
    m_small.reset();
    m_plain.reset();
    if (trouble == Trouble::Full || trouble == Trouble::Unmounted) {
        if (!noMounts.isEmpty())
            QSKIP(qPrintable(noMounts));
        m_small = std::make_unique<SmallDisk>(kDiskBytes);
        QVERIFY(m_small->isValid());
    } else {
        m_plain = std::make_unique<QTemporaryDir>();
        if (!isGone)
            m_fault = std::make_unique<DiskFault>(disk());
    }
    announceTrouble();
    const QTemporaryDir good;
    QString fault;
    make(smallDevice(HTransportProtocol(protocol), 1, 1));
    {
        LiveView view{HTransportProtocol(protocol)};
        QVERIFY(view.begin(sim.device, 0, 0));
        QVERIFY(view.showsMore());
        bystander->recordStart(good.path());
        view.recordStart(disk() + "/live");
        const auto recordings = [&] { return filesBelow(disk() + "/live"); };
        // Those that hold something: a disk that takes names and nothing else is tried now and
        // then.
        const auto written = [&] {
            QStringList files = recordings();
            files.erase(std::remove_if(files.begin(), files.end(),
                                       [](const QString &file) { return !QFileInfo(file).size(); }),
                        files.end());
            return files;
        };
        QVERIFY(waitFor([&] { return written().size() == 1; }, kLongMs));
        QVERIFY(!snap(&view, disk() + "/snaps/before.jpg").isNull());
        Download download(m_recorder.device, 0, at(10, 0), at(isSlow ? 10 : 12, 0, 30),
                          disk() + "/copies");
        download.thread.startDL();
        QVERIFY(waitFor([&] { return !download.files().isEmpty(); }, kLongMs));
        // Younger files are given up less readily.
        QVERIFY(view.showsMore(5 * 25 + 10));

        begin(trouble);
        QVERIFY(view.showsMore(25));
        QVERIFY(bystander->showsMore(10));
        QVERIFY(waitFor([&] { return download.thread.isFinished(); }, kDownloadMs));
        QCOMPARE(download.told(), isSlow ? QStringList({"start", "finsh"})
                                         : QStringList({"start", "error", "finsh"}));
        QCOMPARE(download.ok(), isSlow);
        if (isSlow)
            QVERIFY(m_fault->struck() > 0);
        if (trouble == Trouble::ReadOnly)
            QVERIFY(isTriedAgain());
        const QString during = disk() + "/snaps/during.jpg";
        const bool saved = !snap(&view, during).isNull();
        QCOMPARE(saved, isSlow || isGone);      // its folder is made again
        QCOMPARE(QFile::exists(during), saved); // whole, or none
        QVERIFY(view.showsMore(10));

        end(trouble);
        // Removed, the first file is none of those that are there.
        QVERIFY(waitFor([&] { return written().size() == (isSlow || isGone ? 1 : 2); }, kLongMs));
        // Names of files that were never made are no reason to tell a later begin.
        const QStringList names = written();
        QVERIFY(std::none_of(names.begin(), names.end(), &TestDiskFaults::beginsInTheFuture));
        QVERIFY(!snap(&view, disk() + "/snaps/after.jpg").isNull());
        Download again(m_recorder.device, 0, at(10, 0), at(10, 0, 5), disk() + "/again");
        again.thread.startDL();
        QVERIFY(waitFor([&] { return again.thread.isFinished(); }, kDownloadMs));
        QVERIFY(again.ok());
        QCOMPARE(again.files().size(), 1);
        QVERIFY(view.showsMore(25));
        view.recordStop();
        QVERIFY(view.showsMore());
        bystander->recordStop();
        QVERIFY(bystander->showsMore());
        view.finish();
        QVERIFY(waitFor([&] { return !threadOf(sim.device, 0); }));
        QCOMPARE(view.faults(source()), QString());

        const QStringList files = written();
        heart->leaveOut([&] { fault = faultsOf(files) + faultsOf(filesBelow(good.path())); });
        QCOMPARE(filesBelow(good.path()).size(), 1);
    }
    QCOMPARE(fault, QString());
}

int main(int argc, char *argv[])
{
    noMounts = enterPrivateMounts();
    QApplication app(argc, argv);
    TestDiskFaults test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_diskfaults.moc"
