// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/filecontent.h"
#include "support/logcapture.h"
#include "support/waitfor.h"

#include "core_videosave/saveaudio.h"
#include "core_videosave/wavfile_p.h"

#include <QMetaMethod>
#include <QMutexLocker>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <limits>
#include <memory>
#include <thread>

using namespace vantratest;

namespace {

constexpr int kIntMax = std::numeric_limits<int>::max();

/// Opens its file as users of the class do.
class OpeningWriter : public SaveAudio
{
public:
    bool init() override
    {
        if (!opensFile)
            return true;
        file.setFileName(fileName);
        return file.open(QIODevice::WriteOnly | extraMode);
    }

    void queue(const QByteArray &block)
    {
        const QMutexLocker locker(&mutex);
        bufferList.append(block);
    }
    int queued()
    {
        const QMutexLocker locker(&mutex);
        return bufferList.size();
    }

    using SaveAudio::channelCount;
    using SaveAudio::file;
    using SaveAudio::profile;
    using SaveAudio::sampleRate;
    using SaveAudio::saveAudioType;

    bool opensFile = true;
    QIODevice::OpenMode extraMode = QIODevice::NotOpen;
};

bool call(QObject &object, const char *slot)
{
    return QMetaObject::invokeMethod(&object, slot, Qt::DirectConnection);
}

bool makeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

class TestSaveAudio : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_log = std::make_unique<LogCapture>();
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }
    void cleanup()
    {
        QVERIFY(m_log->lines().isEmpty()); // raw writers log nothing, whatever happens
        m_log.reset();
    }

    void types_haveTheirValues();
    void slots_standInTheirOrder();
    void setPara_storesItsArguments();
    void write_followsTheType_data();
    void write_followsTheType();
    void write_isDropped_whilePausedOrNotOpened();
    void write_refusesBadBlocks();
    void write_isLost_whenNobodyOpenedTheFile();
    void write_failures_areSurvived();
    void adtsHeader_hasItsBytes_data();
    void adtsHeader_hasItsBytes();
    void save_writesWaitingBlocks_inOrder();
    void close_dropsWaitingBlocks();
    void wav_hasItsHeader_andTheSourceGoes();
    void wav_replacesEveryPcm_ofTheWholePath();
    void wav_ontoItself_leavesNothing();
    void wav_keepsTheSource_whenTheTargetCannotBeOpened();
    void wav_makesNoTarget_withoutASource();
    void wav_keepsTheSource_whenNotAskedOrNotWritten();
    void wav_numbersWrap();
    void open_worksAgain_afterStop();
    void write_meetsStop_withoutHarm();

private:
    QString path(const char *name) const { return m_dir->filePath(QString::fromLatin1(name)); }
    std::unique_ptr<LogCapture> m_log;
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestSaveAudio::types_haveTheirValues()
{
    QCOMPARE(int(SaveAudioType_None), 0);
    QCOMPARE(int(SaveAudioType_Raw), 1);
    QCOMPARE(int(SaveAudioType_Wav), 2);
    QCOMPARE(int(SaveAudioType_Aac), 3);
}

void TestSaveAudio::slots_standInTheirOrder()
{
    const QMetaObject &meta = SaveAudio::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        names += QString::fromLatin1(method.methodSignature()) +
                 QLatin1Char(method.access() == QMetaMethod::Private ? '-' : '+');
    }
    QCOMPARE(names,
             QStringList({"save()-", "save(QByteArray)-", "close()-",
                          "setPara(SaveAudioType,int,int,int)+", "write(const char*,qlonglong)+"}));
}

void TestSaveAudio::setPara_storesItsArguments()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Wav, 16000, 2, 5);
    QCOMPARE(writer.saveAudioType, SaveAudioType_Wav);
    QCOMPARE(writer.sampleRate, 16000);
    QCOMPARE(writer.channelCount, 2);
    QCOMPARE(writer.profile, 5);
    QVERIFY(!writer.getOpened());
}

