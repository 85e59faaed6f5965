// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QRectF>
#include <QWidget>

#include <memory>

class D3D9Presenter;
struct HWND__;
typedef HWND__ *HWND; // as Windows declares it, whose headers are not needed here

/// Render surface for pictures in the memory of the video card, as Direct3D 9 surfaces that a DXVA2
/// decoder has filled. They are shown at once, on the decoder's own device, without a way through
/// the CPU; nothing is painted by Qt. Where there is no Direct3D it stays empty.
///
/// GUI thread only. A surface is lent for the time of the call: the decoder holds it and leaves its
/// device alone until then. Only update2() uses the last one again, so clear() comes before the
/// decoder frees its surfaces.
///
/// Calls of Direct3D that fail are told by the log, level error, tag "(nvd3d9wgt)"; the picture is
/// then not shown, and the next one starts over.
class VANTRA_EXPORT Nv12D3D9Widget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Nv12D3D9Widget)

public:
    explicit Nv12D3D9Widget(QWidget *parent = nullptr);
    ~Nv12D3D9Widget() override;

public slots:
    /// Forgets the picture and lets go of what was made for its size. What is on screen stays.
    virtual void clear();
    /// Shows a picture of the size that is known. `data` is an IDirect3DSurface9; null changes
    /// nothing. `codecChanged`: the decoder is a new one since the last picture, so what belongs to
    /// its device is made anew.
    void updateTextures(quint8 *data, bool codecChanged);
    /// The same with the size of the picture, in pixels. An odd last column or row is not shown.
    virtual void updateFrame(int width, int height, quint8 *data, bool codecChanged);
    /// Whether only the part set by setDigitalZoomRect() is shown, from the next picture on.
    virtual void setDigitalZoom(bool enable);
    /// Part of the picture that fills the surface while digital zoom is on, in pixels of the
    /// picture. Its edges are rounded down to even ones.
    virtual void setDigitalZoomRect(const QRectF &rect);
    /// Window that Direct3D presents to. Makes the widget a native one.
    HWND getWinId();
    /// Switches updates of the parent, or without one of the widget itself. They are off from each
    /// paint to the next show, so that Qt does not paint over what Direct3D presents.
    void setUpdatesEnabled2(bool enable);
    /// Shows the last surface again. The decoder may have put another picture into it meanwhile.
    void update2();

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    const std::unique_ptr<D3D9Presenter> presenter; ///< has the picture's fields and the swap chain
};
