// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QFrame>

class QHBoxLayout;
class QToolButton;

/// A thin bar of buttons with drawn icons, and what else stands in its row.
class ButtonBar : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(ButtonBar)

public:
    explicit ButtonBar(QWidget *parent = nullptr);

    /// Gives a button icon (as theme::icon()), tool tip and the same words for screen readers.
    static void setLook(QToolButton *button, const QString &icon, const QString &tip);
    /// A button that looks as in a bar, and leaves the focus where it is.
    static QToolButton *makeButton(const QString &icon, const QString &tip);

protected:
    QToolButton *addButton(const QString &icon, const QString &tip = QString());
    void addSeparator();
    QHBoxLayout *row() const { return m_row; }

private:
    QHBoxLayout *m_row;
};
