// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QFrame>
#include <QList>

class QToolButton;

/// The pages of the window, to choose from.
class PageTabs final : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(PageTabs)

public:
    enum Page { Live, Playback, Downloads };
    static constexpr int kPages = 3;

    explicit PageTabs(QWidget *parent = nullptr);

    void showPage(Page page);
    /// A number beside the name of a page; 0: none.
    void showCount(Page page, int count);

signals:
    void chosen(PageTabs::Page page);

private:
    QList<QToolButton *> m_buttons;
};
