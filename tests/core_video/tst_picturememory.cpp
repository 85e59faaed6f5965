// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/picturememory_p.h"
#include "support/loggedtest.h"

#include <QFile>
#include <QTest>

#include <algorithm>

namespace {

constexpr std::size_t kSmall = 640 * 360 * 4;
constexpr std::size_t kLarge = 1920 * 1080 * 4;
constexpr std::size_t kVectorBytes = 64;

std::uintptr_t numberOf(const std::shared_ptr<std::uint8_t> &memory)
{
    return reinterpret_cast<std::uintptr_t>(memory.get());
}

/// The flags of the mapping that holds an address, as of /proc/self/smaps.
QByteArray mappingFlags(std::uintptr_t address)
{
    QFile maps(QStringLiteral("/proc/self/smaps"));
    bool isWithin = false;
    if (!maps.open(QIODevice::ReadOnly))
        return {};
    for (QByteArray line = maps.readLine(); !line.isEmpty(); line = maps.readLine()) {
        const QByteArray first = line.left(line.indexOf(' '));
        const QList<QByteArray> range = first.split('-');
        if (range.size() == 2)
            isWithin = range[0].toULongLong(nullptr, 16) <= address &&
                       address < range[1].toULongLong(nullptr, 16);
        else if (isWithin && first == "VmFlags:")
            return line;
    }
    return {};
}

} // namespace

class TestPictureMemory : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void bytes_areZeroAndAligned_data();
    void bytes_areZeroAndAligned();
    void largePictures_lieInLargePages();
    void nothing_isGiven_whereThereIsNoMemory();
};

void TestPictureMemory::bytes_areZeroAndAligned_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::newRow("one") << quint64(1);
    QTest::newRow("small") << quint64(kSmall);
    QTest::newRow("large") << quint64(kLarge);
    QTest::newRow("a large page") << quint64(2 << 20);
    QTest::newRow("a byte less") << quint64((2 << 20) - 1);
}

void TestPictureMemory::bytes_areZeroAndAligned()
{
    QFETCH(quint64, bytes);
    for (int i = 0; i < 3; ++i) { // also of memory that has been written before
        const auto memory = newPictureMemory(bytes);
        QVERIFY(memory);
        QCOMPARE(numberOf(memory) % kVectorBytes, std::uintptr_t(0));
        std::uint8_t *const end = memory.get() + bytes;
        QVERIFY(std::all_of(memory.get(), end, [](std::uint8_t byte) { return byte == 0; }));
        std::fill(memory.get(), end, std::uint8_t(1));
    }
}

void TestPictureMemory::largePictures_lieInLargePages()
{
    if (!QFile::exists(QStringLiteral("/sys/kernel/mm/transparent_hugepage/enabled")))
        QSKIP("this system has no large pages that are given by itself");
    const auto memory = newPictureMemory(kLarge);
    QVERIFY(memory);
    QCOMPARE(numberOf(memory) % (2 << 20), std::uintptr_t(0));
    const QByteArray flags = mappingFlags(numberOf(memory));
    QVERIFY2(flags.split(' ').contains("hg"), flags.constData());
}

void TestPictureMemory::nothing_isGiven_whereThereIsNoMemory()
{
    QVERIFY(!newPictureMemory(std::size_t(1) << 60));
}

QTEST_GUILESS_MAIN(TestPictureMemory)
#include "tst_picturememory.moc"
