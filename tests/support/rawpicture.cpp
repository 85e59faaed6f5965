// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/rawpicture.h"

#include <cstdlib>

namespace vantratest {

namespace {

constexpr quint8 kPadding = 0xEE;

} // namespace

RawPlane::RawPlane(int width, int rows, int linesize)
    : width(width), rows(rows), linesize(linesize), bytes(size_t(rows) * size_t(linesize), kPadding)
{
}

RawPicture::RawPicture(const QSize &size, int padding,
                       const std::function<Yuv(int x, int y)> &color)
    : width(size.width()), height(size.height()), y(width, height, width + padding)
{
    const int chromaWidth = (width + 1) / 2;
    const int chromaRows = (height + 1) / 2;
    u = v = RawPlane(chromaWidth, chromaRows, chromaWidth + padding);
    uv = RawPlane(2 * chromaWidth, chromaRows, 2 * (chromaWidth + padding));
    for (int row = 0; row < height; ++row) {
        for (int x = 0; x < width; ++x) {
            const Yuv pixel = color(x, row);
            y.at(x, row) = quint8(pixel.y);
            if (x % 2 != 0 || row % 2 != 0)
                continue;
            u.at(x / 2, row / 2) = uv.at(x, row / 2) = quint8(pixel.u);
            v.at(x / 2, row / 2) = uv.at(x + 1, row / 2) = quint8(pixel.v);
        }
    }
}

RawPicture::RawPicture(const QSize &size, const Yuv &color)
    : RawPicture(size, 0, [&](int, int) { return color; })
{
}

namespace {

void append(QByteArray *file, const RawPlane &plane)
{
    for (int row = 0; row < plane.rows; ++row)
        for (int x = 0; x < plane.width; ++x)
            file->append(char(plane.at(x, row)));
}

} // namespace

QByteArray RawPicture::planar() const
{
    QByteArray file;
    append(&file, y);
    append(&file, u);
    append(&file, v);
    return file;
}

QByteArray RawPicture::nv12() const
{
    QByteArray file;
    append(&file, y);
    append(&file, uv);
    return file;
}

const std::vector<NamedPicture> &rawPictures()
{
    static const std::vector<NamedPicture> all = [] {
        std::vector<NamedPicture> made;
        for (const PictureForm &form : kPictureForms)
            made.push_back({form.name, {{form.width, form.height}, form.padding, form.color}});
        return made;
    }();
    return all;
}

QString difference(const QImage &shown, const QImage &expected, int tolerance)
{
    if (shown.size() != expected.size())
        return QStringLiteral("%1x%2 instead of %3x%4")
            .arg(shown.width())
            .arg(shown.height())
            .arg(expected.width())
            .arg(expected.height());
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            const QRgb is = shown.pixel(x, y);
            const QRgb should = expected.pixel(x, y);
            if (std::abs(qRed(is) - qRed(should)) > tolerance ||
                std::abs(qGreen(is) - qGreen(should)) > tolerance ||
                std::abs(qBlue(is) - qBlue(should)) > tolerance)
                return QStringLiteral("%1 instead of %2 at %3, %4")
                    .arg(QColor(is).name(), QColor(should).name())
                    .arg(x)
                    .arg(y);
        }
    }
    return QString();
}

} // namespace vantratest
