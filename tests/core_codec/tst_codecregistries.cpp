// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What the registries of the codec layer do at their borders: a context that is there already, the
/// moments at which nobody may hold their locks, and no memory left for a table.

#include "audiohandles.h"
#include "codectest.h"
#include "ffmpegfaults.h"
#include "support/waitfor.h"

#include <QProcess>
#include <QtTest>

#include <atomic>
#include <thread>

using namespace vantratest;

namespace {

constexpr char kExhaustArgument[] = "--exhaust-memory";
const QRegularExpression
    kAudioWasExisted(QStringLiteral("^\\(ffpg\\)audio decoder 0x[0-9a-f]+ was existed$"));

bool isFree(QReadWriteLock &lock)
{
    if (!lock.tryLockForWrite())
        return false;
    lock.unlock();
    return true;
}

} // namespace

class TestCodecRegistries : public CodecTest
{
    Q_OBJECT

protected:
    void tearDown() override
    {
        Faults::reset();
        CodecTest::tearDown();
    }

private slots:
    void initTestCase();

    void video_isMadeAndWorks_whenItsContextIsThereAlready();
    void audioDecoder_isMadeAndWorks_whenItsContextIsThereAlready();
    void audioEncoder_isMadeAndWorks_whenItsContextIsThereAlready();
    void locks_areFree_whileCodecsOpenDecodeAndFree();
    void handle_isOutOfItsRegistry_whenItsContextIsFreed();
    void negotiation_goesOn_besideOtherReaders();
    void process_ends_whenThereIsNoMemoryForATable_data();
    void process_ends_whenThereIsNoMemoryForATable();

private:
    AccessUnit m_unit;
};

void TestCodecRegistries::initTestCase()
{
    quietConsole();
    m_unit = keyPicture();
    QVERIFY(!m_unit.data.isEmpty());
}

void TestCodecRegistries::video_isMadeAndWorks_whenItsContextIsThereAlready()
{
    vdec_handle_s squatter = {};
    Faults::watcher = [&](Faults::Step step, AVCodecContext *ctx) {
        if (step != Faults::Step::Open)
            return;
        squatter.ctx = ctx;
        add_video_decoder(&squatter);
    };
    // Survived, so a warning here.
    log->expectMatching(Logger::Warning, QRegularExpression(QStringLiteral(
                                             "^\\(ffpg\\)decoder 0x[0-9a-f]+ was existed$")));
    VideoHandle handle = makeVideo(1);
    Faults::watcher = nullptr;
    QVERIFY(handle);
    QCOMPARE(log->count(Logger::Warning,
                        QString::asprintf("(ffpg)decoder %p was existed", handle.get())),
             1);
    QCOMPARE(video_decoders, &squatter);
    QCOMPARE(HASH_COUNT(video_decoders), 1u);
    QCOMPARE(decode(handle, m_unit), 0);
    handle.destroy(); // and leaves the other where it is
    QCOMPARE(video_decoders, &squatter);
    remove_video_decoder(&squatter);
}

void TestCodecRegistries::audioDecoder_isMadeAndWorks_whenItsContextIsThereAlready()
{
    adec_handle_s squatter = {};
    Faults::watcher = [&](Faults::Step step, AVCodecContext *ctx) {
        if (step != Faults::Step::Open)
            return;
        squatter.ctx = ctx;
        add_audio_decoder(&squatter);
    };
    log->expectMatching(Logger::Error, kAudioWasExisted);
    AudioDecoderHandle handle = makeDecoder(kALaw);
    Faults::watcher = nullptr;
    QVERIFY(handle);
    QCOMPARE(log->count(Logger::Error,
                        QString::asprintf("(ffpg)audio decoder %p was existed", handle.get())),
             1);
    QCOMPARE(HASH_COUNT(audio_decoders), 1u);
    _tag_audio_frame_s out;
    QCOMPARE(decode(handle, QByteArray(160, '\x55'), &out), 0);
    handle.destroy();
    QCOMPARE(audio_decoders, &squatter);
    remove_audio_decoder(&squatter);
}

