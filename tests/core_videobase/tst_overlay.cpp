// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The lists of what is drawn over pictures: their order, and who may change them meanwhile.

#include "overlaycase.h"

#include <QTest>

#include <thread>
#include <vector>

using namespace vantratest;

class TestOverlay : public OverlayCase
{
    Q_OBJECT

private slots:
    void list_append_keepsOrderAndDuplicates();
    void list_set_overwritesFirstInPlace_elseAppends();
    void list_remove_takesFirstOfThatName();
    void list_clear_empties();
    void list_items_isASnapshot();
    void list_changesFromManyThreads_areSerialised();
    void list_searchOverwriteAndPaint_takeNoLock();
};

void TestOverlay::list_append_keepsOrderAndDuplicates()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.append(textOsd(QStringLiteral("a")));
    list.append(textOsd(QStringLiteral("b")));
    list.append(textOsd(QStringLiteral("a")));
    QStringList names;
    for (const OsdInfo &osd : list.items())
        names << osd.name;
    QCOMPARE(names, QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("a")}));
}

void TestOverlay::list_set_overwritesFirstInPlace_elseAppends()
{
    QMutex lock;
    OverlayList<GraphInfo> list(lock);
    QVERIFY(!list.set(graphNamed(QStringLiteral("a"))));
    list.append(graphNamed(QStringLiteral("b")));
    list.append(graphNamed(QStringLiteral("a")));

    GraphInfo changed = graphNamed(QStringLiteral("a"));
    changed.borderWidth = 3;
    changed.borderColor = kRed;
    changed.fillColor = kBlue;
    changed.rect = QRect(1, 2, 3, 4);
    changed.path.addRect(1, 2, 3, 4);
    changed.points = {QPoint(1, 2)};
    QVERIFY(list.set(changed));

    const QList<GraphInfo> items = list.items();
    QCOMPARE(items.size(), 3);
    QCOMPARE(items.at(0).borderWidth, 3);
    QCOMPARE(items.at(0).borderColor, kRed);
    QCOMPARE(items.at(0).fillColor, kBlue);
    QCOMPARE(items.at(0).rect, QRect(1, 2, 3, 4));
    QCOMPARE(items.at(0).path, changed.path);
    QCOMPARE(items.at(0).points, changed.points);
    QCOMPARE(items.at(1).name, QStringLiteral("b"));
    QCOMPARE(items.at(2).borderWidth, 0);

    QVERIFY(!list.set(graphNamed(QStringLiteral("c"))));
    QCOMPARE(list.items().size(), 4);
    QCOMPARE(list.items().last().name, QStringLiteral("c"));
}

void TestOverlay::list_remove_takesFirstOfThatName()
{
    QMutex lock;
    OverlayList<GraphInfo> list(lock);
    for (int width : {1, 2}) {
        GraphInfo graph = graphNamed(QStringLiteral("a"));
        graph.borderWidth = width;
        list.append(graph);
    }
    QVERIFY(!list.remove(QStringLiteral("b")));
    QCOMPARE(list.items().size(), 2);
    QVERIFY(list.remove(QStringLiteral("a")));
    QCOMPARE(list.items().size(), 1);
    QCOMPARE(list.items().first().borderWidth, 2);
}

void TestOverlay::list_clear_empties()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.clear();
    list.append(textOsd(QStringLiteral("a")));
    list.clear();
    QVERIFY(list.items().isEmpty());
}

void TestOverlay::list_items_isASnapshot()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.append(textOsd(QStringLiteral("a")));
    const QList<OsdInfo> before = list.items();
    OsdInfo changed = textOsd(QStringLiteral("a"));
    changed.text = QStringLiteral("changed");
    list.set(changed);
    QCOMPARE(before.first().text, QStringLiteral("a"));
    list.clear();
    QCOMPARE(before.size(), 1);
}

void TestOverlay::list_changesFromManyThreads_areSerialised()
{
    QMutex lock;
    OverlayList<GraphInfo> first(lock);
    OverlayList<GraphInfo> second(lock); // two lists share a lock
    constexpr int threads = 4;
    constexpr int rounds = 500;
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([&, i] {
            const GraphInfo graph = graphNamed(QString::number(i));
            for (int round = 0; round < rounds; ++round) {
                first.append(graph);
                second.append(graph);
                second.remove(graph.name);
            }
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    QCOMPARE(first.items().size(), threads * rounds);
    QVERIFY(second.items().isEmpty());
}

void TestOverlay::list_searchOverwriteAndPaint_takeNoLock()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.append(textOsd(QStringLiteral("a")));
    const QMutexLocker locker(&lock); // not recursive: a second lock would never return
    QVERIFY(list.set(textOsd(QStringLiteral("a"))));
    QCOMPARE(list.items().size(), 1);
}

QTEST_MAIN(TestOverlay)
#include "tst_overlay.moc"
