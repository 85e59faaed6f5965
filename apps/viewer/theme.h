// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QString>

class QApplication;
class QCalendarWidget;

/// Colours, sizes and small drawn parts of the viewer: dark, calm, one accent.
namespace theme {

extern const QColor window; ///< behind everything
extern const QColor bar;    ///< bars, lists and what belongs to them
extern const QColor view;   ///< a view without a picture
extern const QColor frame;  ///< of a view that is not selected
extern const QColor line;   ///< separators
extern const QColor text;
extern const QColor dimText;
extern const QColor accent; ///< the selected view, and what is switched on
extern const QColor warning;
extern const QColor recording;

constexpr int gap = 8;        ///< pixels, the unit of all distances
constexpr int barHeight = 44; ///< pixels
constexpr int iconSize = 20;  ///< pixels

/// Gives the application palette, font size and style sheet.
void apply(QApplication &application);

/// An icon of the viewer by its file name without the ending, or of the library by its whole path.
QIcon icon(const QString &name);

/// Text on a dark rounded ground, readable over any picture. `width` 0: as wide as the text needs;
/// else the text is shortened to fit. With a valid `dot`, a dot of that colour stands before it.
QImage label(const QString &text, qreal devicePixelRatio, int width = 0, const QColor &dot = {});

/// Width of a field with an arrow that shows that text, pixels: a field does not count its style.
int fieldWidth(const QString &text);

/// Gives a calendar the colours of the window.
void dress(QCalendarWidget *calendar);

/// Height of a label(), pixels.
int labelHeight();

} // namespace theme
