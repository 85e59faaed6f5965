// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What is known of the video card: cache, keys, lock, and the lines of a query that fails. The card
// is scripted; no test asks for a size that another one has asked for.

#include "core_codec/hwdecodesolution.h"
#include "support/loggedtest.h"
#include "support/scriptedcard.h"

#include <QSemaphore>
#include <QtTest>

#include <future>
#include <thread>
#include <type_traits>

using hwdecode::Step;
using vantratest::LogCapture;
using vantratest::ScriptedCard;

static_assert(std::is_empty<HwDecodeSolution>::value, "what is known belongs to the process");
static_assert(HwDecodeSolution::Solution_DXVA2 == 1);

namespace {

constexpr int kDxva2 = HwDecodeSolution::Solution_DXVA2;
constexpr int kDeadlineMs = 20000; // a safeguard against hanging

const QList<QSize> kUsualSizes = {{352, 288},   {640, 360},   {640, 480},   {800, 448},
                                  {704, 576},   {1280, 720},  {1920, 1080}, {2304, 1296},
                                  {2560, 1440}, {2880, 1616}, {3840, 2160}};

bool isSupported(const char *codec, QSize size, int solution = kDxva2)
{
    return HwDecodeSolution::isSupported(QString::fromLatin1(codec), size.width(), size.height(),
                                         solution);
}

bool contains(const char *codec, QSize size)
{
    return HwDecodeSolution::contains(QString::fromLatin1(codec), size.width(), size.height());
}

} // namespace

