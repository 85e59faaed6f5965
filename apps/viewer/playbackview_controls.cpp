// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What can be done with a playback beside playing it: sound, size, pictures and files.
#include "openfolder.h"
#include "playbackview.h"
#include "viewlook.h"

#include <QDir>
#include <QFileInfo>

void PlaybackView::toggleMuted()
{
    const bool muted = !widgetPara.muted;
    widgetPara.muted = muted; // kept also while nothing plays
    setMuted(muted);
    notice(!m_hasSound ? tr("This recording has no sound")
           : muted     ? tr("Sound off")
           : qFuzzyCompare(m_speed, 1.0) ? tr("Sound on")
                                         : tr("Sound on, at the speed of recording"));
    emit changed();
}

void PlaybackView::changeVolume(int step)
{
    m_volume = qBound(0, m_volume + step, 100);
    setVolume(m_volume);
    notice(tr("Volume %1 %").arg(m_volume) + (isMuted() ? tr(", sound is off") : QString()));
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
    const ScaleMode mode = getScaleMode();
    setScaleMode(mode == ScaleMode_Aspect ? ScaleMode_Fill
                 : mode == ScaleMode_Fill ? ScaleMode_Auto
                                          : ScaleMode_Aspect);
    notice(getScaleMode() == ScaleMode_Aspect ? tr("Fit into the view")
           : getScaleMode() == ScaleMode_Fill ? tr("Fill the view")
                                              : tr("Own size"));
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
    const bool shown = openFolder(m_files.folder());
    notice(shown ? tr("The folder is open")
                 : tr("The files are in %1").arg(QDir::toNativeSeparators(m_files.folder())));
}

void PlaybackView::setFrameVisible(bool visible)
{
    setBorderWidth(visible ? viewlook::frameWidth : 0);
    receiveSizeChanged();
    placeOverlay();
}
