// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#if defined(VANTRA_UITOOLKIT_LIBRARY)
#define VANTRA_UITOOLKIT_EXPORT Q_DECL_EXPORT
#else
#define VANTRA_UITOOLKIT_EXPORT Q_DECL_IMPORT
#endif

class QAbstractButton;

/// Small helpers of user interfaces.
class VANTRA_UITOOLKIT_EXPORT QUIHelper
{
public:
    QUIHelper() = delete;

    /// Host part of an address as it stands there, an IPv6 address without its brackets:
    /// "192.168.1.2" for "rtsp://user:p@ss@192.168.1.2:554/live", for "192.168.1.2:554/live" and
    /// for "192.168.1.2". Empty if there is none. Any thread.
    static QString urlToIp(const QString &url);

    /// Makes the folder `path`, with those above it, if it is missing. Nothing for an empty path. A
    /// relative one lies in the working folder. Any thread.
    static void checkPath(const QString &path);

    /// Makes the button show a picture, usually an SVG resource such as ":/primary/mic.svg", drawn
    /// sharp at any size and pixel ratio. The icon follows the size of the button, and fits into
    /// one that is 20 pixels wide. A missing file, or one that is no picture, leaves the button
    /// without an icon. Calling it again replaces the picture. GUI thread.
    static void setSvgIcon(QAbstractButton *button, const QString &path);
};
