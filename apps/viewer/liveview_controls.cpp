// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What can be done with a live view beside playing it: sound, size, zoom, pictures, files and talk.
#include "core_audio/audiothread.h"
#include "core_opengl/yuvwidget.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"
#include "liveview.h"
#include "viewcontrols.h"
#include "viewlabels.h"
#include "viewlook.h"

#include <QDir>

namespace {

constexpr int kSaveWithinMs = 3000;
constexpr int kBetweenSavesMs = 250;

} // namespace

void LiveView::toggleMuted()
{
    const bool muted = !widgetPara.muted;
    // Kept even while nothing plays; it then holds from the next start.
    widgetPara.muted = muted;
    setMuted(muted);
    viewlook::showSound(bannerWidget, !muted);
    notice(!m_hasSound ? tr("This camera sends no sound")
           : muted     ? tr("Sound off")
                       : tr("Sound on"));
    emit changed();
}

void LiveView::changeVolume(int step)
{
    notice(viewcontrols::changeVolume(this, &m_volume, step));
}

void LiveView::nextScaleMode()
{
    notice(viewcontrols::nextScaleMode(this));
    bannerWidget->changeStatus(viewlook::scaleButton, viewlook::scaleButton,
                               viewlook::scaleIcon(getScaleMode()));
    osdWidget->update();
    emit changed();
}

void LiveView::toggleZoom()
{
    if (m_state != ViewState::Live)
        return;
    setDigitalZoom(!isDigitalZoom());
    if (!isDigitalZoom())
        unsetCursor();
    notice(isDigitalZoom() ? tr("Zoom with the wheel, move by dragging") : tr("Zoom off"));
    emit changed();
}

void LiveView::toggleLabels()
{
    m_labels->toggle();
}

bool LiveView::setOpengl(bool on)
{
    const VideoMode mode = on ? VideoMode_Opengl : VideoMode_Painter;
    if (widgetPara.videoMode == mode)
        return true;
    const bool wasStarted = m_started;
    leave();
    setVideoMode(mode);
    if (on)
        newOpenglWidgets();
    const bool isThere = !on || yuvWidget->isValid();
    if (!isThere)
        setVideoMode(VideoMode_Painter);
    if (!on || !isThere)
        freeOpenglWidgets();
    if (wasStarted)
        begin();
    emit changed();
    return isThere;
}

void LiveView::savePicture()
{
    if (m_state != ViewState::Live || !videoThread)
        return;
    if (!maySave())
        return;
    m_saving = true;
    m_sinceSave.start();
    videoThread->setSnapPreview(true);
    videoThread->snap(files().newPicture(QDateTime::currentDateTime()));
}

bool LiveView::maySave() const
{
    // The thread knows one name at a time. It may tell the end of one wish twice, and the second
    // time would end a new wish too.
    if (!m_sinceSave.isValid())
        return true;
    return m_saving ? !videoThread->getIsSnap() && m_sinceSave.hasExpired(kSaveWithinMs)
                    : m_sinceSave.hasExpired(kBetweenSavesMs);
}

void LiveView::toggleRecording()
{
    if (!m_wanted)
        return;
    if (isRecording()) {
        m_recorder.stop();
        notice(m_recorder.writtenMs() > 0
                   ? tr("Recording saved in the folder %1").arg(QDir(files().folder()).dirName())
                   : tr("Recording ended; nothing was written"));
    } else {
        const QString problem = m_recorder.start();
        notice(problem.isEmpty() ? tr("Recording") : problem);
    }
    bannerWidget->changeStatus(viewlook::recordButton, viewlook::recordButton,
                               viewlook::recordIcon(isRecording()));
    emit changed();
}

void LiveView::toggleTalk()
{
    if (!m_started) {
        viewlook::showTalk(bannerWidget, false);
        return;
    }
    if (m_talking)
        talkStop();
    else
        talkStart();
    setTalking(!m_talking);
    notice(m_talking ? tr("Talking to the device") : tr("Talk ended"));
}

void LiveView::setTalking(bool talking)
{
    if (talking == m_talking)
        return;
    m_talking = talking;
    viewlook::showTalk(bannerWidget, talking);
    emit changed();
}

/// Before the sound worker ends, which does not do what it has not come to. stop() waits for the
/// worker too.
void LiveView::endTalk()
{
    if (m_talking && audioThread && audioThread->QObject::thread()->isRunning())
        QMetaObject::invokeMethod(audioThread.data(), "stopTalk", Qt::BlockingQueuedConnection);
    setTalking(false);
}

void LiveView::showFolder()
{
    notice(viewcontrols::showFolder(files()));
}

void LiveView::setFrameVisible(bool visible)
{
    setBorderWidth(visible ? viewlook::frameWidth : 0);
    receiveSizeChanged();
    placeOverlay();
}

void LiveView::btnClicked(const QString &name)
{
    setFocus();
    if (name == viewlook::stopButton)
        halt();
    else if (name == viewlook::soundOffButton || name == viewlook::soundOnButton)
        toggleMuted(); // the button has already changed its look
    else if (name == viewlook::talkOnButton || name == viewlook::talkOffButton)
        toggleTalk();
    else if (name == viewlook::scaleButton)
        nextScaleMode();
    else if (name == viewlook::zoomButton)
        toggleZoom();
    else if (name == viewlook::saveButton)
        savePicture();
    else if (name == viewlook::recordButton)
        toggleRecording();
    else if (name == viewlook::enlargeButton)
        emit enlargeRequested();
}