void TestSaveAudio::write_followsTheType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("none") << 0 << QByteArray();
    QTest::newRow("raw") << 1 << QByteArray("abcde");
    QTest::newRow("aac") << 3
                         << QByteArray::fromHex("fff16c80015ffc") + "abc" +
                                QByteArray::fromHex("fff16c80013ffc") + "de";
    QTest::newRow("unknown") << 4 << QByteArray();
    QTest::newRow("negative") << -1 << QByteArray();
}

void TestSaveAudio::write_followsTheType()
{
    QFETCH(const int, type);
    OpeningWriter writer;
    writer.setPara(SaveAudioType(type), 8000, 1, 1);
    writer.open(path("a.pcm"));
    writer.write("abc", 3);
    writer.write("de", 2);
    QCOMPARE(writer.queued(), 0);
    writer.stop();
    QTEST(contentIfThere(path("a.pcm")), "content");
}

void TestSaveAudio::write_isDropped_whilePausedOrNotOpened()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Raw, 8000, 1, 1);
    writer.write("a", 1);
    writer.open(path("a.pcm"));
    writer.write("b", 1);
    writer.pause();
    writer.write("c", 1);
    writer.pause();
    writer.write("d", 1);
    writer.stop();
    writer.write("e", 1);
    QCOMPARE(contentIfThere(path("a.pcm")), QByteArray("bd"));
}

void TestSaveAudio::write_refusesBadBlocks()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Raw, 8000, 1, 1);
    writer.open(path("a.pcm"));
    for (const qlonglong length : {-1LL, 1LL << 32, std::numeric_limits<qlonglong>::max()})
        writer.write("abc", length);
    writer.write(nullptr, 3);
    writer.write(nullptr, 0);
    writer.stop();
    QCOMPARE(contentIfThere(path("a.pcm")), QByteArray());
}

void TestSaveAudio::write_isLost_whenNobodyOpenedTheFile()
{
    SaveAudio writer; // prepares nothing by itself, and says that all is well
    writer.setPara(SaveAudioType_Aac, 8000, 1, 1);
    writer.open(path("a.pcm"));
    QVERIFY(writer.getOpened());
    writer.write("abc", 3);
    writer.stop();
    QVERIFY(!QFile::exists(path("a.pcm")));
}

void TestSaveAudio::write_failures_areSurvived()
{
    for (const bool buffered : {true, false}) {
        OpeningWriter writer;
        writer.extraMode = buffered ? QIODevice::NotOpen : QIODevice::Unbuffered;
        writer.setPara(SaveAudioType_Raw, 8000, 1, 1);
        writer.open(QStringLiteral("/dev/full"));
        writer.write("abc", 3);
        writer.stop();
        writer.open(path("a.pcm"));
        writer.write("de", 2);
        writer.stop();
        QCOMPARE(contentIfThere(path("a.pcm")), QByteArray("de"));
    }
}

