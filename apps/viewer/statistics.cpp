// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "statistics.h"

namespace {

constexpr qint64 kSampleMs = 1000;

} // namespace

void PictureMeter::countPicture()
{
    if (!m_sinceSample.isValid()) {
        m_sinceSample.start();
        m_shownAtSample = m_shown;
    }
    ++m_shown;
}

void PictureMeter::sample()
{
    if (!m_sinceSample.isValid() || m_sinceSample.elapsed() < kSampleMs)
        return;
    m_rate = double(m_shown - m_shownAtSample) * 1000 / double(m_sinceSample.restart());
    m_shownAtSample = m_shown;
}

void PictureMeter::pause()
{
    m_rate = 0;
    m_sinceSample.invalidate();
}

void CpuMeter::sample()
{
    const std::clock_t now = std::clock();
    if (!m_sinceSample.isValid()) {
        m_sinceSample.start();
    } else if (m_sinceSample.elapsed() >= kSampleMs) {
        const double seconds = double(now - m_cpuAtSample) / CLOCKS_PER_SEC;
        m_percent = seconds * 1000 * 100 / double(m_sinceSample.restart());
    } else {
        return;
    }
    m_cpuAtSample = now;
}

QString textTable(const QVector<QStringList> &rows, const QVector<int> &numbers)
{
    QVector<int> widths(rows.first().size());
    for (const QStringList &row : rows)
        for (int column = 0; column < row.size(); ++column)
            widths[column] = qMax(widths[column], row[column].size());

    QString table;
    for (const QStringList &row : rows) {
        QString line;
        for (int column = 0; column < row.size(); ++column) {
            line += numbers.contains(column) ? row[column].rightJustified(widths[column])
                                             : row[column].leftJustified(widths[column]);
            line += QLatin1String("  ");
        }
        table += line.trimmed() + QLatin1Char('\n');
    }
    return table;
}

QString summaryTable(const QVector<ViewSummary> &views, double cpuPercent)
{
    QVector<QStringList> rows{{"view", "name", "size", "pictures", "per second", "state"}};
    quint64 pictures = 0;
    double rate = 0;
    int showing = 0;
    for (int i = 0; i < views.size(); ++i) {
        const ViewSummary &view = views[i];
        rows.append({QString::number(i + 1), view.name,
                     view.size.isEmpty()
                         ? QStringLiteral("-")
                         : QStringLiteral("%1x%2").arg(view.size.width()).arg(view.size.height()),
                     QString::number(view.pictures), QString::number(view.rate, 'f', 1),
                     view.state});
        pictures += view.pictures;
        rate += view.rate;
        showing += view.pictures > 0;
    }
    return textTable(rows, {3, 4}) +
           QStringLiteral("streams %1, with pictures %2, pictures shown %3, %4 per second, "
                          "CPU %5 % of one core\n")
               .arg(QString::number(views.size()), QString::number(showing),
                    QString::number(pictures), QString::number(rate, 'f', 1),
                    QString::number(cpuPercent, 'f', 0));
}
