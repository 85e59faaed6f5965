// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "streamview.h"

#include "camerathread.h"
#include "core_audio/audiothread.h"
#include "core_videobase/bannerwidget.h"
#include "openfolder.h"
#include "theme.h"
#include "viewlabels.h"
#include "viewlook.h"

#include <QDir>
#include <QFileInfo>
#include <QMouseEvent>

namespace {

constexpr int kConnectTimeoutMs = 3000;
constexpr int kReadTimeoutMs = 3000;
constexpr int kPauseBetweenOpensMs = 1000;
/// With ticks each quarter of a second, an old picture is covered within two seconds.
constexpr int kStaleAfterMs = 1500;
/// A stream that breaks off may still hand over one late picture; that is no return.
constexpr int kPicturesOfReturn = 2;
/// An open stream that gives no picture for so long is closed and opened again.
constexpr int kDeadAfterMs = 20000;
constexpr int kTellProblemAfterMs = 4000;
constexpr int kCheckEveryMs = 10000;
constexpr int kSaveWithinMs = 3000;
constexpr int kBetweenSavesMs = 250;
/// The library zooms by less than one percent per step of the wheel.
constexpr int kZoomStepsPerNotch = 12;

} // namespace

StreamView::StreamView(const CameraAddress &address, const QString &transport,
                       const CameraFiles &files, QWidget *parent)
    : StandardVideoWidget(parent), m_address(address), m_transport(transport),
      m_overlay(new StatusOverlay(this)),
      m_labels(new ViewLabels(this, address.name(), viewlook::bannerSize)),
      m_recorder(this, files)
{
    setUpLook();
    m_overlay->stackUnder(bannerWidget);
    m_recorder.mark()->stackUnder(bannerWidget);
    m_againTimer.setSingleShot(true);
    connect(&m_againTimer, &QTimer::timeout, this, &StreamView::begin);
    connect(&m_check, &AddressCheck::finished, this, [this](const QString &reason) {
        m_reason = reason;
        showState();
    });
    connect(this, &AbstractVideoWidget::snapImage, this,
            [this](const QImage &picture, const QString &file) {
                m_saving = false;
                m_sinceSave.start();
                notice(picture.isNull() ? tr("The picture could not be saved")
                                        : tr("Saved as %1").arg(QFileInfo(file).fileName()));
            });
    showState();
}

StreamView::~StreamView() = default;

void StreamView::setUpLook()
{
    VideoPara video = getVideoPara();
    video.connectTimeout = kConnectTimeoutMs;
    video.readTimeout = kReadTimeoutMs;
    setVideoPara(video);

    setWidgetPara(viewlook::make(m_address.name()));
    bannerWidget->initStyle();
    // The base class has set a style sheet; a second one takes effect on a polished widget only.
    ensurePolished();
    setStyleSheet(viewlook::styleSheet());
    setMinimumSize(160, 90);
}

// ---- Play ---------------------------------------------------------------------------------------

void StreamView::play()
{
    if (m_wanted)
        return;
    m_wanted = true;
    m_wasLive = false;
    m_reason.clear();
    begin();
    emit changed();
}

void StreamView::halt()
{
    m_wanted = false;
    m_recorder.stop();
    bannerWidget->changeStatus(viewlook::recordButton, viewlook::recordButton,
                               viewlook::recordIcon(false));
    m_againTimer.stop();
    m_check.cancel();
    stop();
    tick();
    emit changed();
}

bool StreamView::hasRunningThreads() const
{
    const auto threads = findChildren<QThread *>(QString(), Qt::FindDirectChildrenOnly);
    return std::any_of(threads.begin(), threads.end(),
                       [](const QThread *thread) { return thread->isRunning(); });
}

void StreamView::begin()
{
    if (!m_wanted)
        return;
    m_hasPicture = false;
    m_returning = 0;
    m_hasSound = false;
    m_sincePicture.start();
    start();
    tick();
}

void StreamView::startAudioThread()
{
    if (!audioThread)
        StandardVideoWidget::startAudioThread();
}

void StreamView::stopAudioThread()
{
    if (audioThread)
        QMetaObject::invokeMethod(audioThread.data(), "closeAudioOutput", Qt::QueuedConnection);
}

bool StreamView::createVideoThread()
{
    if (!videoThread)
        videoThread = new CameraThread(m_recorder.files(), this);
    videoThread->setFlag(m_address.name());
    videoThread->setVideoUrl(m_address.full());
    videoThread->setTransport(m_transport);
    videoThread->setVideoMode(widgetPara.videoMode);
    videoThread->setHardware(videoPara.hardware);
    videoThread->setReadTimeout(videoPara.readTimeout);
    videoThread->setConnectTimeout(videoPara.connectTimeout);
    videoThread->setOpenSleepTime(kPauseBetweenOpensMs);
    recordThread = videoThread;
    m_recorder.threadChanged();
    return true;
}

