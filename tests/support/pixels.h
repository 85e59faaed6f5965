// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QRect>
#include <QStringList>

namespace vantratest {

/// Smallest rectangle that holds every pixel of exactly this colour; empty if there is none.
QRect boundsOf(const QImage &image, const QColor &color);

/// Number of pixels of exactly this colour.
int countOf(const QImage &image, const QColor &color);

/// Collects what Qt itself warns about while it lives, on any thread. One at a time.
class QtWarnings
{
    Q_DISABLE_COPY(QtWarnings)

public:
    QtWarnings();
    ~QtWarnings();

    /// Warnings and worse, so far.
    QStringList lines() const;

private:
    QtMessageHandler previous;
};

} // namespace vantratest
