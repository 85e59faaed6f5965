// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/pixels.h"

#include <QMutex>

namespace vantratest {

namespace {

QMutex linesMutex;
QStringList collected;

void collect(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    const QMutexLocker locker(&linesMutex);
    collected.append(text);
}

} // namespace

QRect boundsOf(const QImage &image, const QColor &color)
{
    QRect bounds;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == color)
                bounds |= QRect(x, y, 1, 1);
        }
    }
    return bounds;
}

int countOf(const QImage &image, const QColor &color)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += image.pixelColor(x, y) == color ? 1 : 0;
    }
    return count;
}

QtWarnings::QtWarnings()
{
    collected.clear();
    previous = qInstallMessageHandler(collect);
}

QtWarnings::~QtWarnings()
{
    qInstallMessageHandler(previous);
}

QStringList QtWarnings::lines() const
{
    const QMutexLocker locker(&linesMutex);
    return collected;
}

} // namespace vantratest
