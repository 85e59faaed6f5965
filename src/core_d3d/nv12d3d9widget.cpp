// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_d3d/nv12d3d9widget.h"

#include "core_d3d/direct3d_p.h"
#include "log.h"

namespace {

constexpr char kLogTag[] = "(nvd3d9wgt)";

void logError(const std::string &line)
{
    if (!line.empty())
        VANTRA_LOG(Logger::Error) << line.c_str();
}

IDirect3DSurface9 *toSurface(quint8 *data)
{
    return reinterpret_cast<IDirect3DSurface9 *>(data);
}

} // namespace

Nv12D3D9Widget::Nv12D3D9Widget(QWidget *parent)
    : QWidget(parent), presenter(std::make_unique<D3D9Presenter>())
{
}

Nv12D3D9Widget::~Nv12D3D9Widget() = default;

void Nv12D3D9Widget::clear()
{
    presenter->clear();
}

void Nv12D3D9Widget::updateTextures(quint8 *data, bool codecChanged)
{
    if (kHasDirect3D && data)
        logError(presenter->updateTextures(getWinId(), toSurface(data), codecChanged));
}

void Nv12D3D9Widget::updateFrame(int width, int height, quint8 *data, bool codecChanged)
{
    if (!kHasDirect3D)
        return;
    const HWND window = data ? getWinId() : nullptr; // what shows nothing needs no native window
    logError(presenter->updateFrame(window, width, height, toSurface(data), codecChanged));
}

void Nv12D3D9Widget::setDigitalZoom(bool enable)
{
    presenter->setDigitalZoom(enable);
}

void Nv12D3D9Widget::setDigitalZoomRect(const QRectF &rect)
{
    presenter->setDigitalZoomRect(rect.left(), rect.top(), rect.right(), rect.bottom());
}

HWND Nv12D3D9Widget::getWinId()
{
    return reinterpret_cast<HWND>(winId());
}

void Nv12D3D9Widget::setUpdatesEnabled2(bool enable)
{
    QWidget *parent = parentWidget();
    (parent ? parent : this)->setUpdatesEnabled(enable);
}

void Nv12D3D9Widget::update2()
{
    if (kHasDirect3D && presenter->lastSurface())
        logError(presenter->presentAgain(getWinId()));
}

void Nv12D3D9Widget::paintEvent(QPaintEvent *event)
{
    setUpdatesEnabled2(false);
    QWidget::paintEvent(event);
}

void Nv12D3D9Widget::showEvent(QShowEvent *event)
{
    setUpdatesEnabled2(true);
    QWidget::showEvent(event);
}
