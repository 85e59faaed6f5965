// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QWidget>

/// Render surface for planar 4:2:0 pictures, as a video widget sees it.
class VANTRA_EXPORT YuvWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(YuvWidget)

public:
    explicit YuvWidget(QWidget *parent = nullptr);
    ~YuvWidget() override;

    /// Takes over a picture of `width` by `height` pixels and shows it. The planes are lent for the
    /// time of the call; nothing that is painted later may read them. Line sizes are bytes per row.
    /// GUI thread.
    virtual void updateFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                             quint32 linesizeY, quint32 linesizeU, quint32 linesizeV) = 0;

    /// Forgets the picture. GUI thread.
    virtual void clear() = 0;
};