void StreamView::releaseVideoThread()
{
    if (!videoThread)
        return;
    AbstractVideoThread *thread = videoThread;
    videoThread = nullptr;
    recordThread = nullptr;
    if (thread->previewRef() > 0)
        --thread->previewRef();
    thread->stop();
    stoppedThreads.append(thread);
    // A view that reconnects for weeks does not gather ended threads.
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    if (thread->isFinished())
        thread->deleteLater();
}

void StreamView::receivePlayStart(int time)
{
    StandardVideoWidget::receivePlayStart(time);
    setVolume(m_volume);
    m_labels->show();
}

void StreamView::receivePlayFinsh(QObject *thread)
{
    StandardVideoWidget::receivePlayFinsh(thread);
    m_hasPicture = false;
    m_meter.pause();
    m_labels->reset();
    if (m_wanted)
        m_againTimer.start(kPauseBetweenOpensMs);
    tick();
    emit changed();
}

void StreamView::receiveImage(const QImage &picture, int time)
{
    const bool isOurs = sender() == videoThread;
    StandardVideoWidget::receiveImage(picture, time);
    if (!isOurs)
        return;
    if (m_hasPicture && m_sincePicture.hasExpired(kStaleAfterMs))
        m_returning = kPicturesOfReturn;
    else if (m_returning > 0)
        --m_returning;
    m_sincePicture.start();
    m_lastPictureAt = QDateTime::currentDateTime();
    m_pictureSize = picture.size();
    m_hasPicture = true;
    if (isVisible() && !getIsMinimized())
        m_meter.countPicture();
    if (m_state != ViewState::Live)
        tick();
}

void StreamView::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    m_hasSound = true;
    StandardVideoWidget::openAudioOutput(sampleRate, channelCount, sampleSize);
}

// ---- State --------------------------------------------------------------------------------------

void StreamView::tick()
{
    m_meter.sample();
    const qint64 age = m_sincePicture.isValid() ? m_sincePicture.elapsed() : 0;
    if (!m_wanted)
        setState(ViewState::Stopped);
    else if (!isStart || !m_hasPicture)
        setState(ViewState::Connecting);
    else
        setState(age < kStaleAfterMs && m_returning == 0 ? ViewState::Live : ViewState::NoSignal);
    m_recorder.tick(recordThread, m_state == ViewState::Live);

    if (m_state == ViewState::Live) {
        m_wasLive = true;
        m_reason.clear();
        m_labels->updateClock();
        showInfo(tr("%1 × %2, %3 pictures/s").arg(m_pictureSize.width())
                         .arg(m_pictureSize.height()).arg(m_meter.rate(), 0, 'f', 0));
    } else {
        showInfo(QString());
        showState();
        restartIfDead();
    }
}

void StreamView::showInfo(const QString &text)
{
    // A text that would be cut off is none.
    const bool fits = width() >= viewlook::bannerTextRoom;
    widgetPara.banner.text = fits ? text : QString(); // for when the pointer enters next
    bannerWidget->showInfo(widgetPara.banner.text);
}

void StreamView::setState(ViewState state)
{
    if (state == m_state)
        return;
    m_state = state;
    // The library shows the banner when the pointer enters; a view may come and go below it.
    bannerWidget->setVisible(state == ViewState::Live && underMouse());
    showState();
    emit changed();
}

void StreamView::restartIfDead()
{
    if (m_wanted && isStart && videoThread && videoThread->getIsOk() && !m_hasSound
        && m_sincePicture.elapsed() > kDeadAfterMs)
        stop(); // receivePlayFinsh() begins again
}

void StreamView::showState()
{
    if (m_state == ViewState::Live) {
        m_overlay->hide();
        return;
    }
    const ViewFacts known = facts();
    if (known.isFailing && !known.isOpen
        && (!m_sinceCheck.isValid() || m_sinceCheck.hasExpired(kCheckEveryMs))) {
        m_sinceCheck.start();
        m_check.start(m_address);
    }
    StatusOverlay::Message message = describe(known);
    message.name = m_address.name();
    m_overlay->showMessage(message);
}

ViewFacts StreamView::facts() const
{
    ViewFacts facts;
    facts.state = m_state;
    facts.isOpen = videoThread && videoThread->getIsOk();
    facts.isFailing = m_state == ViewState::Connecting
            && ((videoThread && videoThread->isOpenTimeout())
                || m_sincePicture.hasExpired(kTellProblemAfterMs) || !m_reason.isEmpty());
    facts.wasLive = m_wasLive;
    facts.reason = m_reason;
    facts.lastPictureAt = m_lastPictureAt;
    return facts;
}

void StreamView::placeOverlay()
{
    const int frame = widgetPara.borderWidth / 2;
    m_overlay->setContentsMargins(frame, frame, frame, frame);
    m_overlay->setGeometry(rect());
}