void TestCodecRegistries::audioEncoder_isMadeAndWorks_whenItsContextIsThereAlready()
{
    aenc_handle_s squatter = {};
    Faults::watcher = [&](Faults::Step step, AVCodecContext *ctx) {
        if (step != Faults::Step::Open)
            return;
        squatter.ctx = ctx;
        add_audio_encoder(&squatter);
    };
    // "decoder" is intended for an encoder too.
    log->expectMatching(Logger::Error, kAudioWasExisted);
    AudioEncoderHandle handle = makeEncoder(kALaw);
    Faults::watcher = nullptr;
    QVERIFY(handle);
    QCOMPARE(log->count(Logger::Error,
                        QString::asprintf("(ffpg)audio decoder %p was existed", handle.get())),
             1);
    QCOMPARE(HASH_COUNT(audio_encoders), 1u);
    _tag_audio_frame_s out;
    QCOMPARE(encode(handle, QByteArray(640, '\0'), &out), 0);
    handle.destroy();
    QCOMPARE(audio_encoders, &squatter);
    remove_audio_encoder(&squatter);
}

void TestCodecRegistries::locks_areFree_whileCodecsOpenDecodeAndFree()
{
    // What is slow must not keep the negotiation of other decoders waiting.
    QMap<Faults::Step, int> steps;
    int held = 0;
    Faults::watcher = [&](Faults::Step step, AVCodecContext *) {
        ++steps[step];
        for (QReadWriteLock *lock :
             {&video_decoders_lock, &audio_decoders_lock, &audio_encoders_lock})
            held += !isFree(*lock);
    };
    {
        const VideoHandle video = makeVideo(1);
        QCOMPARE(decode(video, m_unit), 0);
        const AudioDecoderHandle decoder = makeDecoder(kALaw);
        _tag_audio_frame_s out;
        QCOMPARE(decode(decoder, QByteArray(160, '\x55'), &out), 0);
        const AudioEncoderHandle encoder = makeEncoder(kALaw);
    }
    QCOMPARE(steps[Faults::Step::Open], 3);
    QCOMPARE(steps[Faults::Step::Decode], 2);
    QCOMPARE(steps[Faults::Step::Free], 3);
    QCOMPARE(held, 0);
}

void TestCodecRegistries::handle_isOutOfItsRegistry_whenItsContextIsFreed()
{
    VideoHandle video = makeVideo(1);
    AudioDecoderHandle decoder = makeDecoder(kALaw);
    AudioEncoderHandle encoder = makeEncoder(kALaw);
    int freed = 0;
    Faults::watcher = [&](Faults::Step step, AVCodecContext *ctx) {
        if (step != Faults::Step::Free)
            return;
        ++freed;
        QVERIFY(!video_decoders || video_decoders->ctx != ctx);
        QVERIFY(!audio_decoders || audio_decoders->ctx != ctx);
        QVERIFY(!audio_encoders || audio_encoders->ctx != ctx);
        QCOMPARE(log->countMatching(Logger::Debug, QRegularExpression(QStringLiteral("destroy"))),
                 freed - 1); // told when it is done
    };
    video.destroy();
    decoder.destroy();
    encoder.destroy();
    QCOMPARE(freed, 3);
}

void TestCodecRegistries::negotiation_goesOn_besideOtherReaders()
{
    const VideoHandle handle = makeVideo(1);
    handle->hw_pix_fmt = AV_PIX_FMT_D3D11;
    std::atomic<int> chosen{AV_PIX_FMT_NONE};
    video_decoders_lock.lockForRead(); // as another decoder that negotiates
    std::thread other([&] {
        const AVPixelFormat offered[] = {AV_PIX_FMT_D3D11, AV_PIX_FMT_NONE};
        chosen = get_hw_format(handle->ctx, offered);
    });
    const bool isShared = waitFor([&] { return chosen == AV_PIX_FMT_D3D11; });
    video_decoders_lock.unlock();
    other.join();
    QVERIFY(isShared);
}

void TestCodecRegistries::process_ends_whenThereIsNoMemoryForATable_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"video", "decoder", "encoder"})
        QTest::newRow(kind) << kind;
}

void TestCodecRegistries::process_ends_whenThereIsNoMemoryForATable()
{
    QFETCH(QString, kind);
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {QLatin1String(kExhaustArgument), kind});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 255); // -1, as the hash table has it
}

/// Makes a handle without memory for its registry; returns if the process survives it.
static int exhaustMemory(const char *kind)
{
    Faults::failing = "malloc";
    bool isMade = false;
    if (strcmp(kind, "video") == 0)
        isMade = bool(makeVideo(1));
    else if (strcmp(kind, "decoder") == 0)
        isMade = bool(makeDecoder(kALaw));
    else
        isMade = bool(makeEncoder(kALaw));
    Faults::reset();
    return isMade ? 1 : 2;
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && strcmp(argv[1], kExhaustArgument) == 0)
        return exhaustMemory(argv[2]);
    TestCodecRegistries test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_codecregistries.moc"