void TestSaveAudio::adtsHeader_hasItsBytes_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("profile");
    QTest::addColumn<int>("payload");
    QTest::addColumn<QByteArray>("header");
    const auto row = [](const char *name, int rate, int channels, int profile, int payload,
                        const char *hex) {
        QTest::newRow(name) << rate << channels << profile << payload << QByteArray(hex);
    };
    row("telephone", 8000, 1, 1, 100, "fff16c800d7ffc");
    row("96000", 96000, 1, 1, 100, "fff140800d7ffc");
    row("88200", 88200, 1, 1, 100, "fff144800d7ffc");
    row("64000", 64000, 1, 1, 100, "fff148800d7ffc");
    row("48000", 48000, 1, 1, 100, "fff14c800d7ffc");
    row("44100", 44100, 1, 1, 100, "fff150800d7ffc");
    row("32000", 32000, 1, 1, 100, "fff154800d7ffc");
    row("24000", 24000, 1, 1, 100, "fff158800d7ffc");
    row("22050", 22050, 1, 1, 100, "fff15c800d7ffc");
    row("16000", 16000, 1, 1, 100, "fff160800d7ffc");
    row("12000", 12000, 1, 1, 100, "fff164800d7ffc");
    row("11025", 11025, 1, 1, 100, "fff168800d7ffc");
    row("any other rate", 7350, 1, 1, 100, "fff14c800d7ffc");
    row("two channels as one", 8000, 2, 1, 100, "fff16c800d7ffc");
    row("channels reach the frequency field", 8000, 4, 1, 100, "fff16d800d7ffc");
    row("profile moves the frequency", 8000, 1, 2, 100, "fff170800d7ffc");
    row("profile 0", 8000, 1, 0, 100, "fff16c800d7ffc");
    row("profile negative", 8000, 1, -kIntMax, 100, "fff16c800d7ffc");
    row("byte 2 cut", 8000, 1, kIntMax, 100, "fff164800d7ffc");
    row("empty block", 8000, 1, 1, 0, "fff16c8000fffc");
    row("13 bits full", 8000, 1, 1, 8184, "fff16c83fffffc");
    row("beyond 13 bits", 8000, 1, 1, 8185, "fff16c84001ffc");
    row("byte 3 cut", 8000, 1, 1, 262144 - 7, "fff16c00001ffc");
}

void TestSaveAudio::adtsHeader_hasItsBytes()
{
    QFETCH(const int, rate);
    QFETCH(const int, channels);
    QFETCH(const int, profile);
    QFETCH(const int, payload);
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Aac, rate, channels, profile);
    writer.open(path("a.aac"));
    const QByteArray block(payload, 'x');
    writer.write(block.constData(), block.size());
    writer.stop();
    const QByteArray content = contentIfThere(path("a.aac"));
    QTEST(content.left(7).toHex(), "header");
    QCOMPARE(content.mid(7), block);
}

void TestSaveAudio::save_writesWaitingBlocks_inOrder()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Raw, 8000, 1, 1);
    writer.open(path("a.pcm"));
    for (const char *block : {"one", "two", "three"})
        writer.queue(block);
    QVERIFY(waitFor([&] { return writer.queued() == 0; }));
    writer.stop();
    QCOMPARE(contentIfThere(path("a.pcm")), QByteArray("onetwothree"));
}

void TestSaveAudio::close_dropsWaitingBlocks()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Raw, 8000, 1, 1);
    writer.file.setFileName(path("a.pcm"));
    QVERIFY(writer.file.open(QIODevice::WriteOnly));
    writer.file.write("before");
    writer.queue("one"); // no thread runs that would take it
    writer.queue("two");
    QVERIFY(call(writer, "close"));
    QCOMPARE(writer.queued(), 0);
    QCOMPARE(contentIfThere(path("a.pcm")), QByteArray("before"));
    QVERIFY(call(writer, "save")); // with nothing left it returns, and needs no file
}

void TestSaveAudio::wav_hasItsHeader_andTheSourceGoes()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Wav, 16000, 2, 1);
    writer.open(path("a.pcm"));
    writer.write("abc", 3);
    writer.write("de", 2);
    writer.stop();
    QVERIFY(!QFile::exists(path("a.pcm")));
    QCOMPARE(contentIfThere(path("a.wav")).toHex(), QByteArray("52494646"
                                                               "29000000"
                                                               "57415645"
                                                               "666d7420"
                                                               "10000000"
                                                               "0100"
                                                               "0200"
                                                               "803e0000"
                                                               "007d0000"
                                                               "0200"
                                                               "1000"
                                                               "64617461"
                                                               "05000000"
                                                               "6162636465"));
}

