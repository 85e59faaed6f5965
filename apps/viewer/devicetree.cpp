// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicetree.h"

#include "theme.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>

namespace {

enum Column { NameColumn, StateColumn, Columns };
constexpr int kLinkRole = Qt::UserRole + 1;
constexpr int kDotSize = 8;   ///< pixels
constexpr int kDotRoom = 16;  ///< pixels
constexpr int kDotDetail = 4; ///< pixels of the drawing for each of the screen

QColor colourOf(LinkState state)
{
    switch (state) {
    case LinkState::Connecting:
        return theme::dimText;
    case LinkState::Connected:
        return theme::accent;
    case LinkState::Gone:
        break;
    }
    return theme::warning;
}

QIcon dot(const QColor &colour)
{
    QPixmap pixmap(kDotRoom * kDotDetail, kDotRoom * kDotDetail);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.scale(kDotDetail, kDotDetail);
    painter.drawEllipse(QPointF(kDotRoom / 2.0, kDotRoom / 2.0), kDotSize / 2.0, kDotSize / 2.0);
    return QIcon(pixmap);
}

} // namespace

DeviceTree::DeviceTree(QWidget *parent) : QTreeWidget(parent)
{
    setObjectName(QStringLiteral("devices"));
    setColumnCount(Columns);
    setHeaderHidden(true);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    header()->setSectionResizeMode(StateColumn, QHeaderView::ResizeToContents);
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragOnly);
    setUniformRowHeights(true);
    setIconSize(QSize(kDotRoom, kDotRoom));
    setIndentation(2 * theme::gap);
    setFrameShape(QFrame::NoFrame);
    setTextElideMode(Qt::ElideMiddle);
    connect(this, &QTreeWidget::itemDoubleClicked, this, &DeviceTree::chooseCurrent);
}

void DeviceTree::addDevice(const Device &device)
{
    auto *item = new QTreeWidgetItem(this, {device.name});
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    item->setToolTip(NameColumn, device.name);
    const QIcon icon = theme::icon(QStringLiteral("camera"));
    const QVector<Camera> cameras = device.cameras();
    for (int channel = 0; channel < cameras.size(); ++channel) {
        auto *child = new QTreeWidgetItem(item, {device.channels[channel]});
        child->setIcon(NameColumn, icon);
        child->setData(NameColumn, Qt::UserRole, cameras[channel].key);
        child->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled);
        child->setForeground(StateColumn, theme::dimText);
        child->setToolTip(NameColumn, tr("Drag it onto a view, or press Enter"));
        m_channels.insert(cameras[channel].key, child);
    }
    item->setExpanded(true);
    showLink(topLevelItemCount() - 1, LinkState::Connecting);
    if (!currentItem())
        setCurrentItem(item->child(0));
}

void DeviceTree::showLink(int device, LinkState state)
{
    QTreeWidgetItem *item = topLevelItem(device);
    if (!item || item->data(NameColumn, kLinkRole) == int(state))
        return;
    item->setData(NameColumn, kLinkRole, int(state));
    item->setIcon(NameColumn, dot(colourOf(state)));
    item->setText(StateColumn, linkText(state));
    item->setForeground(StateColumn, state == LinkState::Gone ? theme::warning : theme::dimText);
}

void DeviceTree::showChannel(const QString &key, const QString &text)
{
    if (QTreeWidgetItem *item = m_channels.value(key))
        item->setText(StateColumn, text);
}

QString DeviceTree::linkTextOf(int device) const
{
    const QTreeWidgetItem *item = topLevelItem(device);
    return item ? item->text(StateColumn) : QString();
}

QString DeviceTree::currentKey() const
{
    const QTreeWidgetItem *item = currentItem();
    if (!item || !item->parent())
        item = topLevelItem(0) ? topLevelItem(0)->child(0) : nullptr;
    return item ? item->data(NameColumn, Qt::UserRole).toString() : QString();
}

void DeviceTree::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        chooseCurrent();
    else
        QTreeWidget::keyPressEvent(event);
}

void DeviceTree::chooseCurrent()
{
    const QTreeWidgetItem *item = currentItem();
    const QString key = item ? item->data(NameColumn, Qt::UserRole).toString() : QString();
    if (!key.isEmpty())
        emit chosen(key);
}
