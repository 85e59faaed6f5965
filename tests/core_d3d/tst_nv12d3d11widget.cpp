// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The widget with a presenter that writes down its calls; the presenter itself is tested under
// Wine.

#include "core_d3d/nv12d3d11widget.h"

#include "core_d3d/direct3d_p.h"
#include "support/loggedtest.h"
#include "support/metaobject.h"

#include <QtTest>

using vantratest::methodsOf;

namespace {

quint8 texture = 0;

QStringList takeCalls()
{
    return std::exchange(presenterRecord().calls, {});
}

QStringList calls(const char *text)
{
    return {QString::fromLatin1(text)};
}

} // namespace

class tst_Nv12D3D11Widget : public vantratest::LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override { presenterRecord() = {}; }
    // Nothing that goes wrong is told.
    void tearDown() override { QVERIFY(log->lines().isEmpty()); }

private slots:
    void slots_standInTheirOrder()
    {
        QCOMPARE(methodsOf(Nv12D3D11Widget::staticMetaObject, QMetaMethod::Slot),
                 QStringList({"clear()", "updateTextures(quint8*,int,bool)",
                              "updateFrame(int,int,quint8*,int,bool)", "getWinId()"}));
    }

    void pictures_goToThePresenter_withTheWindow()
    {
        Nv12D3D11Widget widget;
        widget.updateFrame(640, 360, &texture, 3, true);
        QCOMPARE(takeCalls(), calls("updateFrame 640x360 [3] 1"));
        QCOMPARE(presenterRecord().data, static_cast<void *>(&texture));
        QVERIFY(presenterRecord().window);
        QCOMPARE(presenterRecord().window, widget.getWinId());
        widget.updateTextures(&texture, 4, false);
        QCOMPARE(takeCalls(), calls("updateTextures [4] 0"));
    }

    void clear_reachesThePresenter_andRepaints()
    {
        Nv12D3D11Widget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QCoreApplication::processEvents();
        class Counter : public QObject
        {
        public:
            int paints = 0;
            bool eventFilter(QObject *, QEvent *event) override
            {
                paints += event->type() == QEvent::Paint;
                return false;
            }
        } counter;
        widget.installEventFilter(&counter);
        takeCalls();
        widget.clear();
        QCOMPARE(takeCalls(), calls("clear"));
        QTRY_COMPARE(counter.paints, 1);
    }

    void winId_makesTheWidgetNative()
    {
        QWidget parent;
        Nv12D3D11Widget widget(&parent);
        QVERIFY(!widget.internalWinId());
        QVERIFY(widget.getWinId());
        QCOMPARE(reinterpret_cast<quintptr>(widget.getWinId()), quintptr(widget.internalWinId()));
    }

    // Only what is presented needs a window of its own.
    void whatShowsNothing_makesNoNativeWindow()
    {
        QWidget parent;
        Nv12D3D11Widget widget(&parent);
        widget.updateFrame(640, 360, nullptr, 0, true);
        widget.updateTextures(nullptr, 0, true);
        widget.clear();
        QVERIFY(!widget.internalWinId());
        widget.updateTextures(&texture, 0, true);
        QVERIFY(widget.internalWinId());
    }
};

QTEST_MAIN(tst_Nv12D3D11Widget)
#include "tst_nv12d3d11widget.moc"
