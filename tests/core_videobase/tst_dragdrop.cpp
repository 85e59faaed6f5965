// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What a video widget takes from a drag. A drop knows its source only while a drag of this process
// is under way, so those drops are sent from within a real one.

#include "support/loggedtest.h"
#include "videowidgetfakes.h"

#include <QDrag>
#include <QListWidget>
#include <QMimeData>
#include <QSignalSpy>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>
#include <QtTest>

using namespace videowidgetfakes;

namespace {

const QString kItemFormat = QStringLiteral("application/x-qabstractitemmodeldatalist");

std::unique_ptr<QMimeData> mimeOf(const QString &format)
{
    auto mime = std::make_unique<QMimeData>();
    mime->setData(format, QByteArray("x"));
    return mime;
}

// The widget's answer to a drag that offers every action.
struct Answer
{
    bool accepted;
    Qt::DropAction action;
};

Answer enter(FrameWidget &widget, const QMimeData *mime)
{
    QDragEnterEvent event(QPoint(5, 5), Qt::CopyAction | Qt::MoveAction | Qt::LinkAction, mime,
                          Qt::LeftButton, Qt::NoModifier);
    event.setDropAction(Qt::MoveAction);
    event.ignore();
    widget.dragEnterEvent(&event);
    return {event.isAccepted(), event.dropAction()};
}

void drop(FrameWidget &widget, const QMimeData *mime)
{
    QDropEvent event(QPointF(5, 5), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    widget.dropEvent(&event);
}

// Drops on the widget while a drag from `source` is under way; false if the drag never ran.
bool dropFrom(QWidget *source, FrameWidget &widget, const QString &format)
{
    bool dropped = false;
    auto *drag = new QDrag(source);
    drag->setMimeData(mimeOf(format).release());
    QTimer::singleShot(0, drag, [&] {
        const auto mime = mimeOf(format);
        drop(widget, mime.get());
        dropped = true;
        QDrag::cancel();
    });
    drag->exec(Qt::CopyAction | Qt::LinkAction);
    return dropped;
}

} // namespace

class tst_DragDrop : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void dragOfItems_isTakenAsACopy()
    {
        FrameWidget widget;
        const auto mime = mimeOf(kItemFormat);
        const Answer answer = enter(widget, mime.get());
        QVERIFY(answer.accepted);
        QCOMPARE(answer.action, Qt::CopyAction);
    }

