// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "support/waitfor.h"

#include "core_videosave/packetqueue_p.h"

#include <QtTest>

#include <atomic>
#include <limits>
#include <optional>
#include <thread>
#include <vector>

using namespace vantratest;

namespace {

const QString kFull = QStringLiteral("(svmp4ff)queue is full");
const QString kLost = QStringLiteral("(svmp4ff)enqueue fail");
constexpr int kForever = -1;

AVPacketPtr numbered(qint64 number)
{
    AVPacketPtr packet(av_packet_alloc());
    packet->pts = number;
    return packet;
}

PacketKind kindOf(bool isPlain)
{
    return isPlain ? PacketKind::PlainPicture : PacketKind::Picture;
}

AVPacketPtr sized(int bytes)
{
    AVPacketPtr packet(av_packet_alloc());
    av_new_packet(packet.get(), bytes);
    return packet;
}

} // namespace

class TestPacketQueue : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_log = std::make_unique<LogCapture>(); }
    void cleanup()
    {
        QCOMPARE(m_log->unexpected(), QStringList());
        m_log.reset();
    }

    void semaphore_fails_withoutBeingCreated();
    void semaphore_timesOut_withoutACount();
    void semaphore_countsReleases_upToItsMaximum();
    void semaphore_beginsAtZero_whenCreatedAgain();
    void semaphore_release_endsAWaitWithoutLimit();
    void semaphore_destroy_endsAWait();
    void queue_givesPacketsInOrder();
    void queue_isFull_atAHundred();
    void queue_isFull_withMinutesOfSound();
    void queue_keepsNoPacketItRefuses();
    void queue_clear_empties();
    void queue_bearsManyProducers();
    void rest_takesPlainPictures_withoutWaking();
    void rest_isEndedByAnyOtherPacket_data();
    void rest_isEndedByAnyOtherPacket();
    void rest_isEndedByManyPictures();
    void rest_isEndedByManyBytes();
    void rest_needsAWriterWithNothingToDo();
    void rest_bearsManyProducers();

private:
    std::unique_ptr<LogCapture> m_log;
};

void TestPacketQueue::semaphore_fails_withoutBeingCreated()
{
    CountingSemaphore semaphore;
    semaphore.release();
    QCOMPARE(semaphore.wait(kForever), CountingSemaphore::Failed);
}

void TestPacketQueue::semaphore_timesOut_withoutACount()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.create());
    QCOMPARE(semaphore.wait(0), CountingSemaphore::TimedOut);
    QCOMPARE(semaphore.wait(5), CountingSemaphore::TimedOut);
    QCOMPARE(int(CountingSemaphore::TimedOut), 258);
}

void TestPacketQueue::semaphore_countsReleases_upToItsMaximum()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.create());
    for (int i = 0; i < 1030; ++i)
        semaphore.release();
    int count = 0;
    while (semaphore.wait(0) == CountingSemaphore::Signalled)
        ++count;
    QCOMPARE(count, 1024);
}

void TestPacketQueue::semaphore_beginsAtZero_whenCreatedAgain()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.create());
    semaphore.release();
    QVERIFY(semaphore.create());
    QCOMPARE(semaphore.wait(0), CountingSemaphore::TimedOut);
}

void TestPacketQueue::semaphore_release_endsAWaitWithoutLimit()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.create());
    std::atomic<quint32> result{CountingSemaphore::TimedOut};
    std::thread waiter([&] { result = semaphore.wait(kForever); });
    semaphore.release();
    waiter.join();
    QCOMPARE(result.load(), quint32(CountingSemaphore::Signalled));
}

void TestPacketQueue::semaphore_destroy_endsAWait()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.create());
    std::atomic<quint32> result{CountingSemaphore::TimedOut};
    std::thread waiter([&] { result = semaphore.wait(kForever); });
    semaphore.destroy();
    waiter.join();
    QCOMPARE(result.load(), quint32(CountingSemaphore::Failed));
}

void TestPacketQueue::queue_givesPacketsInOrder()
{
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    QVERIFY(queue.isQueueEmpty());
    QVERIFY(!queue.dequeue());
    for (int i = 0; i < 3; ++i)
        queue.writePacket(numbered(i));
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(queue.semaphore.wait(0), CountingSemaphore::Signalled);
        QCOMPARE(queue.dequeue()->pts, qint64(i));
    }
    QVERIFY(queue.isQueueEmpty());
    QCOMPARE(queue.semaphore.wait(0), CountingSemaphore::TimedOut);
}

void TestPacketQueue::queue_isFull_atAHundred()
{
    m_log->expect(Logger::Warning, kFull);
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    for (int i = 0; i < 99; ++i)
        queue.writePacket(numbered(i));
    QVERIFY(!queue.isQueueFull());
    queue.writePacket(numbered(99));
    QVERIFY(queue.isQueueFull());
    QCOMPARE(m_log->count(Logger::Warning, kFull), 0);
    queue.writePacket(numbered(100));
    QCOMPARE(m_log->count(Logger::Warning, kFull), 1);
    int count = 0;
    while (queue.semaphore.wait(0) == CountingSemaphore::Signalled)
        QCOMPARE(queue.dequeue()->pts, qint64(count++));
    QCOMPARE(count, 100);
}

