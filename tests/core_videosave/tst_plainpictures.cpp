// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// A writer that rests is not woken for plain pictures. None of them may be one that the file, or
/// the log, has something to show for.

#include "recordedfile.h"
#include "recordingtools.h"

#include "support/filecontent.h"
#include "support/logcapture.h"

#include "core_videosave/mp4file_p.h"

#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <memory>
#include <random>
#include <thread>

using namespace vantratest;

namespace {

AVPacketPtr packetOf(const Mp4Stream &stream, qint64 ms, const QByteArray &payload, bool key)
{
    AVPacketPtr packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), payload.size()) != 0)
        qFatal("no packet");
    memcpy(packet->data, payload.constData(), size_t(payload.size()));
    packet->stream_index = stream.index;
    packet->pts = rescaleTime(ms, {1, 1000}, stream.timebase);
    packet->dts = packet->pts;
    packet->flags = key ? AV_PKT_FLAG_KEY : 0;
    return packet;
}

/// A file that tells of each packet whether a resting writer would have been woken for it.
class WatchedFile
{
public:
    WatchedFile(const QString &name, const HVideoEncPara &video, const HAudioEncPara &audio)
        : m_name(name)
    {
        if (m_file.createMp4(name.toUtf8(), video, audio) != 0 ||
            (audio.isValid() && !m_file.createEncoder(audio)))
            qFatal("no file");
    }
    ~WatchedFile() { m_file.closeMp4(); }

    Mp4Stream videoStream() const { return m_file.videoStream(); }
    Mp4Stream audioStream() const { return m_file.audioStream(); }
    int plain() const { return m_plain; }
    int others() const { return m_others; }

    /// False if the writer could have slept on, and what was written could be seen all the same.
    bool write(AVPacketPtr packet)
    {
        PacketQueue queue;
        queue.beginRest(m_file.plainPictures());
        const bool isPlain = packet->stream_index == videoStream().index &&
                             isPlainPicture(videoStream().codec, packet.get());
        queue.writePacket(std::move(packet),
                          isPlain ? PacketKind::PlainPicture : PacketKind::Picture);
        const PacketQueue::Gathered gathered = queue.endRest();
        const bool isGathered = !gathered.packets.empty();
        packet = queue.dequeue();
        const qint64 size = QFileInfo(m_name).size();
        const int lines = m_log.lines().size();
        m_file.write(isGathered ? gathered.packets.front().get() : packet.get(), false);
        ++(isGathered ? m_plain : m_others);
        return !isGathered || (QFileInfo(m_name).size() == size && m_log.lines().size() == lines);
    }

private:
    QString m_name;
    LogCapture m_log;
    Mp4File m_file;
    int m_plain = 0;
    int m_others = 0;
};

/// A packet that is not what a camera sends.
struct Odd
{
    QByteArray data;
    bool key;
    qint64 stamp; ///< milliseconds

    template<typename Below>
    void spoil(int codec, Below below)
    {
        const QByteArray code = QByteArray::fromHex("00000001");
        switch (below(8)) {
        case 0:
            stamp += (below(2) ? 1 : -1) * (qint64(1) << below(62));
            break;
        case 1:
            stamp -= kFrameMs; // again
            break;
        case 2:
            data = QByteArray(below(300), char(below(256)));
            break;
        case 3:
            data = clip(3 - codec).at(below(kPictures)).data;
            break;
        case 4:
            data.truncate(below(data.size() + 1));
            break;
        case 5:
            data.append(code + (below(2) ? endlessSets() : clip(codec).first().data));
            break;
        case 6:
            data.prepend(code + QByteArray::fromHex(below(2) ? "68ce" : "4201"));
            break;
        default:
            key = !key;
            break;
        }
    }
};

} // namespace

class TestPlainPictures : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }

    void picturesOfACamera_arePlain_butForKeyPictures_data();
    void picturesOfACamera_arePlain_butForKeyPictures();
    void otherFiles_haveNone_data();
    void otherFiles_haveNone();
    void streamWithoutKeyPictures_isWrittenNowAndThen();
    void largePictures_areWrittenNowAndThen();
    void picturesAtTheEndOfTime_areNotPlain();
    void hostilePackets_areNeverSleptOn_whenTheyCanBeSeen_data();
    void hostilePackets_areNeverSleptOn_whenTheyCanBeSeen();
    void gatheredPictures_areInTheFile_afterStop_data();
    void gatheredPictures_areInTheFile_afterStop();
    void silence_isToldOnce_behindGatheredPictures();
    void stopOfTheBase_endsSoon_whilePicturesGather();
    void gatheredPictures_makeTheSameFile();

private:
    QString path(const char *name = "a.mp4") const { return m_dir->filePath(QString(name)); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestPlainPictures::picturesOfACamera_arePlain_butForKeyPictures_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<qint64>("beginMs");
    QTest::newRow("H.264") << 1 << qint64(0);
    QTest::newRow("H.265") << 2 << qint64(0);
    QTest::newRow("clock of a device") << 1 << qint64(1790000000000);
}