class TestHwDecodeSolution : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase() { vantratest::quietConsole(); }

    // --- Keys -----------------------------------------------------------------------------------

    void key_namesCodecWidthAndHeight()
    {
        QCOMPARE(HwDecodeSolution::makeKey("H264", 1920, 1080), QString("H264_1920*1080"));
        QCOMPARE(HwDecodeSolution::makeKey("H265", 352, 288), QString("H265_352*288"));
        QCOMPARE(HwDecodeSolution::makeKey("%1", 2, -3), QString("%1_2*-3"));
    }

    // --- Start of the library -------------------------------------------------------------------

    void preQuery_isSilent_whereThereIsNothingToAsk()
    {
        // Runs before the sizes are known.
        QVERIFY(HwDecodeSolution::preQuery());
        QVERIFY(log->lines().isEmpty());
        for (const QSize &size : kUsualSizes)
            QVERIFY(!contains("H264", size) && !contains("H265", size));
    }

    void preQuery_tellsAFailure_once()
    {
        ScriptedCard card;
        card.outcome = {Step::GetService};
        const QString line("(hwdslt)Direct3D9 Manager9 failed to get video service");
        log->expect(Logger::Error, line);
        QVERIFY(HwDecodeSolution::preQuery());
        QCOMPARE(log->count(Logger::Error, line), 1);
        QCOMPARE(card.asked().size(), 1);
        QVERIFY(!contains("H264", kUsualSizes.first()));
    }

    void usualSizes_areAskedForAtOnce_andCostNoQueryLater()
    {
        ScriptedCard card;
        for (const QSize &size : kUsualSizes)
            card.decodes.append({"H264", size});
        QVERIFY(HwDecodeSolution::preQuery());
        QCOMPARE(card.asked(), QList<QList<QSize>>({kUsualSizes})); // in this order
        for (const QSize &size : kUsualSizes) {
            QVERIFY(contains("H264", size));
            QVERIFY(isSupported("H264", size));
        }
        QCOMPARE(card.asked().size(), 1);
        QVERIFY(log->lines().isEmpty());
    }

    void h265_isRefused_byACardForH264()
    {
        // The test before has made the same size known for H.264.
        ScriptedCard card;
        const QSize size(1920, 1080);
        card.decodes.append({"H264", size});
        QVERIFY(!isSupported("H265", size));
        QVERIFY(contains("H265", size));
        QVERIFY(isSupported("H264", size));
        QVERIFY(!isSupported("H265", size));
        QCOMPARE(card.asked(), QList<QList<QSize>>({{size}}));
    }

    // --- Answers --------------------------------------------------------------------------------

    void otherSize_isAskedForWhenFirstNeeded_andKept()
    {
        ScriptedCard card;
        const QSize size(720, 576);
        card.decodes.append({"H265", size});
        QVERIFY(!contains("H265", size));
        QVERIFY(isSupported("H265", size));
        QVERIFY(contains("H265", size));
        card.decodes.clear(); // a change of the driver goes unnoticed
        QVERIFY(isSupported("H265", size));
        QCOMPARE(card.asked(), QList<QList<QSize>>({{size}}));
    }

    void refusedSize_isAskedForOnce()
    {
        ScriptedCard card;
        const QSize size(7680, 4320);
        for (int i = 0; i < 3; ++i)
            QVERIFY(!isSupported("H264", size));
        QVERIFY(contains("H264", size));
        card.decodes.append({"H264", size});
        QVERIFY(!isSupported("H264", size));
        QCOMPARE(card.asked(), QList<QList<QSize>>({{size}}));
        QVERIFY(log->lines().isEmpty()); // that is an answer, not a failure
    }

    void no_becomesYes_byALaterQuery()
    {
        ScriptedCard card;
        const QSize size(7680, 4322);
        QVERIFY(!isSupported("H264", size));
        card.decodes.append({"H264", size});
        HwDecodeSolution::queryAndSaveSolutions({size});
        QVERIFY(isSupported("H264", size));
        card.decodes.clear();
        HwDecodeSolution::queryAndSaveSolutions({size});
        QVERIFY(isSupported("H264", size)); // and never goes back
    }

    void query_keepsOnlyWhatIsSupported()
    {
        ScriptedCard card;
        const QSize yes(1000, 500);
        const QSize no(1002, 500);
        card.decodes.append({"H264", yes});
        HwDecodeSolution::queryAndSaveSolutions({no, yes});
        QCOMPARE(card.asked(), QList<QList<QSize>>({{no, yes}}));
        QVERIFY(contains("H264", yes) && !contains("H265", yes));
        QVERIFY(!contains("H264", no));
    }

    void severalDecoders_setTheSameBit()
    {
        ScriptedCard card;
        const QSize size(1004, 500);
        for (int i = 0; i < 3; ++i)
            card.decodes.append({"H264", size});
        QVERIFY(isSupported("H264", size, 1));
        QVERIFY(!isSupported("H264", size, ~1));
    }

    void mask_choosesAmongTheWays()
    {
        ScriptedCard card;
        const QSize size(1006, 500);
        card.decodes.append({"H264", size});
        QVERIFY(!isSupported("H264", size, 2)); // no such way yet, but asked for
        QVERIFY(isSupported("H264", size, 1));
        QVERIFY(isSupported("H264", size, 3));
        QVERIFY(!isSupported("H264", size, 0));
        QCOMPARE(card.asked().size(), 1);
    }

    void oddCodecsAndSizes_areRefusedAndKept()
    {
        ScriptedCard card;
        for (const char *codec : {"", "h264", "H266", "H264_1*1"}) {
            QVERIFY(!isSupported(codec, {640, 360}));
            QVERIFY(!isSupported(codec, {640, 360}));
        }
        QCOMPARE(card.asked().size(), 4);
        for (const QSize size : {QSize(0, 0), QSize(-1, -1), QSize(INT_MAX, INT_MIN)}) {
            QVERIFY(!isSupported("H264", size));
            QVERIFY(!isSupported("H264", size));
        }
        QCOMPARE(card.asked().size(), 7);
    }

    // --- Failures -------------------------------------------------------------------------------

    void failedStep_logsOneLine_andTheSizeIsRefused_data()
    {
        QTest::addColumn<int>("step");
        QTest::addColumn<quint32>("code");
        QTest::addColumn<QString>("text");
        const auto row = [](Step step, quint32 code, const char *text) {
            QTest::newRow(text) << int(step) << code << QString(text);
        };
        row(Step::CreateDirect3D, 0, "Failed to create Direct3D9.");
        row(Step::CreateDevice, 0x8876086c, "Failed to create Direct3DDevice9. HRESULT=0x8876086c");
        row(Step::CreateDevice, 0, "Failed to create Direct3DDevice9. HRESULT=0x0");
        row(Step::CreateManager, 5, "Failed to create Direct3D9 Manager9.");
        row(Step::ResetManager, 5, "Failed to reset Direct3D9 Manager9.");
        row(Step::OpenHandle, 5, "Direct3D9 Manager9 failed to open device handle");
        row(Step::GetService, 5, "Direct3D9 Manager9 failed to get video service");
        row(Step::GetDecoders, 5, "Device Service failed to get decoder guids");
    }

    void failedStep_logsOneLine_andTheSizeIsRefused()
    {
        QFETCH(int, step);
        QFETCH(quint32, code);
        QFETCH(QString, text);
        const QSize known(1100, 10 + 2 * step + (code ? 1 : 0));
        const QSize size(1102, known.height());
        const QString line = "(hwdslt)" + text;
        log->expect(Logger::Error, line);

        ScriptedCard card;
        card.decodes = {{"H264", known}, {"H264", size}};
        QVERIFY(isSupported("H264", known));
        card.outcome = {static_cast<Step>(step), code};
        QVERIFY(!isSupported("H264", size));
        QCOMPARE(log->lines().size(), 1);
        const LogCapture::Line seen = log->lines().constFirst();
        QCOMPARE(seen.level, Logger::Error);
        QCOMPARE(seen.text, line);
        QCOMPARE(seen.category, QString("vantra"));
        QCOMPARE(seen.file, QString("core_codec/hwdecodesolution.cpp"));

        QVERIFY(isSupported("H264", known)); // what was known stays
        card.outcome = {};
        QVERIFY(!isSupported("H264", size)); // nor is it asked for again
        QCOMPARE(log->lines().size(), 1);
        QCOMPARE(card.asked().size(), 2);
    }

    void withoutDirect3D_everyAnswerIsNo_andEachNewSizeLogsOneError_data()
    {
        QTest::addColumn<bool>("scripted");
        QTest::addColumn<int>("height");
        QTest::newRow("a card without") << true << 200;
        QTest::newRow("this system") << false << 202; // has no DXVA2
    }

    void withoutDirect3D_everyAnswerIsNo_andEachNewSizeLogsOneError()
    {
        QFETCH(bool, scripted);
        QFETCH(int, height);
        const QString line("(hwdslt)Failed to create Direct3D9.");
        log->expect(Logger::Error, line);
        std::unique_ptr<ScriptedCard> card(scripted ? new ScriptedCard : nullptr);
        if (card)
            card->outcome = {Step::CreateDirect3D};
        int errors = 0;
        for (const int width : {1200, 1202, 1204}) {
            for (const char *codec : {"H264", "H265"}) {
                QVERIFY(!isSupported(codec, {width, height}));
                ++errors;
                QVERIFY(!isSupported(codec, {width, height}));
                QVERIFY(contains(codec, {width, height}));
                QCOMPARE(log->count(Logger::Error, line), errors);
            }
        }
    }

    // --- Threads --------------------------------------------------------------------------------

    void lock_isFree_whileTheCardIsAsked()
    {
        ScriptedCard card;
        const QSize known(1300, 500);
        const QSize size(1302, 500);
        card.decodes = {{"H264", known}, {"H264", size}};
        QVERIFY(isSupported("H264", known));
        bool isAnswered = false;
        std::future<bool> other;
        card.whileAsked = [&](int) {
            other = std::async(std::launch::async, [&] { return isSupported("H264", known); });
            isAnswered =
                other.wait_for(std::chrono::milliseconds(kDeadlineMs)) == std::future_status::ready;
        };
        QVERIFY(isSupported("H264", size));
        QVERIFY(isAnswered);
        QVERIFY(other.get());
    }

    void twoThreads_mayAskForOneSizeAtOnce()
    {
        ScriptedCard card;
        const QSize size(1304, 500);
        card.decodes.append({"H264", size});
        QSemaphore inside;
        QSemaphore mayAnswer;
        card.whileAsked = [&](int) {
            inside.release();
            mayAnswer.tryAcquire(1, kDeadlineMs);
        };
        const auto ask = [&] { return isSupported("H264", size); };
        auto first = std::async(std::launch::async, ask);
        auto second = std::async(std::launch::async, ask);
        const bool bothAsk = inside.tryAcquire(2, kDeadlineMs);
        mayAnswer.release(2);
        QVERIFY(first.get());
        QVERIFY(second.get());
        QVERIFY(bothAsk);
        QCOMPARE(card.asked().size(), 2);
    }

    void refusal_doesNotTakeBackTheYesOfAnotherThread()
    {
        ScriptedCard card;
        const QSize size(1306, 500);
        card.whileAsked = [&](int number) {
            if (number != 1)
                return;
            card.decodes.append({"H264", size});
            std::thread([&] { isSupported("H264", size); }).join();
            card.decodes.clear();
        };
        QVERIFY(isSupported("H264", size));
        QVERIFY(isSupported("H264", size));
        QCOMPARE(card.asked().size(), 2);
    }

    void manyThreads_getTheSameAnswers()
    {
        constexpr int kThreads = 8;
        constexpr int kSizes = 40;
        ScriptedCard card;
        for (int i = 0; i < kSizes; i += 2)
            card.decodes.append({"H265", QSize(1400 + i, 500)});
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&wrong] {
                for (int i = 0; i < kSizes; ++i) {
                    const QSize size(1400 + i, 500);
                    if (isSupported("H265", size) != (i % 2 == 0) || !contains("H265", size))
                        ++wrong;
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
        QVERIFY(card.asked().size() >= kSizes);
        QVERIFY(card.asked().size() <= kSizes * kThreads);
    }
};

QTEST_GUILESS_MAIN(TestHwDecodeSolution)
#include "tst_hwdecodesolution.moc"