ViewSummary StreamView::summary() const
{
    ViewSummary summary;
    summary.name = m_address.name();
    summary.state = stateText(facts());
    summary.size = m_pictureSize;
    summary.pictures = m_meter.shown();
    summary.rate = m_meter.rate();
    summary.files = files();
    return summary;
}

void StreamView::notice(const QString &text)
{
    if (m_state == ViewState::Live)
        m_labels->notice(text);
}

// ---- Controls -----------------------------------------------------------------------------------

void StreamView::toggleMuted()
{
    const bool muted = !widgetPara.muted;
    // Kept even while nothing plays; it then holds from the next start.
    widgetPara.muted = muted;
    setMuted(muted);
    QMetaObject::invokeMethod(bannerWidget, "receiveMuted", Q_ARG(bool, muted));
    notice(!m_hasSound ? tr("This camera sends no sound")
           : muted     ? tr("Sound off")
                       : tr("Sound on"));
    emit changed();
}

void StreamView::changeVolume(int step)
{
    m_volume = qBound(0, m_volume + step, 100);
    setVolume(m_volume);
    notice(tr("Volume %1 %").arg(m_volume) + (isMuted() ? tr(", sound is off") : QString()));
}

void StreamView::nextScaleMode()
{
    const ScaleMode mode = getScaleMode();
    setScaleMode(mode == ScaleMode_Aspect ? ScaleMode_Fill
                 : mode == ScaleMode_Fill ? ScaleMode_Auto
                                          : ScaleMode_Aspect);
    notice(getScaleMode() == ScaleMode_Aspect ? tr("Fit into the view")
           : getScaleMode() == ScaleMode_Fill ? tr("Fill the view")
                                              : tr("Own size"));
    bannerWidget->changeStatus(viewlook::scaleButton, viewlook::scaleButton,
                               viewlook::scaleIcon(getScaleMode()));
    osdWidget->update();
    emit changed();
}

void StreamView::toggleZoom()
{
    if (m_state != ViewState::Live)
        return;
    setDigitalZoom(!isDigitalZoom());
    if (!isDigitalZoom())
        unsetCursor();
    notice(isDigitalZoom() ? tr("Zoom with the wheel, move by dragging") : tr("Zoom off"));
    emit changed();
}

void StreamView::toggleLabels()
{
    m_labels->toggle();
}

void StreamView::savePicture()
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

bool StreamView::maySave() const
{
    // The thread knows one name at a time. It may tell the end of one wish twice, and the second
    // time would end a new wish too.
    if (!m_sinceSave.isValid())
        return true;
    return m_saving ? !videoThread->getIsSnap() && m_sinceSave.hasExpired(kSaveWithinMs)
                    : m_sinceSave.hasExpired(kBetweenSavesMs);
}

void StreamView::toggleRecording()
{
    if (!m_wanted)
        return;
    if (isRecording()) {
        m_recorder.stop();
        notice(m_recorder.writtenMs() > 0
                       ? tr("Recording saved in the folder %1")
                                 .arg(QDir(files().folder()).dirName())
                       : tr("Recording ended; nothing was written"));
    } else {
        const QString problem = m_recorder.start();
        notice(problem.isEmpty() ? tr("Recording") : problem);
    }
    bannerWidget->changeStatus(viewlook::recordButton, viewlook::recordButton,
                               viewlook::recordIcon(isRecording()));
    emit changed();
}

void StreamView::showFolder()
{
    const bool shown = openFolder(files().folder());
    notice(shown ? tr("The folder is open")
                 : tr("The files are in %1").arg(QDir::toNativeSeparators(files().folder())));
}

void StreamView::setFrameVisible(bool visible)
{
    setBorderWidth(visible ? viewlook::frameWidth : 0);
    receiveSizeChanged();
    placeOverlay();
}

// ---- Events -------------------------------------------------------------------------------------

void StreamView::btnClicked(const QString &name)
{
    setFocus();
    if (name == viewlook::stopButton)
        halt();
    else if (name == viewlook::soundOffButton || name == viewlook::soundOnButton)
        toggleMuted(); // the button has already changed its look
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

void StreamView::focusInEvent(QFocusEvent *event)
{
    StandardVideoWidget::focusInEvent(event);
    emit selected();
}

void StreamView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        emit enlargeRequested();
}

void StreamView::resizeEvent(QResizeEvent *event)
{
    StandardVideoWidget::resizeEvent(event);
    placeOverlay();
    if (isStart)
        m_labels->show();
}

void StreamView::wheelEvent(QWheelEvent *event)
{
    const int steps = isDigitalZoom() ? kZoomStepsPerNotch : 1;
    for (int i = 0; i < steps; ++i)
        StandardVideoWidget::wheelEvent(event);
    osdWidget->update();
}
