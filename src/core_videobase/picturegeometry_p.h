// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "videotypes.h"

#include <QRect>
#include <QSize>

#include <optional>

/// Where things stand inside a video widget. Plain arithmetic in widget pixels: no window is
/// needed, any thread may call it, and no size, be it zero, negative or huge, does harm.

/// Where a picture of `size` goes inside `rect`.
///
/// `border` is taken off each dimension of `rect` once, not twice; `scaleMode` then decides about
/// the size, and any value that is not Auto or Aspect fills the space. The result is centred by
/// integer halves of its size. An even left or top is then moved by one pixel, so that both are
/// odd: this is intended. A border larger than `rect` gives a rectangle that is not valid.
QRect getCenterRect(const QSize &size, const QRect &rect, int border, ScaleMode scaleMode);

/// Where the banner stands in a widget of size `widget`: a strip `bannerSize` pixels thick along
/// the inner edge of the border. `bannerPosition`: 0 top, 1 bottom, 2 left, 3 right; nothing for
/// any other value, which leaves the banner where it is.
std::optional<QRect> bannerRect(int bannerPosition, const QSize &widget, int borderWidth,
                                int bannerSize);
