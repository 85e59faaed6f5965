// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "livewidgetcase.h"

#include <QPointer>

namespace livefakes {

void LiveView::note(const QString &call)
{
    calls << call;
    if (onCall)
        onCall(call);
}

void LiveView::startAudioThread()
{
    Exposed::startAudioThread();
    note(QStringLiteral("startAudioThread"));
}

void LiveView::stopAudioThread()
{
    Exposed::stopAudioThread();
    note(QStringLiteral("stopAudioThread"));
}

void LiveView::started()
{
    Exposed::started();
    note(QStringLiteral("started"));
}

void LiveView::finished()
{
    Exposed::finished();
    note(QStringLiteral("finished"));
}

void LiveView::receivePlayStart(int time)
{
    const QPointer<LiveView> self(this);
    Exposed::receivePlayStart(time);
    if (self) // the test may delete the widget in the report
        note(QStringLiteral("receivePlayStart"));
}

void LiveView::receivePlayFinsh(QObject *thread)
{
    const QPointer<LiveView> self(this);
    Exposed::receivePlayFinsh(thread);
    if (self)
        note(QStringLiteral("receivePlayFinsh"));
}

void LiveView::receiveImage(const QImage &image, int time)
{
    Exposed::receiveImage(image, time);
    note(QStringLiteral("receiveImage"));
}

void LiveView::receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                            quint32 linesizeY, quint32 linesizeU, quint32 linesizeV)
{
    Exposed::receiveFrame(width, height, dataY, dataU, dataV, linesizeY, linesizeU, linesizeV);
    note(QStringLiteral("planar"));
}

void LiveView::receiveFrame(int width, int height, quint8 *dataY, quint8 *dataUV, quint32 linesizeY,
                            quint32 linesizeUV)
{
    Exposed::receiveFrame(width, height, dataY, dataUV, linesizeY, linesizeUV);
    note(QStringLiteral("nv12"));
}

void LiveView::receiveFrame(int width, int height, quint8 *data, bool codecChanged)
{
    Exposed::receiveFrame(width, height, data, codecChanged);
    note(QStringLiteral("d3d9"));
}

void LiveView::receiveFrame(int width, int height, quint8 *data, qint32 index, bool codecChanged)
{
    Exposed::receiveFrame(width, height, data, index, codecChanged);
    note(QStringLiteral("d3d11"));
}

} // namespace livefakes
