// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_d3d/nv12d3d11widget.h"

Nv12D3D11Widget::Nv12D3D11Widget(QWidget *parent) : QWidget(parent) {}

Nv12D3D11Widget::~Nv12D3D11Widget() = default;
