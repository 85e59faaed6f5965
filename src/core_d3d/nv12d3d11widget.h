// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QWidget>

#include <memory>

class D3D11Presenter;
struct HWND__;
typedef HWND__ *HWND; // as Windows declares it, whose headers are not needed here

/// Render surface for pictures in the memory of the video card, as slices of a Direct3D 11 texture
/// array that a D3D11VA decoder has filled. They are shown at once, copied to a device of its own
/// and converted there (ITU-R BT.601, limited range), without a way through the CPU; nothing is
/// painted by Qt. Where there is no Direct3D it stays empty.
///
/// GUI thread only. A texture is lent for the time of the call: the decoder holds it and leaves its
/// immediate context alone until then. Nothing is reported; a picture that cannot be shown is left
/// out, and the next one starts over.
class VANTRA_EXPORT Nv12D3D11Widget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Nv12D3D11Widget)

public:
    explicit Nv12D3D11Widget(QWidget *parent = nullptr);
    ~Nv12D3D11Widget() override;

public slots:
    /// Forgets the picture and lets go of what was made for the window.
    virtual void clear();
    /// Shows a picture of the size that is known. `data` is an ID3D11Texture2D array and `index`
    /// the picture's place in it; null changes nothing. `codecChanged`: the decoder is a new one
    /// since the last picture, so all but the device is made anew.
    void updateTextures(quint8 *data, int index, bool codecChanged);
    /// The same with the size of the picture, in pixels.
    virtual void updateFrame(int width, int height, quint8 *data, int index, bool codecChanged);
    /// Window that Direct3D presents to. Makes the widget a native one.
    HWND getWinId();

private:
    /// Has the picture's fields and all of Direct3D.
    const std::unique_ptr<D3D11Presenter> presenter;
};
