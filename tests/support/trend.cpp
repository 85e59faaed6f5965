// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/trend.h"

#include <QFile>
#include <QTextStream>

#include <algorithm>

namespace vantratest {

namespace {

// Of the drawing, in pixels.
constexpr int kWidth = 960;
constexpr int kLeft = 80;
constexpr int kRight = 24;
constexpr int kTop = 48;
constexpr int kDiagram = 190; ///< height of one, with what stands around it
constexpr int kPlot = 120;    ///< height of what lies between its axes
constexpr int kHead = 40;     ///< above the plot
constexpr int kBottom = 40;
constexpr int kTicks = 5; ///< about as many on an axis

/// Told apart also by who does not see red or green.
const char *const kColours[] = {"#0072b2", "#d55e00", "#009e73", "#cc79a7"};

double median(QVector<double> values)
{
    const auto middle = values.begin() + values.size() / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The next of 1, 2, 5, 10, 20, 50 ... that parts `range` into about kTicks.
double tickStep(double range)
{
    const double raw = std::max(range, 1e-9) / kTicks;
    const double decade = std::pow(10, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (raw <= factor * decade)
            return factor * decade;
    }
    return 10 * decade;
}

QString number(double value)
{
    return QString::number(value, 'g', 5);
}

QString escaped(const QString &text)
{
    return text.toHtmlEscaped();
}

/// Where values lie on an axis.
struct Scale
{
    double low = 0;
    double high = 1;
    double from = 0; ///< pixel of `low`
    double to = 1;   ///< pixel of `high`

    QString at(double value) const
    {
        return QString::number(from + (value - low) / (high - low) * (to - from), 'f', 1);
    }
};

/// Draws one diagram.
class Plotter
{
public:
    Plotter(QTextStream *out, const Trend &trend, const Diagram &diagram, int top)
        : m_out(*out), m_trend(trend), m_diagram(diagram)
    {
        m_x = {0, std::max(1.0, trend.seconds.isEmpty() ? 1.0 : trend.seconds.last()), kLeft,
               kWidth - kRight};
        m_y = {0, 1, double(top + kHead + kPlot), double(top + kHead)};
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        for (const Series &series : diagram.series) {
            for (const double value : series.values) {
                if (std::isfinite(value)) {
                    low = std::min(low, value);
                    high = std::max(high, value);
                }
            }
        }
        if (low <= high) {
            const double step = tickStep(std::max(high - low, 0.02 * std::abs(high)));
            m_y.low = std::floor(low / step) * step;
            m_y.high = std::max(std::ceil(high / step) * step, m_y.low + step);
        }
    }

    void draw()
    {
        drawHead();
        drawAxes();
        for (int i = 0; i < m_diagram.series.size(); ++i)
            drawSeries(m_diagram.series.at(i), kColours[size_t(i) % std::size(kColours)]);
    }

private:
    void text(double x, double y, const char *anchor, const QString &text, const QString &more = {})
    {
        m_out << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\" "
              << more << ">" << escaped(text) << "</text>\n";
    }

    void line(const QString &x1, const QString &y1, const QString &x2, const QString &y2,
              const char *look)
    {
        m_out << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2
              << "\" " << look << "/>\n";
    }

    /// Title and legend.
    void drawHead()
    {
        const double y = m_y.to - 24;
        text(kLeft, y, "start", m_diagram.title + QStringLiteral(", ") + m_diagram.unit,
             QStringLiteral("font-weight=\"bold\""));
        double x = kLeft;
        for (int i = 0; i < m_diagram.series.size(); ++i) {
            const Series &series = m_diagram.series.at(i);
            QString entry = series.name;
            if (series.isJudged())
                entry +=
                    QStringLiteral(": %1%2 in the second half (up to %3)")
                        .arg(QLatin1String(m_trend.rise(series) < 0 ? "" : "+"),
                             QString::number(m_trend.rise(series), 'f', 2), number(series.bound));
            m_out << "<rect x=\"" << x << "\" y=\"" << y + 9
                  << "\" width=\"14\" height=\"4\" fill=\""
                  << kColours[size_t(i) % std::size(kColours)] << "\"/>\n";
            text(x + 20, y + 15, "start", entry, QStringLiteral("font-size=\"12\""));
            x += 44 + 6.6 * entry.size();
        }
    }

    void drawAxes()
    {
        const QString left = m_x.at(m_x.low), right = m_x.at(m_x.high);
        const QString bottom = m_y.at(m_y.low), top = m_y.at(m_y.high);
        if (!m_trend.seconds.isEmpty()) {
            const QString half = m_x.at(m_trend.seconds.at(m_trend.half()));
            m_out << "<rect x=\"" << half << "\" y=\"" << top << "\" width=\""
                  << right.toDouble() - half.toDouble() << "\" height=\"" << kPlot
                  << "\" fill=\"#f3f3f3\"/>\n";
        }
        const double step = tickStep(m_y.high - m_y.low);
        for (double value = m_y.low; value <= m_y.high + step / 100; value += step) {
            line(left, m_y.at(value), right, m_y.at(value), "stroke=\"#dddddd\"");
            text(kLeft - 8, m_y.at(value).toDouble() + 4, "end", number(value));
        }
        const bool inMinutes = m_x.high >= 180;
        const double unit = inMinutes ? 60 : 1;
        const double pace = tickStep(m_x.high / unit) / 2;
        for (double value = 0; value * unit <= m_x.high; value += pace) {
            const QString x = m_x.at(value * unit);
            line(x, bottom, x, QString::number(bottom.toDouble() + 5), "stroke=\"#333333\"");
            text(x.toDouble(), bottom.toDouble() + 18, "middle",
                 number(value) + QLatin1String(inMinutes ? " min" : " s"));
        }
        line(left, bottom, right, bottom, "stroke=\"#333333\"");
        line(left, bottom, left, top, "stroke=\"#333333\"");
    }

    void drawSeries(const Series &series, const char *colour)
    {
        const int points = std::min(series.values.size(), m_trend.seconds.size());
        m_out << "<path fill=\"none\" stroke-width=\"1.3\" stroke=\"" << colour << "\" d=\"";
        bool pen = false;
        for (int i = 0; i < points; ++i) {
            const double value = series.values.at(i);
            if (std::isfinite(value))
                m_out << (pen ? "L" : "M") << m_x.at(m_trend.seconds.at(i)) << " " << m_y.at(value);
            pen = std::isfinite(value);
        }
        m_out << "\"/>\n";
        if (!series.isJudged() || points < 2)
            return;
        // Through the middle of the second half.
        const double from = m_trend.seconds.at(m_trend.half()), to = m_trend.seconds.last();
        QVector<double> level;
        for (int i = m_trend.half(); i < points; ++i) {
            if (std::isfinite(series.values.at(i)))
                level << series.values.at(i);
        }
        if (level.isEmpty())
            return;
        const double middle = median(level), rise = m_trend.rise(series);
        m_out << "<line x1=\"" << m_x.at(from) << "\" y1=\"" << m_y.at(middle - rise / 2)
              << "\" x2=\"" << m_x.at(to) << "\" y2=\"" << m_y.at(middle + rise / 2)
              << "\" stroke=\"#000000\" stroke-width=\"1.5\" stroke-dasharray=\"6 3\"/>\n";
    }

    QTextStream &m_out;
    const Trend &m_trend;
    const Diagram &m_diagram;
    Scale m_x;
    Scale m_y;
};

} // namespace

double theilSenSlope(const QVector<double> &x, const QVector<double> &y)
{
    QVector<double> slopes;
    const int count = std::min(x.size(), y.size());
    slopes.reserve(count * (count - 1) / 2);
    for (int i = 0; i < count; ++i) {
        for (int j = i + 1; j < count; ++j) {
            const double slope = (y.at(j) - y.at(i)) / (x.at(j) - x.at(i));
            if (std::isfinite(slope))
                slopes << slope;
        }
    }
    return slopes.isEmpty() ? 0 : median(slopes);
}

int Trend::half() const
{
    const double middle = seconds.isEmpty() ? 0 : (seconds.first() + seconds.last()) / 2;
    return int(std::lower_bound(seconds.begin(), seconds.end(), middle) - seconds.begin());
}

double Trend::rise(const Series &series) const
{
    if (seconds.isEmpty())
        return 0;
    return theilSenSlope(seconds.mid(half()), series.values.mid(half())) *
           (seconds.last() - seconds.at(half()));
}

QString Trend::faults() const
{
    QString text;
    for (const Diagram &diagram : diagrams) {
        for (const Series &series : diagram.series) {
            const bool isEmpty = std::none_of(series.values.begin(), series.values.end(),
                                              [](double value) { return std::isfinite(value); });
            if (series.isJudged() && isEmpty)
                text += QStringLiteral("%1 (%2): never measured; ").arg(diagram.title, series.name);
            else if (series.isJudged() && rise(series) > series.bound)
                text += QStringLiteral("%1 (%2): +%3 %4 in the second half; ")
                            .arg(diagram.title, series.name, number(rise(series)), diagram.unit);
        }
    }
    return text;
}

bool Trend::writeSvg(const QString &file, const QString &title) const
{
    QFile target(file);
    if (!target.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    QTextStream out(&target);
    out.setCodec("UTF-8");
    const int height = kTop + diagrams.size() * kDiagram + kBottom;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\""
        << height << "\" viewBox=\"0 0 " << kWidth << " " << height
        << "\" font-family=\"sans-serif\" font-size=\"13\" fill=\"#222222\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n"
        << "<text x=\"" << kLeft << "\" y=\"28\" font-size=\"16\" font-weight=\"bold\">"
        << escaped(title) << "</text>\n";
    for (int i = 0; i < diagrams.size(); ++i)
        Plotter(&out, *this, diagrams.at(i), kTop + i * kDiagram).draw();
    out << "<text x=\"" << kLeft << "\" y=\"" << height - 14
        << "\" font-size=\"12\">Grey: the second half, which is judged. Dashed: its median slope."
           "</text>\n</svg>\n";
    out.flush();
    return out.status() == QTextStream::Ok && target.flush();
}

bool Trend::writeTable(const QString &file) const
{
    QFile target(file);
    if (!target.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    QTextStream out(&target);
    out.setCodec("UTF-8");
    out << "seconds";
    for (const Diagram &diagram : diagrams) {
        for (const Series &series : diagram.series)
            out << "," << diagram.title << " " << series.name << " (" << diagram.unit << ")";
    }
    out << "\n";
    for (int i = 0; i < seconds.size(); ++i) {
        out << number(seconds.at(i));
        for (const Diagram &diagram : diagrams) {
            for (const Series &series : diagram.series)
                out << "," << number(series.values.value(i, Series::kNothing));
        }
        out << "\n";
    }
    out.flush();
    return out.status() == QTextStream::Ok && target.flush();
}

} // namespace vantratest
