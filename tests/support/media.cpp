// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/media.h"

#include <QDir>

#include <cstdio>

namespace vantratest {

QString mediaDir()
{
    const QString named = qEnvironmentVariable("VANTRA_TEST_MEDIA");
    const QString path = named.isEmpty() ? QStringLiteral(VANTRA_DEFAULT_TEST_MEDIA) : named;
    return QDir(path).exists() ? QDir(path).absolutePath() : QString();
}

int mediaExitCode()
{
    if (!mediaDir().isEmpty())
        return 0;
    if (qEnvironmentVariableIsSet("VANTRA_REQUIRE_MEDIA")) {
        std::fputs("test media are demanded and missing\n", stderr);
        return 1;
    }
    std::fputs("SKIP: no test media; set VANTRA_TEST_MEDIA\n", stderr);
    return 77;
}

} // namespace vantratest
