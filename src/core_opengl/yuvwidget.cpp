// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/yuvwidget.h"

YuvWidget::YuvWidget(QWidget *parent) : QWidget(parent) {}

YuvWidget::~YuvWidget() = default;
