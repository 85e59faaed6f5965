// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/nv12widget.h"

Nv12Widget::Nv12Widget(QWidget *parent) : QWidget(parent) {}

Nv12Widget::~Nv12Widget() = default;
