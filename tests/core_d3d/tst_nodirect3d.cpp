// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The Direct3D surfaces as they are where there is no Direct3D: they take all calls and show
// nothing.

#include "core_d3d/nv12d3d11widget.h"
#include "core_d3d/nv12d3d9widget.h"
#include "support/loggedtest.h"

#include <QtTest>

namespace {

quint8 *const kNoPicture = reinterpret_cast<quint8 *>(1); // nobody may read it

} // namespace

class tst_NoDirect3D : public vantratest::LoggedTest
{
    Q_OBJECT

protected:
    void tearDown() override { QVERIFY(log->lines().isEmpty()); }

private slots:
    void pictures_areIgnored_andMakeNoNativeWindow()
    {
        QWidget window;
        Nv12D3D9Widget d3d9(&window);
        Nv12D3D11Widget d3d11(&window);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        for (const bool codecChanged : {false, true}) {
            d3d9.updateFrame(64, 48, kNoPicture, codecChanged);
            d3d9.updateTextures(kNoPicture, codecChanged);
            d3d9.updateTextures(nullptr, codecChanged);
            d3d11.updateFrame(64, 48, kNoPicture, 0, codecChanged);
            d3d11.updateTextures(kNoPicture, -1, codecChanged);
            d3d11.updateTextures(nullptr, 0, codecChanged);
        }
        d3d9.update2();
        d3d9.setDigitalZoomRect(QRectF(1, 2, 3, 4));
        d3d9.setDigitalZoom(true);
        d3d9.clear();
        d3d9.update2();
        d3d11.clear();
        QVERIFY(!d3d9.internalWinId() && !d3d11.internalWinId());
    }
};

QTEST_MAIN(tst_NoDirect3D)
#include "tst_nodirect3d.moc"
