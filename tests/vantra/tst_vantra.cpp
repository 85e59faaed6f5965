// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "vantra.h"

#include "core_codec/mediacodec.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/abstractvideowidget.h"
#include "support/logcapture.h"
#include "support/scriptedcard.h"

#include <QtTest>

extern "C" {
#include <libavutil/log.h>
}

#include <type_traits>
#include <utility>

// Hosts read and write these as plain data.
static_assert(std::is_same<decltype(AbstractVideoThread::debugInfo), bool>::value &&
              std::is_same<decltype(AbstractVideoThread::sharedData), bool>::value);
static_assert(std::is_same<decltype(AbstractVideoWidget::recordPath), QString>::value &&
              std::is_same<decltype(AbstractVideoWidget::snapPath), QString>::value);
static_assert(std::is_empty<Vantra>::value && std::is_copy_assignable<Vantra>::value &&
              std::is_move_assignable<Vantra>::value);

using vantratest::LogCapture;

class TestVantra : public QObject
{
    Q_OBJECT

private slots:
    void statics_haveTheirDefaults_beforeInit();
    void statics_keepWhatTheHostWrites();
    void initAndRelease_mayBeCalledInAnyOrder_data();
    void initAndRelease_mayBeCalledInAnyOrder();
    void initAndRelease_startAndStopTheManagerOfLiveSets();
    void init_asksTheVideoCard_beforeTheManagerStarts();
    void init_succeeds_whateverTheVideoCardSays();
    void initAndRelease_leaveFFmpegAlone();
    void resources_areThere_fromTheStart();
    void line_namesItsSourceFile_relativeToTheSources();
};

void TestVantra::statics_haveTheirDefaults_beforeInit()
{
    // Runs first: they are built when the library is loaded.
    QCOMPARE(AbstractVideoThread::debugInfo, true);
    QCOMPARE(AbstractVideoThread::sharedData, true);
    QCOMPARE(AbstractVideoWidget::recordPath, QStringLiteral("./video"));
    QCOMPARE(AbstractVideoWidget::snapPath, QStringLiteral("snap"));
}

void TestVantra::statics_keepWhatTheHostWrites()
{
    AbstractVideoThread::debugInfo = false;
    AbstractVideoThread::sharedData = false;
    AbstractVideoWidget::recordPath = QStringLiteral("/records");
    AbstractVideoWidget::snapPath = QStringLiteral("pictures");
    QVERIFY(Vantra::init());
    Vantra::release();
    QCOMPARE(std::exchange(AbstractVideoThread::debugInfo, true), false);
    QCOMPARE(std::exchange(AbstractVideoThread::sharedData, true), false);
    QCOMPARE(std::exchange(AbstractVideoWidget::recordPath, QStringLiteral("./video")),
             QStringLiteral("/records"));
    QCOMPARE(std::exchange(AbstractVideoWidget::snapPath, QStringLiteral("snap")),
             QStringLiteral("pictures"));
}

void TestVantra::initAndRelease_mayBeCalledInAnyOrder_data()
{
    QTest::addColumn<QString>("calls"); // i: init, r: release
    for (const char *calls : {"i", "ir", "r", "ri", "ii", "iir", "irr", "irir", "rriirrii"})
        QTest::newRow(calls) << calls;
}

void TestVantra::initAndRelease_mayBeCalledInAnyOrder()
{
    QFETCH(QString, calls);
    LogCapture log;
    for (const QChar call : calls) {
        if (call == QLatin1Char('i'))
            QVERIFY(Vantra::init());
        else
            Vantra::release();
    }
    Vantra::release();
    QCOMPARE(log.unexpected(), QStringList());
}

void TestVantra::initAndRelease_startAndStopTheManagerOfLiveSets()
{
    QVERIFY(!DevLiveThrSetManager::Instance()->isRunning());
    QVERIFY(Vantra::init());
    QVERIFY(DevLiveThrSetManager::Instance()->isRunning());
    Vantra::release();
    QVERIFY(!DevLiveThrSetManager::Instance()->isRunning());
}

