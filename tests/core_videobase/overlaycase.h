// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/overlay.h"

#include "support/pixels.h"

#include <QTest>

#include <memory>

namespace vantratest {

inline const QColor kRed(255, 0, 0);
inline const QColor kGreen(0, 255, 0);
inline const QColor kBlue(0, 0, 255);

inline QImage blackPicture(int width = 100, int height = 80)
{
    QImage picture(width, height, QImage::Format_RGB32);
    picture.fill(Qt::black);
    return picture;
}

inline bool isBlank(const QImage &canvas)
{
    return countOf(canvas, Qt::black) == canvas.width() * canvas.height();
}

inline GraphInfo graphNamed(const QString &name)
{
    GraphInfo graph;
    graph.name = name;
    return graph;
}

inline OsdInfo textOsd(const QString &text, int position = OsdPosition_LeftTop)
{
    OsdInfo osd;
    osd.name = text;
    osd.visible = true;
    osd.fontSize = 20;
    osd.text = text;
    osd.color = Qt::white;
    osd.position = OsdPosition(position);
    return osd;
}

/// What the tests of overlays share: records, a picture to draw on, and that Qt warns of nothing.
class OverlayCase : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(OverlayCase)

public:
    OverlayCase() = default;

private slots:
    void init() { warnings = std::make_unique<QtWarnings>(); }
    void cleanup()
    {
        const QStringList lines = warnings->lines();
        warnings.reset();
        QCOMPARE(lines, QStringList());
    }

private:
    std::unique_ptr<QtWarnings> warnings;
};

} // namespace vantratest
