// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/yuvpictures.h"

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QSize>
#include <QString>

#include <functional>
#include <vector>

namespace vantratest {

/// One plane, in memory that ends with its last line: what reads beyond is found by sanitizers. The
/// bytes between the lines are no part of the picture.
struct RawPlane
{
    RawPlane() = default;
    /// Lines of `linesize` bytes, of which `width` count.
    RawPlane(int width, int rows, int linesize);

    quint8 *data() { return bytes.data(); }
    quint8 &at(int x, int y) { return bytes[size_t(y) * size_t(linesize) + size_t(x)]; }
    quint8 at(int x, int y) const { return bytes[size_t(y) * size_t(linesize) + size_t(x)]; }

    int width = 0; ///< bytes
    int rows = 0;
    int linesize = 0; ///< bytes
    std::vector<quint8> bytes;
};

/// A 4:2:0 picture of 8 bits as decoders lend it, in both forms: chroma is half as wide and half as
/// high as luma, rounded up.
struct RawPicture
{
    /// `color` of the pixel x, y; chroma is that of the upper left of four pixels. Lines are longer
    /// than the picture by `padding` bytes, those of U and V in turn by twice that.
    RawPicture(const QSize &size, int padding, const std::function<Yuv(int x, int y)> &color);
    /// Of one colour.
    RawPicture(const QSize &size, const Yuv &color);

    int width;
    int height;
    RawPlane y;
    RawPlane u;
    RawPlane v;
    RawPlane uv; ///< U and V in turn

    /// As raw files have it, without padding and with chroma rounded down; only of even sizes.
    QByteArray planar() const;
    QByteArray nv12() const;
};

struct NamedPicture
{
    const char *name;
    RawPicture picture;
};

/// kPictureForms, made.
const std::vector<NamedPicture> &rawPictures();

/// What differs between two pictures by more than `tolerance` steps in a channel; empty if nothing
/// does.
QString difference(const QImage &shown, const QImage &expected, int tolerance);

} // namespace vantratest
