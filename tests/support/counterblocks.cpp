// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/counterblocks.h"

#include "simulator/scene/counterrow.h"
#include "simulator/scene/sceneid.h"

#include <QPainter>

#include <algorithm>
#include <array>

namespace vantratest {

namespace {

constexpr int kMinContrast = 24; // steps of luma between white and black
/// A cell this near to the middle, as a part of the contrast, is neither black nor white.
constexpr double kUndecided = 0.15;
/// The part of a cell that is looked at; its edges suffer from scaling and compression.
constexpr double kInnerBegin = 0.3;
constexpr double kInnerEnd = 0.7;

using Levels = std::array<double, vantrasim::kCounterCells>;

enum class Row { Top, Bottom };

/// Average over the inner part of one cell, which holds at least one pixel.
template<typename Luma>
double levelOf(const Luma &luma, const QRect &picture, Row row, int cell)
{
    const double cellWidth = double(picture.width()) / vantrasim::kCounterCells;
    const double rowHeight = double(picture.height()) / vantrasim::kCounterRowDivisor;
    const double rowTop = row == Row::Top ? 0 : picture.height() - rowHeight;
    const int left = picture.left() + int((cell + kInnerBegin) * cellWidth);
    const int right = std::max(picture.left() + int((cell + kInnerEnd) * cellWidth), left + 1);
    const int top = picture.top() + int(rowTop + kInnerBegin * rowHeight);
    const int bottom = std::max(picture.top() + int(rowTop + kInnerEnd * rowHeight), top + 1);
    double sum = 0;
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x)
            sum += luma(x, y);
    }
    return sum / ((right - left) * (bottom - top));
}

std::optional<quint32> decode(const Levels &levels)
{
    using namespace vantrasim;
    // What white and black are here, the markers tell.
    double white = 0;
    double black = 0;
    int whites = 0;
    int blacks = 0;
    const auto take = [&](bool cell, double level) {
        (cell ? white : black) += level;
        ++(cell ? whites : blacks);
    };
    for (std::size_t i = 0; i < kCounterStart.size(); ++i)
        take(kCounterStart[i], levels[i]);
    for (std::size_t i = 0; i < kCounterEnd.size(); ++i)
        take(kCounterEnd[i], levels[levels.size() - kCounterEnd.size() + i]);
    white /= whites;
    black /= blacks;
    const double contrast = white - black;
    if (contrast < kMinContrast)
        return std::nullopt;
    CounterCells cells{};
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const double fromMiddle = levels[i] - (white + black) / 2;
        if (std::abs(fromMiddle) < kUndecided * contrast)
            return std::nullopt;
        cells[i] = fromMiddle > 0;
    }
    std::uint32_t value = 0;
    if (!counterFromCells(cells, &value))
        return std::nullopt;
    return value;
}

template<typename Luma>
std::optional<quint32> readWith(const Luma &luma, const QRect &all, const QRect &named, Row row)
{
    const QRect picture = named.isNull() ? all : named;
    if (picture.width() < vantrasim::kCounterCells ||
        picture.height() < vantrasim::kCounterRowDivisor || !all.contains(picture))
        return std::nullopt;
    Levels levels{};
    for (int cell = 0; cell < vantrasim::kCounterCells; ++cell)
        levels[std::size_t(cell)] = levelOf(luma, picture, row, cell);
    return decode(levels);
}

std::optional<quint32> readRow(const QImage &image, const QRect &picture, Row row)
{
    if (image.isNull())
        return std::nullopt;
    return readWith([&image](int x, int y) { return qGray(image.pixel(x, y)); }, image.rect(),
                    picture, row);
}

std::optional<quint32> readRow(const uchar *luma, int stride, int width, int height,
                               const QRect &picture, Row row)
{
    if (luma == nullptr || width <= 0 || height <= 0)
        return std::nullopt;
    return readWith([luma, stride](int x, int y) { return luma[qptrdiff(y) * stride + x]; },
                    QRect(0, 0, width, height), picture, row);
}

std::optional<SceneId> sceneOf(const std::optional<quint32> &id)
{
    if (!id)
        return std::nullopt;
    return SceneId{vantrasim::deviceOfScene(*id), vantrasim::channelOfScene(*id),
                   vantrasim::streamOfScene(*id)};
}

} // namespace

std::optional<quint32> readCounter(const QImage &image, const QRect &picture)
{
    return readRow(image, picture, Row::Top);
}

std::optional<quint32> readCounter(const uchar *luma, int stride, int width, int height,
                                   const QRect &picture)
{
    return readRow(luma, stride, width, height, picture, Row::Top);
}

std::optional<SceneId> readSceneId(const QImage &image, const QRect &picture)
{
    return sceneOf(readRow(image, picture, Row::Bottom));
}

std::optional<SceneId> readSceneId(const uchar *luma, int stride, int width, int height,
                                   const QRect &picture)
{
    return sceneOf(readRow(luma, stride, width, height, picture, Row::Bottom));
}

void drawCounter(QImage *image, quint32 counter)
{
    using namespace vantrasim;
    const CounterCells cells = counterToCells(counter);
    const int height = image->height() / kCounterRowDivisor;
    QPainter painter(image);
    for (int i = 0; i < kCounterCells; ++i) {
        const int left = i * image->width() / kCounterCells;
        const int right = (i + 1) * image->width() / kCounterCells;
        painter.fillRect(left, 0, right - left, height,
                         cells[std::size_t(i)] ? Qt::white : Qt::black);
    }
}

} // namespace vantratest