void TestPacketQueue::queue_isFull_withMinutesOfSound()
{
    constexpr int kHalf = 512 * 1024;
    m_log->expect(Logger::Warning, kFull);
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    queue.writePacket(sized(2 * kHalf)); // a picture
    queue.writePacket(sized(kHalf), PacketKind::Sound);
    QVERIFY(!queue.isQueueFull());
    queue.writePacket(sized(kHalf), PacketKind::Sound);
    QVERIFY(queue.isQueueFull());
    queue.writePacket(sized(1), PacketKind::Sound);
    QCOMPARE(m_log->count(Logger::Warning, kFull), 1);
    queue.writePacket(sized(1)); // pictures still have room
    QCOMPARE(m_log->count(Logger::Warning, kFull), 1);
    QVERIFY(queue.dequeue());
    QVERIFY(queue.isQueueFull());
    QCOMPARE(queue.dequeue()->size, kHalf);
    QVERIFY(!queue.isQueueFull());
    queue.writePacket(sized(kHalf), PacketKind::Sound);
    QVERIFY(queue.isQueueFull());
    queue.clearQueue();
    QVERIFY(!queue.isQueueFull());
    QCOMPARE(m_log->count(Logger::Warning, kFull), 1);
}

void TestPacketQueue::queue_keepsNoPacketItRefuses()
{
    m_log->expect(Logger::Warning, kFull);
    PacketQueue queue;
    for (int i = 0; i < 100; ++i)
        queue.writePacket(numbered(i));
    AVPacketPtr packet = numbered(7);
    QVERIFY(!queue.enqueue(packet));
    QVERIFY(packet);
    QCOMPARE(m_log->count(Logger::Warning, kFull), 1);
}

void TestPacketQueue::queue_clear_empties()
{
    PacketQueue queue;
    for (int i = 0; i < 100; ++i)
        queue.writePacket(numbered(i));
    queue.clearQueue();
    QVERIFY(queue.isQueueEmpty());
    QVERIFY(!queue.isQueueFull());
    AVPacketPtr packet = numbered(7);
    QVERIFY(queue.enqueue(packet));
    QVERIFY(!packet);
}

void TestPacketQueue::queue_bearsManyProducers()
{
    constexpr int kProducers = 4;
    constexpr int kEach = 500;
    m_log->expect(Logger::Warning, kFull);
    m_log->expect(Logger::Warning, kLost);
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    std::vector<std::thread> producers;
    std::atomic<int> running{kProducers};
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&queue, &running, p] {
            for (int i = 0; i < kEach; ++i)
                queue.writePacket(numbered(p * kEach + i));
            --running;
        });
    }
    std::vector<qint64> newest(kProducers, -1);
    int taken = 0;
    bool inOrder = true;
    while (running > 0 || !queue.isQueueEmpty()) {
        queue.semaphore.wait(1);
        if (const AVPacketPtr packet = queue.dequeue()) {
            qint64 &before = newest[size_t(packet->pts / kEach)];
            inOrder = inOrder && packet->pts > before;
            before = packet->pts;
            ++taken;
        }
    }
    for (std::thread &producer : producers)
        producer.join();
    QVERIFY(inOrder);
    // Each packet was either taken or dropped with one warning, or two where it lost the race.
    const int dropped = m_log->count(Logger::Warning, kFull);
    QCOMPARE(taken + dropped, kProducers * kEach);
}

void TestPacketQueue::rest_takesPlainPictures_withoutWaking()
{
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    queue.beginRest(PlainPictures{0, 10});
    for (const qint64 pts : {1, 2, 12})
        queue.writePacket(numbered(pts), PacketKind::PlainPicture);
    QVERIFY(queue.isQueueEmpty()); // as if they had been taken
    QCOMPARE(queue.semaphore.wait(0), CountingSemaphore::TimedOut);
    const PacketQueue::Gathered gathered = queue.endRest();
    QCOMPARE(gathered.packets.size(), std::size_t(3));
    QCOMPARE(gathered.packets.at(0)->pts, qint64(1));
    QCOMPARE(gathered.packets.at(2)->pts, qint64(12));
    QVERIFY(gathered.quietMs >= 0);
    QVERIFY(queue.endRest().packets.empty());
    queue.writePacket(numbered(13), PacketKind::PlainPicture);
    QVERIFY(!queue.isQueueEmpty()); // nobody rests
    QCOMPARE(queue.semaphore.wait(0), CountingSemaphore::Signalled);
}

