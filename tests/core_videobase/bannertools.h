// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/bannerwidget.h"
#include "uitoolkit/quihelper.h"

#include <QPushButton>

/// Banners as their tests make them and look at them.
namespace vantratest {

inline const QString kMicIcon = QStringLiteral(":/primary/mic.svg");
inline const QString kMicClosedIcon = QStringLiteral(":/primary/mic-close.svg");
inline const QString kSoundIcon = QStringLiteral(":/primary/volume.svg");
inline const QString kMutedIcon = QStringLiteral(":/primary/close_volume.svg");

inline BannerPara paraWith(const QStringList &names, int position = 0)
{
    BannerPara para;
    para.names = names;
    for (int i = 0; i < names.size(); ++i) {
        para.icons << QStringLiteral(":/primary/snap.svg");
        para.tips << QStringLiteral("tip of %1").arg(names.at(i));
    }
    para.position = position;
    return para;
}

inline void rebuild(BannerWidget &banner, const BannerPara &para)
{
    banner.setBannerPara(para);
    banner.initButton();
}

inline QStringList buttonNames(const BannerWidget &banner)
{
    QStringList names;
    for (const QPushButton *button : banner.findChildren<QPushButton *>())
        names << button->objectName();
    return names;
}

inline QPushButton *buttonAt(const BannerWidget &banner, int index)
{
    return banner.findChildren<QPushButton *>().value(index);
}

inline QImage iconOf(const QAbstractButton *button)
{
    return button->icon().pixmap(16, 16).toImage();
}

/// What a button shows that was given this picture and nothing else.
inline QImage iconFrom(const QString &path)
{
    QPushButton button;
    QUIHelper::setSvgIcon(&button, path);
    return iconOf(&button);
}

} // namespace vantratest
