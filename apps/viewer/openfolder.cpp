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
    return !qEnvironmentVariableIsEmpty("XDG_CURRENT_DESKTOP") ||
           !qEnvironmentVariableIsEmpty("DESKTOP_SESSION");
#else
    return true;
#endif
}

bool open(const QString &path)
{
    if (hasDesktop() && QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        return true;
    QTextStream(stdout) << QDir::toNativeSeparators(path) << '\n' << Qt::flush;
    return false;
}

} // namespace

bool openFolder(const QString &folder)
{
    QDir().mkpath(folder);
    return open(folder);
}

bool openFile(const QString &file)
{
    return open(file);
}