void TestPlainPictures::picturesOfACamera_arePlain_butForKeyPictures()
{
    QFETCH(int, codec);
    QFETCH(qint64, beginMs);
    WatchedFile file(path(), videoPara(codec), HAudioEncPara());
    for (int i = 0; i < kPictures; ++i) {
        const AccessUnit &unit = clip(codec).at(i);
        QVERIFY(
            file.write(packetOf(file.videoStream(), beginMs + i * kFrameMs, unit.data, unit.key)));
    }
    QCOMPARE(file.others(), kPictures / kGop);
    QCOMPARE(file.plain(), kPictures - kPictures / kGop);
}

void TestPlainPictures::otherFiles_haveNone_data()
{
    QTest::addColumn<QString>("name");
    // Muxers that write each packet at once, or when it suits them.
    QTest::newRow("MPEG transport stream") << QStringLiteral("a.ts");
    QTest::newRow("MPEG program stream") << QStringLiteral("a.mpg");
    QTest::newRow("QuickTime") << QStringLiteral("a.mov");
}

void TestPlainPictures::otherFiles_haveNone()
{
    QFETCH(QString, name);
    WatchedFile file(m_dir->filePath(name), videoPara(), HAudioEncPara());
    for (int i = 0; i < kPictures; ++i) {
        const AccessUnit &unit = clip(1).at(i);
        file.write(packetOf(file.videoStream(), i * kFrameMs, unit.data, unit.key));
    }
    QCOMPARE(file.plain(), 0);
}

void TestPlainPictures::streamWithoutKeyPictures_isWrittenNowAndThen()
{
    WatchedFile file(path(), videoPara(), HAudioEncPara());
    QVERIFY(file.write(packetOf(file.videoStream(), 0, clip(1).first().data, true)));
    for (int i = 1; i < 2000; ++i)
        QVERIFY(file.write(packetOf(file.videoStream(), i * kFrameMs, clip(1).at(1).data, false)));
    QVERIFY(QFileInfo(path()).size() > 0); // so there were some that could be seen
    QVERIFY(file.plain() > 1900);
}

void TestPlainPictures::largePictures_areWrittenNowAndThen()
{
    WatchedFile file(path(), videoPara(), HAudioEncPara());
    const QByteArray large = clip(1).at(1).data + QByteArray(900 * 1024, '\1');
    QVERIFY(file.write(packetOf(file.videoStream(), 0, clip(1).first().data, true)));
    for (int i = 1; i < 80; ++i)
        QVERIFY(file.write(packetOf(file.videoStream(), i * kFrameMs, large, false)));
    QVERIFY(QFileInfo(path()).size() > 32 * 1024 * 1024);
    QVERIFY(file.plain() > 60);
}

void TestPlainPictures::picturesAtTheEndOfTime_areNotPlain()
{
    WatchedFile file(path(), videoPara(), HAudioEncPara());
    qint64 ms = FileTimeline::kEnd / 1000 - 3 * kFrameMs;
    for (int i = 0; i < kGop; ++i, ms += kFrameMs) { // the last ones are refused
        const AccessUnit &unit = clip(1).at(i);
        QVERIFY(file.write(packetOf(file.videoStream(), ms, unit.data, unit.key)));
    }
    QCOMPARE(file.plain(), 0);
}

void TestPlainPictures::hostilePackets_areNeverSleptOn_whenTheyCanBeSeen_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<bool>("sound");
    QTest::addColumn<unsigned>("seed");
    for (const int codec : {1, 2}) {
        for (const bool sound : {false, true}) {
            for (unsigned seed = 1; seed <= 2; ++seed) {
                QTest::addRow("H.26%d, %s, seed %u", codec + 3, sound ? "sound" : "silent", seed)
                    << codec << sound << seed;
            }
        }
    }
}

void TestPlainPictures::hostilePackets_areNeverSleptOn_whenTheyCanBeSeen()
{
    QFETCH(int, codec);
    QFETCH(bool, sound);
    QFETCH(unsigned, seed);
    constexpr int kFiles = 20;
    constexpr int kPackets = 100;
    std::mt19937 random(seed);
    const auto below = [&random](int end) { return int(random() % unsigned(end)); };
    int plain = 0;
    for (int fileNumber = 0; fileNumber < kFiles; ++fileNumber) {
        WatchedFile file(path(), videoPara(codec),
                         sound ? audioPara(HCodecG711A) : HAudioEncPara());
        qint64 ms = 0;
        for (int i = 0; i < kPackets; ++i) {
            ms += kFrameMs;
            Odd odd{clip(codec).at(i % kPictures).data, clip(codec).at(i % kPictures).key, ms};
            Mp4Stream stream = file.videoStream();
            if (sound && below(2)) {
                stream = file.audioStream();
                odd.data = QByteArray(kBlockSamples, '\xd5');
            }
            if (below(20) == 0)
                odd.spoil(codec, below);
            if (below(200) == 0) // for good
                ms += (below(2) ? 1 : -1) * (qint64(1) << below(40));
            QVERIFY2(file.write(packetOf(stream, odd.stamp, odd.data, odd.key)),
                     qPrintable(QStringLiteral("%1 of file %2").arg(i).arg(fileNumber)));
        }
        plain += file.plain();
    }
    QVERIFY(plain > kFiles * kPackets / 10);
}

