// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "openfolder.h"

#include <QDesktopServices>
#include <QDir>
#include <QTextStream>
#include <QUrl>

#include <cstdio>

namespace {

bool hasDesktop()
{
#ifdef Q_OS_LINUX
    // Without these the opener reports success and does nothing, or starts whatever it finds.
    return !qEnvironmentVariableIsEmpty("XDG_CURRENT_DESKTOP")
            || !qEnvironmentVariableIsEmpty("DESKTOP_SESSION");
#else
    return true;
#endif
}

} // namespace

bool openFolder(const QString &folder)
{
    QDir().mkpath(folder);
    if (hasDesktop() && QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
        return true;
    QTextStream(stdout) << QDir::toNativeSeparators(folder) << '\n' << Qt::flush;
    return false;
}