void TestVantra::init_asksTheVideoCard_beforeTheManagerStarts()
{
    vantratest::ScriptedCard card;
    bool isRunning = true;
    QThread *thread = nullptr;
    card.whileAsked = [&](int) {
        isRunning = DevLiveThrSetManager::Instance()->isRunning();
        thread = QThread::currentThread();
    };
    QVERIFY(Vantra::init());
    QVERIFY(DevLiveThrSetManager::Instance()->isRunning());
    QVERIFY(!isRunning);
    QCOMPARE(thread, QThread::currentThread());
    QCOMPARE(card.asked(), QList<QList<QSize>>({{{352, 288},
                                                 {640, 360},
                                                 {640, 480},
                                                 {800, 448},
                                                 {704, 576},
                                                 {1280, 720},
                                                 {1920, 1080},
                                                 {2304, 1296},
                                                 {2560, 1440},
                                                 {2880, 1616},
                                                 {3840, 2160}}}));
    Vantra::release();
    QCOMPARE(card.asked().size(), 1);
}

void TestVantra::init_succeeds_whateverTheVideoCardSays()
{
    vantratest::ScriptedCard card;
    card.outcome = {hwdecode::Step::CreateDirect3D};
    LogCapture log;
    log.expect(Logger::Error, "(hwdslt)Failed to create Direct3D9.");
    QVERIFY(Vantra::init());
    QVERIFY(DevLiveThrSetManager::Instance()->isRunning());
    Vantra::release();
    QCOMPARE(log.missing(), QStringList());
    QCOMPARE(log.unexpected(), QStringList());
}

void TestVantra::initAndRelease_leaveFFmpegAlone()
{
    for (const int level : {AV_LOG_QUIET, AV_LOG_INFO, AV_LOG_TRACE}) {
        av_log_set_level(level);
        QVERIFY(Vantra::init());
        QCOMPARE(av_log_get_level(), level);
        Vantra::release();
        QCOMPARE(av_log_get_level(), level);
    }
    av_log_set_level(AV_LOG_INFO);
}

void TestVantra::resources_areThere_fromTheStart()
{
    for (const char *file :
         {":/primary/mic.svg", ":/primary/mic-close.svg", ":/primary/volume.svg",
          ":/primary/close_volume.svg", ":/primary/digital-zoom.svg", ":/primary/snap.svg",
          ":/primary/iconfont.ttf", ":/image/bg_novideo.png"})
        QVERIFY2(QFile::exists(QLatin1String(file)), file);
}

void TestVantra::line_namesItsSourceFile_relativeToTheSources()
{
    LogCapture log;
    for (const char *text : {"(ffpg)codec 0 is not supported", "(mdcdc)create video decoder fail",
                             "(mdcdc)create audio decoder fail"})
        log.expect(Logger::Error, QLatin1String(text));
    MediaCodec codec;
    QVERIFY(!codec.createVideoDecoder({}));
    QVERIFY(!codec.createAudioDecoder({}));

    QStringList files;
    for (const LogCapture::Line &line : log.lines()) {
        files << line.file;
        QVERIFY(line.line > 0);
        QCOMPARE(line.category, QStringLiteral("vantra"));
    }
    // Nothing of the machine that the library was built on.
    QCOMPARE(files, QStringList({"core_codec/ffmpegvideo.cpp", "core_codec/mediacodec.cpp",
                                 "core_codec/ffmpegaudio.cpp", "core_codec/mediacodec.cpp"}));
    QCOMPARE(log.lines().at(1).function,
             QStringLiteral("bool MediaCodec::createVideoDecoder(const _tag_vdec_param_s&)"));
    QCOMPARE(log.unexpected(), QStringList());
}

QTEST_MAIN(TestVantra)
#include "tst_vantra.moc"
