// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"
#include "videotypes.h"

#include <QImage>
#include <QSize>

class AbstractVideoWidget;
class QLabel;

/// Small helpers around video widgets for demonstrations in a host. GUI thread only.

/// Steps a widget through a fixed series of texts and pictures, then clears them and starts over.
/// `step` counts and is kept by the caller; start with 0.
VANTRA_EXPORT void demoOsd(AbstractVideoWidget *widget, int &step);
/// The same with graphs.
VANTRA_EXPORT void demoGraph(AbstractVideoWidget *widget, int &step);

/// Shows a snapshot, no larger than 1280 by 720 pixels, in `label`, or in a new window if that is
/// null; returns the label, which the caller owns.
VANTRA_EXPORT QLabel *showSnapPreview(QLabel *label, const QImage &image);

/// Scales an image in place to `size`: Auto only shrinks, Aspect fits, anything else ignores the
/// aspect ratio. `fast` leaves out the smoothing.
VANTRA_EXPORT void scaleImage(QImage &image, const QSize &size, ScaleMode scaleMode, bool fast);
