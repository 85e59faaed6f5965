// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/trend.h"

#include <QFile>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

#include <random>

using namespace vantratest;

namespace {

constexpr int kPoints = 300;

/// Every two seconds: what `value` makes of the second.
template<typename Function>
Trend trendOf(Function value, double bound)
{
    Trend trend;
    Series series;
    series.name = QStringLiteral("some <b>thing</b>");
    series.bound = bound;
    for (int i = 0; i < kPoints; ++i) {
        trend.seconds << 2.0 * i;
        series.values << value(2.0 * i);
    }
    trend.diagrams << Diagram{QStringLiteral("Memory"), QStringLiteral("MiB"), {series}};
    return trend;
}

} // namespace

class TestTrend : public QObject
{
    Q_OBJECT

private slots:
    void slope_ofALine_isExact();
    void slope_ofFewPoints_isNone();
    void noiseAndWorkThatComesAndGoes_isNoTrend();
    void warmUp_isNoTrend();
    void slowGrowth_isFound_beneathNoise();
    void growthByWholeSteps_isFound();
    void decline_isNoFault();
    void whatWasNeverMeasured_isAFault();
    void drawing_isWellFormed_andHoldsEachPoint();
    void table_hasARowPerMoment();
    void unwritableFile_isTold();
};

void TestTrend::slope_ofALine_isExact()
{
    QCOMPARE(theilSenSlope({0, 1, 2, 5}, {7, 9, 11, 17}), 2.0);
    QCOMPARE(theilSenSlope({0, 1, 2, 5, 6}, {7, 9, Series::kNothing, 17, 19}), 2.0);
    // One point of five lies anywhere.
    QCOMPARE(theilSenSlope({0, 1, 2, 3, 4}, {0, 1, 2, 3, 1000}), 1.0);
}

void TestTrend::slope_ofFewPoints_isNone()
{
    QCOMPARE(theilSenSlope({}, {}), 0.0);
    QCOMPARE(theilSenSlope({1}, {5}), 0.0);
    QCOMPARE(theilSenSlope({1, 1}, {5, 6}), 0.0);
    QCOMPARE(Trend().rise(Series()), 0.0);
    QCOMPARE(Trend().faults(), QString());
}

void TestTrend::noiseAndWorkThatComesAndGoes_isNoTrend()
{
    std::mt19937 random(1);
    const Trend trend = trendOf(
        [&](double second) {
            const double noise = random() % 1000 / 1000.0;
            const double work = int(second) % 60 < 20 ? 8 : 0; // each minute, for a third of it
            const double outlier = random() % 40 == 0 ? 300 : 0;
            return 100 + noise + work + outlier;
        },
        1);
    QCOMPARE(trend.faults(), QString());
}

void TestTrend::warmUp_isNoTrend()
{
    const Trend trend = trendOf([](double second) { return 100 - 60 * std::exp(-second / 40); }, 1);
    QCOMPARE(trend.faults(), QString());
}

void TestTrend::slowGrowth_isFound_beneathNoise()
{
    std::mt19937 random(2);
    const Trend trend = trendOf(
        [&](double second) { return 100 + random() % 5000 / 1000.0 + 3 * second / 300; }, 2);
    const double rise = trend.rise(trend.diagrams.first().series.first());
    QVERIFY2(rise > 2.5 && rise < 3.5, qPrintable(QString::number(rise)));
    QVERIFY(trend.faults().contains(QStringLiteral("Memory")));
}

void TestTrend::growthByWholeSteps_isFound()
{
    const Trend trend = trendOf([](double second) { return 40 + int(second / 60); }, 1);
    QVERIFY(!trend.faults().isEmpty()); // 5 of them
    const Trend once = trendOf([](double second) { return second < 420 ? 40.0 : 41.0; }, 1);
    QCOMPARE(once.faults(), QString());
}

void TestTrend::decline_isNoFault()
{
    const Trend trend = trendOf([](double second) { return 1000 - second; }, 1);
    QCOMPARE(trend.faults(), QString());
}

void TestTrend::whatWasNeverMeasured_isAFault()
{
    QVERIFY(!trendOf([](double) { return Series::kNothing; }, 1).faults().isEmpty());
    QCOMPARE(trendOf([](double) { return Series::kNothing; }, Series::kNoBound).faults(),
             QString());
}

void TestTrend::drawing_isWellFormed_andHoldsEachPoint()
{
    Trend trend = trendOf([](double second) { return second; }, 1);
    trend.diagrams[0].series[0].values[7] = Series::kNothing;
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("trend.svg"));
    QVERIFY(trend.writeSvg(path, QStringLiteral("A & B")));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QString texts;
    int points = 0;
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::Characters)
            texts += xml.text();
        if (xml.isStartElement() && xml.name() == QLatin1String("path")) {
            const QString drawn = xml.attributes().value(QLatin1String("d")).toString();
            points += drawn.count('M') + drawn.count('L');
        }
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(points, kPoints - 1);
    QVERIFY(texts.contains(QStringLiteral("A & B")));
    QVERIFY(texts.contains(QStringLiteral("Memory, MiB")));
    QVERIFY(texts.contains(QStringLiteral("some <b>thing</b>: +298.00")));
    QVERIFY(texts.contains(QStringLiteral(" min")));
}

void TestTrend::table_hasARowPerMoment()
{
    const Trend trend = trendOf([](double second) { return second + 1; }, 1);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("trend.csv"));
    QVERIFY(trend.writeTable(path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
    QCOMPARE(lines.size(), kPoints + 1);
    QCOMPARE(lines.at(0), QByteArray("seconds,Memory some <b>thing</b> (MiB)"));
    QCOMPARE(lines.at(3), QByteArray("4,5"));
}

void TestTrend::unwritableFile_isTold()
{
    const Trend trend = trendOf([](double second) { return second; }, 1);
    const QTemporaryDir folder;
    QVERIFY(!trend.writeSvg(folder.filePath(QStringLiteral("missing/trend.svg")), QString()));
    QVERIFY(!trend.writeTable(folder.filePath(QStringLiteral("missing/trend.csv"))));
}

QTEST_APPLESS_MAIN(TestTrend)
#include "tst_trend.moc"