void TestPlainPictures::gatheredPictures_areInTheFile_afterStop_data()
{
    QTest::addColumn<bool>("frames");
    QTest::newRow("frames") << true;
    QTest::newRow("packets") << false;
}

void TestPlainPictures::gatheredPictures_areInTheFile_afterStop()
{
    QFETCH(bool, frames);
    const LogCapture log;
    for (int round = 0; round < 20; ++round) {
        SaveMp4FFmpeg writer;
        writer.setPara(videoPara(), HAudioEncPara(), kHour);
        writer.open(path());
        Feeder feed(writer);
        const int count = kGop + 1 + round % kGop;
        for (int i = 0; i < count; ++i) {
            const AccessUnit &unit = clip(1).at(i);
            if (frames)
                feed.picture(unit, i * kFrameMs);
            else
                feed.packet(true, i * kFrameMs, unit.data, unit.key);
        }
        writer.stop();
        QVERIFY(writer.isQueueEmpty());
        const RecordedFile file = readRecording(path());
        QCOMPARE(file.error, QString());
        QCOMPARE(file.pictures.size(), count);
    }
    QCOMPARE(log.unexpected(), QStringList());
}

void TestPlainPictures::silence_isToldOnce_behindGatheredPictures()
{
    const QString kTimeout = QStringLiteral("(svmp4ff)wait data timeout");
    const LogCapture log;
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), 300);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kGop; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    QVERIFY(waitFor([&] { return log.count(Logger::Info, kTimeout) >= 2; }));
    feed.picture(clip(1).at(kGop), kGop * kFrameMs); // the key picture after them
    QVERIFY(waitFor([&] { return QFileInfo(path()).size() > 0; }));
    writer.stop();
    QCOMPARE(readRecording(path()).pictures.size(), kGop + 1);
    QCOMPARE(log.unexpected(), QStringList());
}

/// It wakes nobody: the writer sees it at the end of its wait.
void TestPlainPictures::stopOfTheBase_endsSoon_whilePicturesGather()
{
    const LogCapture log;
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), 200);
    writer.open(path());
    std::atomic<bool> isOver{false};
    std::atomic<int> fed{0};
    std::thread producer([&] {
        Feeder feed(writer);
        feed.picture(clip(1).at(0), 0);
        for (int i = 1; !isOver; ++i) { // no key picture any more
            feed.picture(clip(1).at(1 + i % (kGop - 1)), i * kFrameMs);
            fed = i;
            QThread::msleep(30); // fewer than a rest can hold, in one wait
        }
    });
    const bool isFed = waitFor([&] { return fed > kGop; });
    std::thread owner([&] { writer.AbstractSaveThread::stop(); });
    const bool hasEnded = waitFor([&] { return writer.isFinished(); });
    isOver = true;
    producer.join();
    writer.stop(); // wakes it, if it has not ended
    owner.join();
    QVERIFY(isFed);
    QVERIFY(hasEnded);
    QVERIFY(!readRecording(path()).pictures.isEmpty());
    QCOMPARE(log.count(Logger::Info, QStringLiteral("(svmp4ff)wait data timeout")), 0);
}

void TestPlainPictures::gatheredPictures_makeTheSameFile()
{
    constexpr int kCount = 3 * kGop;
    {
        Mp4File file;
        QCOMPARE(file.createMp4(path("direct.mp4").toUtf8(), videoPara(), HAudioEncPara()), 0);
        for (int i = 0; i < kCount; ++i) {
            const AccessUnit &unit = clip(1).at(i);
            file.write(packetOf(file.videoStream(), i * kFrameMs, unit.data, unit.key).get(),
                       false);
        }
        file.closeMp4();
    }
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path("gathered.mp4"));
    Feeder feed(writer);
    for (int i = 0; i < kCount; ++i) {
        feed.picture(clip(1).at(i), i * kFrameMs);
        // It rests before the next one comes.
        QVERIFY(waitFor([&] { return writer.isQueueEmpty(); }));
    }
    writer.stop();
    QVERIFY(!contentIfThere(path("direct.mp4")).isEmpty());
    QCOMPARE(contentIfThere(path("gathered.mp4")), contentIfThere(path("direct.mp4")));
}

QTEST_GUILESS_MAIN(TestPlainPictures)
#include "tst_plainpictures.moc"
