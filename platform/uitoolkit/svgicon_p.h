// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>
#include <QString>

class QAbstractButton;

/// An icon that renders the SVG file anew for each size asked for, whichever plug-ins are
/// installed. Other pictures become ordinary icons. Null if the file is missing or no picture.
QIcon svgIcon(const QString &path);

/// Keeps the button's icon size in step with the size of the button from now on.
void fitIconToButton(QAbstractButton *button);
