// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logger.h"

#include <QRegularExpression>

QString maskUrlCredentials(const QString &text)
{
    return text;
}
