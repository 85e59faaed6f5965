// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The surfaces on a system without OpenGL.
#include "core_opengl/nv12widget.h"
#include "core_opengl/yuvwidget.h"
#include "support/loggedtest.h"
#include "support/rawpicture.h"
#include "support/waitfor.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestNoOpengl : public LoggedTest
{
    Q_OBJECT

private:
    static void send(YuvWidget *to, RawPicture *picture)
    {
        to->updateFrame(picture->width, picture->height, picture->y.data(), picture->u.data(),
                        picture->v.data(), quint32(picture->y.linesize),
                        quint32(picture->u.linesize), quint32(picture->v.linesize));
    }
    static void send(Nv12Widget *to, RawPicture *picture)
    {
        to->updateFrame(picture->width, picture->height, picture->y.data(), picture->uv.data(),
                        quint32(picture->y.linesize), quint32(picture->uv.linesize));
    }

    template<typename Surface>
    void bearsEverything(const QString &tag)
    {
        RawPicture picture({32, 24}, {100, 110, 120});
        QTemporaryDir folder;
        QFile file(folder.filePath("raw"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(picture.planar() + picture.planar());
        file.close();

        QWidget window;
        auto *surface = new Surface(&window);
        QVERIFY(!surface->isValid());
        surface->clear();
        QVERIFY(log->lines().isEmpty());
        log->expect(Logger::Warning, tag + "no OpenGL, pictures are not shown");
        send(surface, &picture);
        window.show();
        QCoreApplication::processEvents();
        send(surface, &picture);
        surface->resize(100, 80);
        QVERIFY(!window.grab().isNull());
        QSignalSpy ended(surface, SIGNAL(playFinsh()));
        surface->play(file.fileName(), 1000);
        QVERIFY(waitFor([&] { return ended.count() == 1; }));
        surface->stop();
        QCOMPARE(ended.count(), 2);
        QCOMPARE(log->lines().size(), 1); // once for each surface
    }

private slots:
    void yuvWidget_bearsEverything_andSaysSoOnce() { bearsEverything<YuvWidget>("(yuvwgt)"); }
    void nv12Widget_bearsEverything_andSaysSoOnce() { bearsEverything<Nv12Widget>("(nv12wgt)"); }
};

QTEST_MAIN(TestNoOpengl)
#include "tst_noopengl.moc"