    void dragOfUrls_isTakenAsALink()
    {
        FrameWidget widget;
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(QStringLiteral("/a.mp4"))});
        const Answer answer = enter(widget, &mime);
        QVERIFY(answer.accepted);
        QCOMPARE(answer.action, Qt::LinkAction);
        mime.setData(kItemFormat, QByteArray("x")); // both: items come first
        QCOMPARE(enter(widget, &mime).action, Qt::CopyAction);
    }

    void dragOfAnythingElse_isIgnored()
    {
        FrameWidget widget;
        const auto mime = mimeOf(QStringLiteral("text/plain"));
        QDragEnterEvent event(QPoint(5, 5), Qt::CopyAction, mime.get(), Qt::LeftButton,
                              Qt::NoModifier);
        event.accept();
        widget.dragEnterEvent(&event);
        QVERIFY(!event.isAccepted());
        QVERIFY(!enter(widget, nullptr).accepted);
    }

    void drop_isReceived_onceTheHostHasAskedForIt()
    {
        FrameWidget widget;
        QVERIFY(!widget.acceptDrops());
        widget.setAcceptDrops(true);
        QSignalSpy drops(&widget, &AbstractVideoWidget::sig_fileDrag);
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(QStringLiteral("/a.mp4"))});
        QDragEnterEvent enterEvent(QPoint(5, 5), Qt::LinkAction, &mime, Qt::LeftButton,
                                   Qt::NoModifier);
        QApplication::sendEvent(&widget, &enterEvent);
        QVERIFY(enterEvent.isAccepted());
        QDropEvent dropEvent(QPointF(5, 5), Qt::LinkAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&widget, &dropEvent);
        QCOMPARE(drops.count(), 1);
    }

    void dropOfUrls_givesTheFirstLocalFile()
    {
        FrameWidget widget;
        QSignalSpy drops(&widget, &AbstractVideoWidget::sig_fileDrag);
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(QStringLiteral("/录像/a b.mp4")),
                      QUrl::fromLocalFile(QStringLiteral("/b.mp4"))});
        drop(widget, &mime);
        QCOMPARE(drops.count(), 1);
        QCOMPARE(drops.first().first().toString(), QStringLiteral("/录像/a b.mp4"));
    }

    void dropOfUrlsThatAreNoFiles_givesNothing()
    {
        FrameWidget widget;
        QSignalSpy drops(&widget, &AbstractVideoWidget::sig_fileDrag);
        QMimeData remote;
        remote.setUrls({QUrl(QStringLiteral("rtsp://host/stream"))});
        drop(widget, &remote);
        QMimeData empty;
        empty.setData(QStringLiteral("text/uri-list"), QByteArray());
        drop(widget, &empty);
        QMimeData garbage;
        garbage.setData(QStringLiteral("text/uri-list"), QByteArray("\r\n\0%%%\r\n", 9));
        drop(widget, &garbage);
        QCOMPARE(drops.count(), 0);
    }

    void dropOfAnUnknownFormat_givesNothing()
    {
        FrameWidget widget;
        QSignalSpy drops(&widget, &AbstractVideoWidget::sig_fileDrag);
        const auto text = mimeOf(QStringLiteral("text/plain"));
        drop(widget, text.get());
        const auto items = mimeOf(kItemFormat);
        drop(widget, items.get()); // from another process: no source
        drop(widget, nullptr);
        QCOMPARE(drops.count(), 0);
    }

    void dropOfATreeItem_givesItsAddress_unlessItIsAtTheTop()
    {
        QTreeWidget tree;
        auto *device = new QTreeWidgetItem(&tree, {QStringLiteral("device")});
        auto *camera = new QTreeWidgetItem(device, {QStringLiteral("camera")});
        auto *blank = new QTreeWidgetItem(device, {QStringLiteral("no address")});
        device->setData(0, Qt::UserRole, QStringLiteral("rtsp://device"));
        camera->setData(0, Qt::UserRole, QStringLiteral("rtsp://camera"));
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        FrameWidget widget;
        QSignalSpy drops(&widget, &AbstractVideoWidget::sig_fileDrag);

        tree.setCurrentItem(device);
        QVERIFY(dropFrom(&tree, widget, kItemFormat));
        tree.setCurrentItem(blank);
        QVERIFY(dropFrom(&tree, widget, kItemFormat));
        tree.setCurrentItem(nullptr);
        QVERIFY(dropFrom(&tree, widget, kItemFormat));
        QCOMPARE(drops.count(), 0);
        tree.setCurrentItem(camera);
        QVERIFY(dropFrom(&tree, widget, QStringLiteral("text/plain")));
        QCOMPARE(drops.count(), 0);
        QVERIFY(dropFrom(&tree, widget, kItemFormat));
        QCOMPARE(drops.count(), 1);
        QCOMPARE(drops.first().first().toString(), QStringLiteral("rtsp://camera"));
    }

    void dropFromAnythingButATree_givesNothing()
    {
        QListWidget list;
        list.addItem(QStringLiteral("camera"));
        list.item(0)->setData(Qt::UserRole, QStringLiteral("rtsp://camera"));
        list.setCurrentRow(0);
        list.show();
        QVERIFY(QTest::qWaitForWindowExposed(&list));
        FrameWidget widget;
        QSignalSpy drops(&widget, &AbstractVideoWidget::sig_fileDrag);
        QVERIFY(dropFrom(&list, widget, kItemFormat));
        QCOMPARE(drops.count(), 0);
    }
};

QTEST_MAIN(tst_DragDrop)
#include "tst_dragdrop.moc"
