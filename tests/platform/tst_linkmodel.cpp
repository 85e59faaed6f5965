// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/linkmodel.h"

#include <QVector>
#include <QtTest>

#include <algorithm>

using namespace vantratest;

namespace {

constexpr int kBytes = 1000;

/// What becomes of packets of a kilobyte that come every millisecond; -1: lost.
QVector<qint64> fatesOn(LinkModel *link, int packets = 1000)
{
    QVector<qint64> fates;
    for (int i = 0; i < packets; ++i)
        fates << link->pass(i * 1000, kBytes).value_or(-1);
    return fates;
}

QVector<qint64> fates(const LinkQuality &quality, unsigned seed = 1)
{
    LinkModel link(seed);
    link.setQuality(quality);
    return fatesOn(&link);
}

} // namespace

class TestLinkModel : public QObject
{
    Q_OBJECT

private slots:
    void perfectLink_passesAtOnce();
    void seed_repeatsAllChances();
    void loss_isTheShareAskedFor();
    void chances_areTheSame_whateverElseTheLinkDoes();
    void delay_isThatOfEachPacket_andJitterLetsThemOvertake();
    void rate_spacesPackets_andOverflowsItsQueue();
    void cut_losesAll_untilItIsMended();
};

void TestLinkModel::perfectLink_passesAtOnce()
{
    QVector<qint64> expected;
    for (int i = 0; i < 1000; ++i)
        expected << i * 1000;
    QCOMPARE(fates({}), expected);
}

void TestLinkModel::seed_repeatsAllChances()
{
    LinkQuality bad;
    bad.loss = 0.3;
    bad.delayMs = 50;
    bad.jitterMs = 20;
    QCOMPARE(fates(bad, 7), fates(bad, 7));
    QVERIFY(fates(bad, 7) != fates(bad, 8));
}

void TestLinkModel::loss_isTheShareAskedFor()
{
    for (const double loss : {0.01, 0.05, 0.5}) {
        LinkQuality bad;
        bad.loss = loss;
        LinkModel link(3);
        link.setQuality(bad);
        const auto lost = fatesOn(&link, 20000).count(-1);
        QVERIFY2(lost > 20000 * loss * 0.8 && lost < 20000 * loss * 1.2,
                 qPrintable(QString::number(lost)));
    }
    LinkQuality dead;
    dead.loss = 1;
    QVERIFY(fates(dead).count(-1) >= 999);
}

void TestLinkModel::chances_areTheSame_whateverElseTheLinkDoes()
{
    LinkQuality lossy;
    lossy.loss = 0.2;
    LinkQuality late = lossy;
    late.delayMs = 100;
    const QVector<qint64> one = fates(lossy), other = fates(late);
    for (int i = 0; i < one.size(); ++i)
        QCOMPARE(one.at(i) < 0, other.at(i) < 0);
}

void TestLinkModel::delay_isThatOfEachPacket_andJitterLetsThemOvertake()
{
    LinkQuality late;
    late.delayMs = 100;
    late.jitterMs = 30;
    const QVector<qint64> out = fates(late);
    int overtaken = 0;
    qint64 least = out.first(), most = out.first();
    for (int i = 0; i < out.size(); ++i) {
        const qint64 way = out.at(i) - i * 1000;
        least = std::min(least, way);
        most = std::max(most, way);
        overtaken += i > 0 && out.at(i) < out.at(i - 1);
    }
    QVERIFY(least >= 70000 && least < 73000);
    QVERIFY(most <= 130000 && most > 127000);
    QVERIFY(overtaken > 100);
    late.delayMs = 0; // nothing comes out before it went in
    const QVector<qint64> early = fates(late);
    for (int i = 0; i < early.size(); ++i)
        QVERIFY(early.at(i) >= i * 1000);
}

void TestLinkModel::rate_spacesPackets_andOverflowsItsQueue()
{
    LinkQuality slow;
    slow.kbps = 800; // ten milliseconds for a packet; ten times as many come
    slow.queueMs = 100;
    const QVector<qint64> out = fates(slow);
    qint64 before = 0;
    int passed = 0;
    for (int i = 0; i < out.size(); ++i) {
        if (out.at(i) < 0)
            continue;
        QCOMPARE(out.at(i) - before, qint64(10000));
        QVERIFY(out.at(i) - i * 1000 <= 111000);
        before = out.at(i);
        ++passed;
    }
    QVERIFY2(passed >= 108 && passed <= 112, qPrintable(QString::number(passed)));
}

void TestLinkModel::cut_losesAll_untilItIsMended()
{
    LinkModel link(1);
    LinkQuality quality;
    quality.isCut = true;
    link.setQuality(quality);
    QCOMPARE(fatesOn(&link).count(-1), 1000);
    link.setQuality({});
    QCOMPARE(link.pass(5, kBytes).value_or(-1), qint64(5));
}

QTEST_APPLESS_MAIN(TestLinkModel)
#include "tst_linkmodel.moc"
