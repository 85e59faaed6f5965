// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "buttonbar.h"

#include "theme.h"

#include <QHBoxLayout>
#include <QToolButton>
#include <QVariant>

ButtonBar::ButtonBar(QWidget *parent) : QFrame(parent), m_row(new QHBoxLayout(this))
{
    setObjectName(QStringLiteral("bar"));
    setFixedHeight(theme::barHeight);
    m_row->setContentsMargins(theme::gap, 0, 2 * theme::gap, 0);
    m_row->setSpacing(theme::gap / 2);
}

QToolButton *ButtonBar::makeButton(const QString &icon, const QString &tip)
{
    auto *button = new QToolButton;
    button->setIconSize(QSize(theme::iconSize, theme::iconSize));
    button->setFocusPolicy(Qt::NoFocus);
    setLook(button, icon, tip);
    return button;
}

QToolButton *ButtonBar::addButton(const QString &icon, const QString &tip)
{
    auto *button = makeButton(icon, tip);
    m_row->addWidget(button);
    return button;
}

void ButtonBar::addSeparator()
{
    auto *line = new QFrame;
    line->setObjectName(QStringLiteral("separator"));
    line->setFixedSize(1, theme::barHeight / 2);
    m_row->addSpacing(theme::gap / 2);
    m_row->addWidget(line);
    m_row->addSpacing(theme::gap / 2);
}

void ButtonBar::setLook(QToolButton *button, const QString &icon, const QString &tip)
{
    if (button->property("icon name") != icon) {
        button->setProperty("icon name", icon);
        button->setIcon(theme::icon(icon));
    }
    if (button->toolTip() != tip) {
        button->setToolTip(tip);
        button->setAccessibleName(tip);
    }
}
