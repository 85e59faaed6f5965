// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QRectF>
#include <QWidget>

/// Render surface for pictures in the memory of the video card, as Direct3D 9 surfaces, as a video
/// widget sees it.
class VANTRA_EXPORT Nv12D3D9Widget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Nv12D3D9Widget)

public:
    explicit Nv12D3D9Widget(QWidget *parent = nullptr);
    ~Nv12D3D9Widget() override;

    /// Takes over and shows a picture of `width` by `height` pixels. `data` is the
    /// IDirect3DSurface9 of the decoder, lent for the time of the call. `codecChanged`: the decoder
    /// is a new one since the last picture, so what belongs to its device must be made anew. GUI
    /// thread.
    virtual void updateFrame(int width, int height, quint8 *data, bool codecChanged) = 0;

    /// Forgets the picture. GUI thread.
    virtual void clear() = 0;

    /// Whether only the part set by setDigitalZoomRect() is shown. GUI thread.
    virtual void setDigitalZoom(bool digitalZoom) = 0;
    /// Part of the picture that fills the surface while digital zoom is on. GUI thread.
    virtual void setDigitalZoomRect(const QRectF &rect) = 0;
};
