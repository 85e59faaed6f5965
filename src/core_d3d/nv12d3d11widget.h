// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QWidget>

/// Render surface for pictures in the memory of the video card, as Direct3D 11 textures, as a video
/// widget sees it.
class VANTRA_EXPORT Nv12D3D11Widget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Nv12D3D11Widget)

public:
    explicit Nv12D3D11Widget(QWidget *parent = nullptr);
    ~Nv12D3D11Widget() override;

    /// Takes over and shows a picture of `width` by `height` pixels. `data` is the ID3D11Texture2D
    /// array of the decoder and `index` the picture's place in it, lent for the time of the call.
    /// `codecChanged`: the decoder is a new one since the last picture, so what belongs to its
    /// device must be made anew. GUI thread.
    virtual void updateFrame(int width, int height, quint8 *data, qint32 index,
                             bool codecChanged) = 0;

    /// Forgets the picture. GUI thread.
    virtual void clear() = 0;
};
