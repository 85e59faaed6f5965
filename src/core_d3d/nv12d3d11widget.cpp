// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_d3d/nv12d3d11widget.h"

#include "core_d3d/direct3d_p.h"

namespace {

ID3D11Texture2D *toTexture(quint8 *data)
{
    return reinterpret_cast<ID3D11Texture2D *>(data);
}

} // namespace

Nv12D3D11Widget::Nv12D3D11Widget(QWidget *parent)
    : QWidget(parent), presenter(std::make_unique<D3D11Presenter>())
{
}

Nv12D3D11Widget::~Nv12D3D11Widget() = default;

void Nv12D3D11Widget::clear()
{
    presenter->clear();
    update();
}

void Nv12D3D11Widget::updateTextures(quint8 *data, int index, bool codecChanged)
{
    if (kHasDirect3D && data)
        presenter->updateTextures(getWinId(), toTexture(data), index, codecChanged);
}

void Nv12D3D11Widget::updateFrame(int width, int height, quint8 *data, int index, bool codecChanged)
{
    if (kHasDirect3D && data)
        presenter->updateFrame(getWinId(), width, height, toTexture(data), index, codecChanged);
}

HWND Nv12D3D11Widget::getWinId()
{
    return reinterpret_cast<HWND>(winId());
}
