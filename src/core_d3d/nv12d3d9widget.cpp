// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_d3d/nv12d3d9widget.h"

Nv12D3D9Widget::Nv12D3D9Widget(QWidget *parent) : QWidget(parent) {}

Nv12D3D9Widget::~Nv12D3D9Widget() = default;
