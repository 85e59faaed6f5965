// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A wall of cameras: all in one window, each with a clock; R begins or ends to record all of them.
//   vantra-grid [--out DIR] [--record] [--seconds N] MAIN[,SUB]...
#include "core_live/livevideowidget.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QtMath>
#include <QtWidgets>

class CameraView final : public LiveVideoWidget
{
public:
    CameraView(const QSharedPointer<HNetDevice> &device, int channel, const QString &folder)
        : LiveVideoWidget(device->getStreamProtocol()), folder(folder)
    {
        WidgetPara look = getWidgetPara();
        look.videoMode = VideoMode_Painter;
        look.scaleMode = ScaleMode_Aspect;
        look.textColor = Qt::lightGray;
        look.bgText = QString("camera %1").arg(channel + 1); // until there is a picture
        look.muted = true;
        setWidgetPara(look);
        VideoPara patience = getVideoPara();
        patience.connectTimeout = patience.readTimeout = 3000; // ms, then it is opened again
        setVideoPara(patience);
        if (init(device, channel, -1) && start())
            playStart(device->getStreamCountPerChannel() - 1); // the smallest picture there is
        connect(this, &CameraView::sig_receivePlayStart, this, [this] {
            OsdInfo clock{"clock", true, 16, "", Qt::white};
            clock.format = OsdFormat_DateTime;
            clock.position = OsdPosition_RightTop;
            setOsd(clock); // with each begin, since a stop forgets overlays
        });
    }
    ~CameraView() override
    {
        recordStop(); // it would go on without a viewer
        playStop(true);
        stop(false);
    }

    void toggleRecording() // of the main stream, whichever is shown
    {
        recording = !recording;
        recording ? recordStart(folder) : recordStop();
    }

private:
    const QString folder;
    bool recording = false;
};

int main(int argc, char *argv[])
{
    const QStringList arguments = takeArguments(argc, argv); // no process list shows a password
    QApplication application(argc, argv);
    QCommandLineParser line;
    line.addOptions({{"out", "", "DIR", "."}, {"record", ""}, {"seconds", "", "N", "0"}});
    bool isUsable = line.parse(arguments) && !line.positionalArguments().isEmpty();
    QVector<RtspCamera> cameras;
    for (const QString &text : line.positionalArguments())
        cameras.append(RtspCamera::fromText(text).value_or(RtspCamera()));
    for (const RtspCamera &camera : qAsConst(cameras))
        isUsable &= !camera.main.isEmpty();
    if (!isUsable || !Vantra::init()) {
        qCritical("usage: vantra-grid [--out DIR] [--record] [--seconds N] rtsp://MAIN[,SUB]...");
        return 2;
    }
    auto backend = std::make_unique<RtspCameraBackend>(cameras);
    const auto device = QSharedPointer<HNetDevice>::create(std::move(backend));
    QWidget wall;
    QGridLayout grid(&wall);
    const int columns = qCeil(qSqrt(cameras.size()));
    QVector<CameraView *> views;
    for (int i = 0; i < cameras.size(); ++i) {
        const QString folder = QString("%1/camera%2").arg(line.value("out")).arg(i + 1);
        views.append(new CameraView(device, i, QDir().absoluteFilePath(folder)));
        grid.addWidget(views[i], i / columns, i % columns);
    }
    const auto toggleAll = [&views] {
        for (CameraView *view : qAsConst(views))
            view->toggleRecording();
    };
    QObject::connect(new QShortcut(Qt::Key_R, &wall), &QShortcut::activated, toggleAll);
    if (line.isSet("record"))
        toggleAll();
    if (const int seconds = line.value("seconds").toInt())
        QTimer::singleShot(seconds * 1000, &wall, &QWidget::close);
    wall.resize(1280, 720);
    wall.show();
    QApplication::exec();
    qDeleteAll(views);
    Vantra::release(); // waits until the files are whole
}
