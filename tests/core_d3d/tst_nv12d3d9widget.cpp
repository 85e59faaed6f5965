// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The widget with a presenter that writes down its calls; the presenter itself is tested under
// Wine.

#include "core_d3d/nv12d3d9widget.h"

#include "core_d3d/direct3d_p.h"
#include "support/loggedtest.h"
#include "support/metaobject.h"

#include <QtTest>

using vantratest::methodsOf;

namespace {

quint8 surface = 0;

QStringList takeCalls()
{
    return std::exchange(presenterRecord().calls, {});
}

QStringList calls(const char *text)
{
    return {QString::fromLatin1(text)};
}

} // namespace

class tst_Nv12D3D9Widget : public vantratest::LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override { presenterRecord() = {}; }

private slots:
    void slots_standInTheirOrder()
    {
        QCOMPARE(methodsOf(Nv12D3D9Widget::staticMetaObject, QMetaMethod::Slot),
                 QStringList({"clear()", "updateTextures(quint8*,bool)",
                              "updateFrame(int,int,quint8*,bool)", "setDigitalZoom(bool)",
                              "setDigitalZoomRect(QRectF)", "getWinId()",
                              "setUpdatesEnabled2(bool)", "update2()"}));
    }

    void pictures_goToThePresenter_withTheWindow()
    {
        Nv12D3D9Widget widget;
        widget.updateFrame(640, 360, &surface, true);
        QCOMPARE(takeCalls(), calls("updateFrame 640x360 1"));
        QCOMPARE(presenterRecord().data, static_cast<void *>(&surface));
        QVERIFY(presenterRecord().window);
        QCOMPARE(presenterRecord().window, widget.getWinId());
        widget.updateTextures(&surface, false);
        QCOMPARE(takeCalls(), calls("updateTextures 0"));
        widget.update2();
        QCOMPARE(takeCalls(), calls("presentAgain"));
        QVERIFY(log->lines().isEmpty());
    }

    void aFailure_isLogged_withTheTag()
    {
        Nv12D3D9Widget widget;
        presenterRecord().answer = "d3d9 get device err-5";
        const QString line = QStringLiteral("(nvd3d9wgt)d3d9 get device err-5");
        log->expect(Logger::Error, line);
        widget.updateFrame(640, 360, &surface, false);
        QCOMPARE(log->count(Logger::Error, line), 1);
        widget.updateTextures(&surface, false);
        QCOMPARE(log->count(Logger::Error, line), 2);
        widget.update2();
        QCOMPARE(log->count(Logger::Error, line), 3);
        QCOMPARE(log->lines().constFirst().file, QStringLiteral("core_d3d/nv12d3d9widget.cpp"));
    }

    void clear_reachesThePresenter_withoutARepaint()
    {
        Nv12D3D9Widget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QTRY_VERIFY(!widget.updatesEnabled()); // by its first paint
        class Counter : public QObject
        {
        public:
            int paints = 0;
            bool eventFilter(QObject *, QEvent *event) override
            {
                paints += event->type() == QEvent::Paint || event->type() == QEvent::UpdateRequest;
                return false;
            }
        } counter;
        QCoreApplication::processEvents();
        widget.setAttribute(Qt::WA_UpdatesDisabled, false); // a repaint is possible, none is due
        widget.installEventFilter(&counter);
        takeCalls();
        widget.clear();
        QCoreApplication::processEvents();
        QCOMPARE(takeCalls(), calls("clear"));
        QCOMPARE(counter.paints, 0);
        widget.update();
        QTRY_VERIFY(counter.paints > 0);
    }

    void zoom_reachesThePresenter_asEdges()
    {
        Nv12D3D9Widget widget;
        widget.setDigitalZoomRect(QRectF(QPointF(11, 21), QPointF(101, 201)));
        QCOMPARE(takeCalls(), calls("zoomRect 11 21 101 201"));
        widget.setDigitalZoom(true);
        widget.setDigitalZoom(false);
        QCOMPARE(takeCalls(), QStringList({"zoom 1", "zoom 0"}));
    }

    void winId_makesTheWidgetNative()
    {
        QWidget parent;
        Nv12D3D9Widget widget(&parent);
        QVERIFY(!widget.internalWinId());
        QVERIFY(widget.getWinId());
        QCOMPARE(reinterpret_cast<quintptr>(widget.getWinId()), quintptr(widget.internalWinId()));
    }

    // Only what is presented needs a window of its own.
    void whatShowsNothing_makesNoNativeWindow()
    {
        QWidget parent;
        Nv12D3D9Widget widget(&parent);
        widget.updateFrame(640, 360, nullptr, true);
        widget.updateTextures(nullptr, false);
        widget.setDigitalZoom(true);
        widget.setUpdatesEnabled2(false);
        widget.update2();
        widget.clear();
        QVERIFY(!widget.internalWinId());
        widget.updateTextures(&surface, false);
        QVERIFY(widget.internalWinId());
    }

    void updates_areThoseOfTheParent()
    {
        QWidget parent;
        Nv12D3D9Widget child(&parent);
        child.setUpdatesEnabled2(false);
        QVERIFY(!parent.updatesEnabled());
        child.setUpdatesEnabled2(true);
        QVERIFY(parent.updatesEnabled() && child.updatesEnabled());

        Nv12D3D9Widget alone;
        alone.setUpdatesEnabled2(false);
        QVERIFY(!alone.updatesEnabled());
        alone.setUpdatesEnabled2(true);
        QVERIFY(alone.updatesEnabled());
    }

    void aPaint_switchesUpdatesOff_untilTheNextShow()
    {
        QWidget window;
        QWidget parent(&window);
        Nv12D3D9Widget child(&parent);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_VERIFY(!parent.updatesEnabled()); // by its first paint
        child.hide();
        QVERIFY(!parent.updatesEnabled());
        child.show();
        QVERIFY(parent.updatesEnabled());
    }
};

QTEST_MAIN(tst_Nv12D3D9Widget)
#include "tst_nv12d3d9widget.moc"
