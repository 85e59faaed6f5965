// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What can be done with a playback beside playing it: sound, size, pictures and files.
#include "playbackview.h"
#include "viewcontrols.h"
#include "viewlook.h"

#include <QDir>
#include <QFileInfo>

void PlaybackView::toggleMuted()
{
    const bool muted = !widgetPara.muted;
    widgetPara.muted = muted; // kept also while nothing plays
    setMuted(muted);
    notice(!m_hasSound                   ? tr("This recording has no sound")
           : muted                       ? tr("Sound off")
           : qFuzzyCompare(m_speed, 1.0) ? tr("Sound on")
                                         : tr("Sound on, at the speed of recording"));
    emit changed();
}

void PlaybackView::changeVolume(int step)
{
    notice(viewcontrols::changeVolume(this, &m_volume, step));
}

void PlaybackView::playAudio(const QByteArray &data)
{
    m_hasSound |= sender() == videoThread;
    // At another speed it is too much or too little to be heard.
    if (qFuzzyCompare(m_speed, 1.0))
        OrvoVodWidget::playAudio(data);
}

void PlaybackView::nextScaleMode()
{
    notice(viewcontrols::nextScaleMode(this));
    osdWidget->update();
    emit changed();
}

void PlaybackView::savePicture()
{
    if (!m_hasPicture || m_saving)
        return;
    const QString problem = m_files.problem();
    if (!problem.isEmpty()) {
        notice(problem);
    } else if (m_isPaused) {
        // The thread saves the next picture only, which does not come.
        if (!saveHeldPicture())
            notice(tr("The picture could not be saved"));
    } else {
        m_saving = true;
        snap(m_files.folder(), true);
    }
}

bool PlaybackView::saveHeldPicture()
{
    const QString file = m_files.recordedPicture(m_position, m_camera.channel);
    const QFileInfo info(file);
    if (image.isNull() || !QDir().mkpath(info.path()) || !image.save(file, "jpg"))
        return false;
    notice(tr("Saved as %1").arg(info.fileName()));
    return true;
}

void PlaybackView::showFolder()
{
    notice(viewcontrols::showFolder(m_files));
}

void PlaybackView::setFrameVisible(bool visible)
{
    setBorderWidth(visible ? viewlook::frameWidth : 0);
    receiveSizeChanged();
    placeOverlay();
}
