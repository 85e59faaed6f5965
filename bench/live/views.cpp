// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "views.h"

#include "devicelink/devicerules.h"
#include "devicelink/hframeheader.h"

#include <QEvent>

TimedThread::TimedThread()
{
    connect(
        this, &AbstractVideoThread::receiveImage, this,
        [this] {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_handedOut.push_back(m_read);
        },
        Qt::DirectConnection);
}

int TimedThread::readFrame(HFrameHeader *frame, int timeoutMs)
{
    const int result = OrvoLiveThread::readFrame(frame, timeoutMs);
    if (result == DeviceReadFrame && frame->isVideo())
        m_read = BenchClock::now();
    return result;
}

bool TimedThread::take(BenchClock::time_point *read)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_handedOut.empty())
        return false;
    *read = m_handedOut.front();
    m_handedOut.pop_front();
    return true;
}

TimedView::TimedView() : LiveVideoWidget(HTransportOrvo)
{
    WidgetPara look = getWidgetPara();
    look.videoMode = VideoMode_Painter;
    look.scaleMode = ScaleMode_Fill;
    look.muted = true;
    setWidgetPara(look);
    VideoPara para = getVideoPara();
    para.connectTimeout = para.readTimeout = 10000;
    setVideoPara(para);
}

void TimedView::forget()
{
    m_paints = m_pictures = 0;
    m_ages.clear();
}

void TimedView::receiveImage(const QImage &image, int time)
{
    LiveVideoWidget::receiveImage(image, time);
    ++m_pictures;
    auto *thread = static_cast<TimedThread *>(videoThread.data());
    m_fresh = thread && thread->take(&m_read);
}

bool TimedView::eventFilter(QObject *watched, QEvent *event)
{
    const bool handled = LiveVideoWidget::eventFilter(watched, event); // paints
    if (event->type() == QEvent::Paint && m_fresh) {
        m_fresh = false;
        ++m_paints;
        m_ages.push_back(
            std::chrono::duration<double, std::milli>(BenchClock::now() - m_read).count());
    }
    return handled;
}