void TestPacketQueue::rest_isEndedByAnyOtherPacket_data()
{
    QTest::addColumn<qint64>("pts");
    QTest::addColumn<bool>("plain");
    QTest::newRow("another kind") << qint64(2) << false;
    QTest::newRow("the same stamp") << qint64(1) << true;
    QTest::newRow("backward") << qint64(0) << true;
    QTest::newRow("too far") << qint64(12) << true;
    QTest::newRow("no stamp") << std::numeric_limits<qint64>::min() << true;
    QTest::newRow("end of time") << std::numeric_limits<qint64>::max() << true;
}

void TestPacketQueue::rest_isEndedByAnyOtherPacket()
{
    QFETCH(qint64, pts);
    QFETCH(bool, plain);
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    queue.beginRest(PlainPictures{-5, 10});
    queue.writePacket(numbered(1), PacketKind::PlainPicture);
    queue.writePacket(numbered(pts), kindOf(plain));
    queue.writePacket(numbered(3), PacketKind::PlainPicture); // behind the other, whatever it is
    QCOMPARE(queue.semaphore.wait(0), CountingSemaphore::Signalled);
    QCOMPARE(queue.endRest().packets.size(), std::size_t(1));
    QCOMPARE(queue.dequeue()->pts, pts);
    QCOMPARE(queue.dequeue()->pts, qint64(3));
}

void TestPacketQueue::rest_isEndedByManyPictures()
{
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    queue.beginRest(PlainPictures{-1, 10});
    qint64 pts = 0;
    for (; queue.isQueueEmpty(); ++pts)
        queue.writePacket(numbered(pts), PacketKind::PlainPicture);
    QCOMPARE(queue.semaphore.wait(0), CountingSemaphore::Signalled);
    QCOMPARE(queue.endRest().packets.size(), PacketQueue::kMostGathered);
    QCOMPARE(queue.dequeue()->pts, pts - 1);
}

void TestPacketQueue::rest_isEndedByManyBytes()
{
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    queue.beginRest(PlainPictures{-1, 10});
    for (int i = 0; i < 3; ++i) {
        AVPacketPtr packet = numbered(i);
        QCOMPARE(av_new_packet(packet.get(), int(PacketQueue::kMostGatheredBytes / 2)), 0);
        packet->pts = i;
        queue.writePacket(std::move(packet), PacketKind::PlainPicture);
    }
    QCOMPARE(queue.semaphore.wait(0), CountingSemaphore::Signalled);
    QCOMPARE(queue.endRest().packets.size(), std::size_t(2));
    QCOMPARE(queue.dequeue()->pts, qint64(2));
}

void TestPacketQueue::rest_needsAWriterWithNothingToDo()
{
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    queue.beginRest(std::nullopt);
    queue.writePacket(numbered(1), PacketKind::PlainPicture);
    QVERIFY(!queue.isQueueEmpty());
    queue.beginRest(PlainPictures{1, 10});
    queue.writePacket(numbered(2), PacketKind::PlainPicture);
    QVERIFY(queue.endRest().packets.empty());
    QCOMPARE(queue.dequeue()->pts, qint64(1));
    QCOMPARE(queue.dequeue()->pts, qint64(2));
    queue.beginRest(PlainPictures{2, 10});
    queue.writePacket(numbered(3), PacketKind::PlainPicture);
    queue.clearQueue();
    QVERIFY(queue.endRest().packets.empty());
}

void TestPacketQueue::rest_bearsManyProducers()
{
    constexpr int kProducers = 4;
    constexpr int kEach = 500;
    m_log->expect(Logger::Warning, kFull);
    m_log->expect(Logger::Warning, kLost);
    PacketQueue queue;
    QVERIFY(queue.semaphore.create());
    std::vector<std::thread> producers;
    std::atomic<int> running{kProducers};
    std::atomic<qint64> next{0};
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&] {
            for (int i = 0; i < kEach; ++i)
                queue.writePacket(numbered(next++), kindOf(i % 7 != 0));
            --running;
        });
    }
    qint64 newest = -1;
    int taken = 0;
    bool inOrder = true;
    const auto take = [&](const AVPacketPtr &packet, bool isPlain) {
        inOrder = inOrder && (!isPlain || packet->pts > newest);
        newest = packet->pts;
        ++taken;
    };
    for (bool last = false; !last;) {
        last = running == 0;
        queue.beginRest(PlainPictures{newest, 100});
        queue.semaphore.wait(1);
        for (const AVPacketPtr &packet : queue.endRest().packets)
            take(packet, true);
        while (const AVPacketPtr packet = queue.dequeue())
            take(packet, false);
    }
    for (std::thread &producer : producers)
        producer.join();
    QVERIFY(inOrder);
    QCOMPARE(taken + m_log->count(Logger::Warning, kFull), kProducers * kEach);
}

QTEST_GUILESS_MAIN(TestPacketQueue)
#include "tst_packetqueue.moc"
