// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A host that does the same for as long as asked (VANTRA_SOAK_SECONDS): nothing of what it uses may
// grow. It draws what it has used into soak.svg beside this program.
#include "soakhost.h"
#include "support/privatepulse.h"
#include "support/processload.h"
#include "support/watchdog.h"

#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

#include <malloc.h>

using namespace vantratest;

namespace {

/// Shows that it works; too short to tell growth from warming up.
constexpr int kDefaultSeconds = 20;
constexpr int kShortestJudged = 300; ///< seconds
constexpr int kSamples = 300;        ///< about as many in a run of any length
constexpr int kSecondsPerFile = 60;  ///< of recordings, in shorter runs less
constexpr int kLeastPerFile = 6;
constexpr int kKeepUpMs = 100;
constexpr int kDeadMs = 120000;
constexpr int kFewThreads = 2;
constexpr int kFewHandles = 6;

// What a figure may rise by in the second half of a run. One object of each kind that is left
// behind at each cut of a file or end of a download is more.
constexpr double kMemoryMiB = 2;
constexpr double kFewer = 0.99; ///< than one handle or thread
/// A clock or a queue that runs away does so for ever; a machine that gets busier does it once.
constexpr double kLatencyMs = 100;

double middle(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/// Asks the process what it uses.
class Sampler
{
public:
    explicit Sampler(SoakHost *host) : m_host(host)
    {
        const auto series = [](const QString &name, double bound) {
            Series one;
            one.name = name;
            one.bound = bound;
            return one;
        };
        // The share of what is shared changes with what other programs run, so it is not judged.
        trend.diagrams = {
            {QStringLiteral("Memory"),
             QStringLiteral("MiB"),
             {series(QStringLiteral("resident"), kMemoryMiB),
              series(QStringLiteral("proportional"), Series::kNoBound),
              series(QStringLiteral("allocated"), kMemoryMiB)}},
            {QStringLiteral("Handles"),
             QStringLiteral("open files and sockets"),
             {series(QStringLiteral("handles"), kFewer)}},
            {QStringLiteral("Threads"),
             QStringLiteral("number"),
             {series(QStringLiteral("threads"), kFewer)}},
            {QStringLiteral("Latency"),
             QStringLiteral("ms from camera to paint"),
             {series(QStringLiteral("slowest view"), kLatencyMs),
              series(QStringLiteral("middle view"), Series::kNoBound)}},
        };
        m_time.start();
    }

    void sample()
    {
        malloc_trim(0); // what the allocator keeps is not in use
        const ProcessLoad load = ProcessLoad::now();
        trend.seconds << m_time.elapsed() / 1000.0;
        const QVector<double> ages = m_host->takeAges();
        // A sanitizer keeps what is freed.
        const auto mebibytes = [](qint64 kib) { return kib > 0 ? kib / 1024.0 : Series::kNothing; };
        add(0, 0, mebibytes(load.residentKiB));
        add(0, 1, mebibytes(load.proportionalKiB));
        const struct mallinfo2 heap = mallinfo2();
        add(0, 2, mebibytes(qint64(heap.uordblks + heap.hblkhd) / 1024));
        add(1, 0, load.handles);
        add(2, 0, load.threads);
        add(3, 0, *std::max_element(ages.begin(), ages.end()));
        add(3, 1, middle(ages));
    }

    Trend trend;

private:
    void add(int diagram, int series, double value)
    {
        trend.diagrams[diagram].series[series].values << value;
    }

    SoakHost *const m_host;
    QElapsedTimer m_time;
};

} // namespace

class TestSoak : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        // A server that takes long to begin is asked again.
        if (kSlowness > 1)
            log->expectMatching(Logger::Error,
                                QRegularExpression(QStringLiteral("^\\(ffvdthr\\)open input err")));
        log->expectMatching(Logger::Warning,
                            QRegularExpression("^\\(svmp4ff\\).*\\.mp4 pts \\(\\d+:\\d+\\)$"));
        announceRtspStop(log.get());
        QVERIFY(Vantra::init());
    }
    void tearDown() override { Vantra::release(); }

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void nothingGrows();
};

void TestSoak::nothingGrows()
{
    bool isSet = false;
    const int wanted = qEnvironmentVariableIntValue("VANTRA_SOAK_SECONDS", &isSet);
    const int seconds = isSet ? wanted : kDefaultSeconds;

    const QTemporaryDir folder;
    const ProcessLoad before = ProcessLoad::now();

    QStringList unexpected;
    {
        SoakHost host(folder.path(),
                      std::min(kSecondsPerFile, std::max(kLeastPerFile, seconds / 10)));
        Watchdog dog(kDeadMs);
        QVERIFY(host.begin());
        QVERIFY2(waitFor([&] { return host.allShow(); }, 60000), "a view shows nothing");
        Sampler sampler(&host);
        QEventLoop loop;
        QTimer keeper;
        QObject::connect(&keeper, &QTimer::timeout, &loop, [&] {
            host.keepUp();
            dog.feed();
        });
        QTimer sampling;
        QObject::connect(&sampling, &QTimer::timeout, &loop, [&] {
            sampler.sample();
            unexpected << log->unexpected();
            log->clear();
        });
        keeper.start(kKeepUpMs);
        sampling.start(std::max(100, seconds * 1000 / kSamples));
        QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
        loop.exec();
        keeper.stop();
        sampling.stop();

        const QString name = QCoreApplication::applicationDirPath() + QStringLiteral("/soak");
        QVERIFY(sampler.trend.writeTable(name + QStringLiteral(".csv")));
        QVERIFY(sampler.trend.writeSvg(
            name + QStringLiteral(".svg"),
            QStringLiteral("%1 views, %2 recordings, %3 downloads at a time, %4 s")
                .arg(SoakHost::kViews)
                .arg(SoakHost::kRecordings)
                .arg(SoakHost::kDownloads)
                .arg(seconds)));
        // A short run on a busy machine may not have come that far.
        waitFor(
            [&] {
                host.keepUp();
                return host.recordings() >= SoakHost::kRecordings &&
                       host.downloads() >= SoakHost::kDownloads;
            },
            kDeadMs / 2);
        dog.feed();
        host.finish([&] { dog.feed(); });
        // Not by qInfo(): by then the library has told of more files than Qt Test lets through.
        std::printf("%d s, %d recordings and %d downloads play; see %s.svg\n", seconds,
                    host.recordings(), host.downloads(), qPrintable(name));
        QCOMPARE(host.faults(), QString());
        QVERIFY(host.recordings() >= SoakHost::kRecordings);
        QVERIFY(host.downloads() >= SoakHost::kDownloads);
        if (seconds >= kShortestJudged)
            QCOMPARE(sampler.trend.faults(), QString());
    }
    QCOMPARE(unexpected.join('\n'), QString());

    QCOMPARE(loadLeftBehind(before, kFewThreads, kFewHandles), QString());
    Vantra::init();
}

int main(int argc, char *argv[])
{
    // The allocator learns to keep ever larger blocks, in a pool for every few threads, and each
    // pool grows until it has met its own worst moment. Here what is freed is to be given back.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    mallopt(M_TRIM_THRESHOLD, 128 * 1024);
    // Qt Test would end a run of more than five minutes.
    qputenv("QTEST_FUNCTION_TIMEOUT", QByteArray::number(std::numeric_limits<int>::max()));
    QApplication app(argc, argv);
    TestSoak test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_soak.moc"
