// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "paintedwidget.h"

#include "support/pixels.h"

#include <QTest>

namespace paintedwidget {

QImage solid(const QSize &size, const QColor &color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

QImage quadrants(const QSize &size)
{
    QImage image = solid(size, kRed);
    const int x = size.width() / 2;
    const int y = size.height() / 2;
    QPainter painter(&image);
    painter.fillRect(x, 0, size.width() - x, y, kGreen);
    painter.fillRect(0, y, x, size.height() - y, kBlue);
    painter.fillRect(x, y, size.width() - x, size.height() - y, kYellow);
    return image;
}

Shot::Shot(QWidget &widget) : Shot(widget.grab().toImage()) {}

Shot::Shot(const QImage &grabbed)
    : image(grabbed.convertToFormat(QImage::Format_RGB32)),
      ratio(qRound(grabbed.devicePixelRatio()))
{
    image.setDevicePixelRatio(1);
}

QRect Shot::bounds(const QColor &color) const
{
    const QRect physical = vantratest::boundsOf(image, color);
    return QRect(physical.x() / ratio, physical.y() / ratio, physical.width() / ratio,
                 physical.height() / ratio);
}

bool Shot::isAll(const QColor &color) const
{
    return vantratest::countOf(image, color) == image.width() * image.height();
}

bool show(Widget &widget)
{
    widget.show();
    return QTest::qWaitForWindowExposed(&widget) && widget.size() == QSize(kWidth, kHeight);
}

void settle()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

OsdInfo textOsd(const QString &text, OsdPosition position)
{
    OsdInfo osd;
    osd.name = text;
    osd.visible = true;
    osd.fontSize = 20;
    osd.text = text;
    osd.color = Qt::white;
    osd.position = position;
    return osd;
}

QFont pixelFont(int size)
{
    QFont font;
    font.setPixelSize(size);
    return font;
}

} // namespace paintedwidget
