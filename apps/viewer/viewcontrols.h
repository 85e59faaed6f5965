// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class AbstractVideoWidget;
class CameraFiles;

/// What live views and playbacks do in the same way; each returns words that tell it. GUI thread.
namespace viewcontrols {

/// Changes `percent` by `step`, within 0 to 100, and the view's volume with it.
QString changeVolume(AbstractVideoWidget *view, int *percent, int step);

/// Fit, fill, own size, and again.
QString nextScaleMode(AbstractVideoWidget *view);

/// Shows the folder of a camera's files.
QString showFolder(const CameraFiles &files);

} // namespace viewcontrols
