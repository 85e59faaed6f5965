// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "uitoolkit/quihelper.h"

#include <QAbstractButton>
#include <QDir>
#include <QIcon>

QString QUIHelper::urlToIp(const QString &url)
{
    const int schemeEnd = url.indexOf(QLatin1String("://"));
    return schemeEnd < 0 ? url : url.mid(schemeEnd + 3);
}

void QUIHelper::checkPath(const QString &path)
{
    if (!path.isEmpty())
        QDir().mkpath(path);
}

void QUIHelper::setSvgIcon(QAbstractButton *button, const QString &path)
{
    if (button)
        button->setIcon(QIcon(path));
}
