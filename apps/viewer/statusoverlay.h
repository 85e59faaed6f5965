// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>
#include <QString>
#include <QWidget>

/// Lies over a view that shows no live picture and tells why in words. It lets the mouse through.
class StatusOverlay final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(StatusOverlay)

public:
    struct Message
    {
        QString icon; ///< name for theme::icon()
        QString title;
        QString detail;    ///< may have several lines; wrapped to the width
        QString name;      ///< of the camera, in the corner
        bool veil = false; ///< lets the old picture shine through darkly

        bool operator==(const Message &other) const
        {
            return icon == other.icon && title == other.title && detail == other.detail &&
                   name == other.name && veil == other.veil;
        }
    };

    explicit StatusOverlay(QWidget *parent = nullptr);

    void showMessage(const Message &message);
    QString title() const { return m_message.title; }
    QString detail() const { return m_message.detail; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Message m_message;
    QIcon m_icon;
};
