// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QWidget>

/// Render surface for NV12 pictures (a plane Y, and a plane of U and V in turn), as a video widget
/// sees it.
class VANTRA_EXPORT Nv12Widget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Nv12Widget)

public:
    explicit Nv12Widget(QWidget *parent = nullptr);
    ~Nv12Widget() override;

    /// Takes over a picture of `width` by `height` pixels and shows it. The planes are lent for the
    /// time of the call; nothing that is painted later may read them. Line sizes are bytes per row.
    /// GUI thread.
    virtual void updateFrame(int width, int height, quint8 *dataY, quint8 *dataUV,
                             quint32 linesizeY, quint32 linesizeUV) = 0;

    /// Forgets the picture. GUI thread.
    virtual void clear() = 0;
};
