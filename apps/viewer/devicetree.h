// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"

#include <QHash>
#include <QTreeWidget>

/// The list of devices and their channels. A channel carries the key of its Camera as data of
/// Qt::UserRole, by which a video widget knows what is dragged onto it.
class DeviceTree final : public QTreeWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(DeviceTree)

public:
    explicit DeviceTree(QWidget *parent = nullptr);

    void addDevice(const Device &device);
    /// `device`: in the order of addDevice().
    void showLink(int device, LinkState state);
    /// A few words on a channel, such as where it is shown.
    void showChannel(const QString &key, const QString &text);
    /// What is shown of a device, for people.
    QString linkTextOf(int device) const;
    /// Chooses what is current, as a double click does.
    void chooseCurrent();
    /// Of the current channel, else of the first one; empty if there is none.
    QString currentKey() const;

signals:
    /// A person wants to see that camera.
    void chosen(const QString &key);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QHash<QString, QTreeWidgetItem *> m_channels;
};
