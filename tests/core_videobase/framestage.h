// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "videowidgetfakes.h"

#include <QVBoxLayout>
#include <QtTest>

namespace videowidgetfakes {

// What the pointers of lent pictures lead to.
inline quint8 planeY = 0;
inline quint8 planeU = 0;
inline quint8 planeV = 0;

/// A widget in a window of its own, with every surface, that shows the thread of this object. The
/// thread emits on the GUI thread, so its frames arrive at once.
class Stage
{
public:
    Stage()
    {
        window.resize(200, 160);
        auto *layout = new QVBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(&widget);
        widget.videoThread = &thread;
        widget.isRunning = true;
        connectThread(thread);
    }
    ~Stage() { widget.setParent(nullptr); }

    void plantSurfaces()
    {
        widget.yuvWidget = yuv = new FakeYuv(widget.hwndWidget);
        widget.nv12Widget = nv12 = new FakeNv12(widget.hwndWidget);
        widget.nv12D3D9Widget = d3d9 = new FakeD3D9(widget.hwndWidget);
        widget.nv12D3D11Widget = d3d11 = new FakeD3D11(widget.hwndWidget);
    }

    void connectThread(FakeThread &from)
    {
        QObject::connect(&from, SIGNAL(receiveImage(QImage, int)), &widget,
                         SLOT(receiveImage(QImage, int)));
        QObject::connect(
            &from,
            SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)),
            &widget,
            SLOT(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)));
        QObject::connect(
            &from, SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)), &widget,
            SLOT(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)));
        QObject::connect(&from, SIGNAL(receiveFrame(int, int, quint8 *, bool)), &widget,
                         SLOT(receiveFrame(int, int, quint8 *, bool)));
        QObject::connect(&from, SIGNAL(receiveFrame(int, int, quint8 *, qint32, bool)), &widget,
                         SLOT(receiveFrame(int, int, quint8 *, qint32, bool)));
    }

    bool show()
    {
        window.show();
        const bool shown = QTest::qWaitForWindowExposed(&window) && settle();
        if (d3d9)
            forgetCalls(); // those of the layout
        return shown;
    }

    void emitFrames(FakeThread &from, int width, int height)
    {
        emit from.receiveFrame(width, height, &planeY, &planeU, &planeV, 64u, 32u, 33u);
        emit from.receiveFrame(width, height, &planeY, &planeU, 65u, 66u);
        emit from.receiveFrame(width, height, &planeY, true);
        emit from.receiveFrame(width, height, &planeY, 7, true);
    }

    QStringList surfaceCalls() const
    {
        return yuv->calls + nv12->calls + d3d9->calls + d3d11->calls;
    }
    void forgetCalls()
    {
        yuv->calls.clear();
        nv12->calls.clear();
        d3d9->calls.clear();
        d3d11->calls.clear();
    }

    FakeThread thread;
    QWidget window;
    FrameWidget widget;
    FakeYuv *yuv = nullptr;
    FakeNv12 *nv12 = nullptr;
    FakeD3D9 *d3d9 = nullptr;
    FakeD3D11 *d3d11 = nullptr;
};

} // namespace videowidgetfakes
