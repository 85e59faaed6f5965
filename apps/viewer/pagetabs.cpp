// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "pagetabs.h"

#include "theme.h"

#include <QHBoxLayout>
#include <QToolButton>

namespace {

QString nameOf(PageTabs::Page page)
{
    switch (page) {
    case PageTabs::Live:
        return PageTabs::tr("Live");
    case PageTabs::Playback:
        return PageTabs::tr("Playback");
    case PageTabs::Downloads:
        break;
    }
    return PageTabs::tr("Downloads");
}

} // namespace

PageTabs::PageTabs(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("tabs"));
    setFixedHeight(theme::barHeight);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(theme::gap, theme::gap, theme::gap, 0);
    layout->setSpacing(theme::gap / 2);
    const QString tips[kPages] = {tr("Live pictures (F2)"), tr("Watch recordings (F3)"),
                                  tr("Copy recordings into files (F4)")};
    for (int i = 0; i < kPages; ++i) {
        auto *button = new QToolButton;
        button->setText(nameOf(Page(i)));
        button->setToolTip(tips[i]);
        button->setAccessibleName(tips[i]);
        button->setCheckable(true);
        button->setAutoExclusive(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        // The count comes and goes; the list below keeps its width.
        if (i == Downloads)
            button->setMinimumWidth(
                fontMetrics().horizontalAdvance(nameOf(Downloads) + QStringLiteral(" 00")) +
                theme::gap);
        connect(button, &QToolButton::clicked, this, [this, i] { emit chosen(Page(i)); });
        layout->addWidget(button);
        m_buttons.append(button);
    }
    showPage(Live);
}

void PageTabs::showPage(Page page)
{
    m_buttons[page]->setChecked(true);
}

void PageTabs::showCount(Page page, int count)
{
    m_buttons[page]->setText(count > 0 ? QStringLiteral("%1 %2").arg(nameOf(page)).arg(count)
                                       : nameOf(page));
}