void TestSaveAudio::wav_replacesEveryPcm_ofTheWholePath()
{
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("pcm-PCM")));
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("wav-PCM")));
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Wav, 8000, 1, 1);
    writer.open(path("pcm-PCM/pcmpcm.pcm"));
    writer.write("abc", 3);
    writer.stop();
    QVERIFY(!QFile::exists(path("pcm-PCM/pcmpcm.pcm")));
    QCOMPARE(contentIfThere(path("wav-PCM/wavwav.wav")).mid(44), QByteArray("abc"));
}

void TestSaveAudio::wav_ontoItself_leavesNothing()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Wav, 8000, 1, 1);
    writer.open(path("sound.raw"));
    const QByteArray block(300000, 'x');
    writer.write(block.constData(), block.size());
    writer.stop(); // the target empties its own source, which is then removed: this is intended
    QVERIFY(QDir(m_dir->path()).isEmpty());
}

void TestSaveAudio::wav_keepsTheSource_whenTheTargetCannotBeOpened()
{
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("a.wav")));
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Wav, 8000, 1, 1);
    writer.open(path("a.pcm"));
    writer.write("abc", 3);
    writer.stop();
    QCOMPARE(contentIfThere(path("a.pcm")), QByteArray("abc"));
}

void TestSaveAudio::wav_makesNoTarget_withoutASource()
{
    OpeningWriter writer;
    writer.opensFile = false;
    writer.setPara(SaveAudioType_Wav, 8000, 1, 1);
    writer.open(path("a.pcm"));
    writer.stop();
    QVERIFY(QDir(m_dir->path()).isEmpty());
}

void TestSaveAudio::wav_keepsTheSource_whenNotAskedOrNotWritten()
{
    const QByteArray content(200000, 'x'); // more than one step of the copy
    QVERIFY(makeFile(path("a.pcm"), content));
    QVERIFY(vantra::convertToWav(path("a.pcm"), path("a.wav"), 8000, 1, false));
    QCOMPARE(contentIfThere(path("a.pcm")), content);
    QCOMPARE(contentIfThere(path("a.wav")).mid(44), content);

    QVERIFY(!vantra::convertToWav(path("a.pcm"), QStringLiteral("/dev/full"), 8000, 1, true));
    QCOMPARE(contentIfThere(path("a.pcm")), content);
}

void TestSaveAudio::wav_numbersWrap()
{
    QVERIFY(makeFile(path("a.pcm"), "x"));
    QVERIFY(vantra::convertToWav(path("a.pcm"), path("a.wav"), kIntMax, 0x10003, false));
    const QByteArray header = contentIfThere(path("a.wav")).left(44);
    QCOMPARE(header.mid(22, 2).toHex(), QByteArray("0300"));
    QCOMPARE(header.mid(24, 4).toHex(), QByteArray("ffffff7f"));
    QCOMPARE(header.mid(28, 4).toHex(), QByteArray("fdfffe7f"));
}

void TestSaveAudio::open_worksAgain_afterStop()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Raw, 8000, 1, 1);
    for (const char *name : {"a.pcm", "b.pcm"}) {
        writer.open(path(name));
        writer.write(name, 5);
        writer.stop();
        QCOMPARE(contentIfThere(path(name)), QByteArray(name));
    }
}

void TestSaveAudio::write_meetsStop_withoutHarm()
{
    OpeningWriter writer;
    writer.setPara(SaveAudioType_Raw, 8000, 1, 1);
    std::atomic<bool> end{false};
    std::atomic<int> writes{0};
    std::thread other([&] {
        while (!end) {
            writer.write("x", 1);
            ++writes;
            std::this_thread::yield();
        }
    });
    bool wrote = true;
    for (int round = 0; round < 20; ++round) {
        writer.open(path("a.pcm"));
        const int before = writes;
        wrote = wrote && waitFor([&] { return writes > before + 1; });
        writer.stop();
        wrote = wrote && contentIfThere(path("a.pcm")).startsWith('x');
    }
    end = true;
    other.join();
    QVERIFY(wrote);
}

QTEST_GUILESS_MAIN(TestSaveAudio)
#include "tst_saveaudio.moc"
