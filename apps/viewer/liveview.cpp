// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "liveview.h"

#include "core_audio/audiothread.h"
#include "core_opengl/yuvwidget.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"
#include "devicelink/hnetdevice.h"
#include "streamthreads.h"
#include "theme.h"
#include "viewlabels.h"
#include "viewlook.h"

#include <QFileInfo>
#include <QMouseEvent>
#include <QTimer>

namespace {

constexpr int kConnectTimeoutMs = 3000;
constexpr int kReadTimeoutMs = 3000;
constexpr int kPauseBetweenTriesMs = 1000;
constexpr int kEndOfThreadMs = 20;
/// With ticks each quarter of a second, an old picture is covered within two seconds.
constexpr int kStaleAfterMs = 1500;
/// A stream that breaks off may still hand over one late picture; that is no return.
constexpr int kPicturesOfReturn = 2;
/// An open stream that gives no picture for so long is closed and opened again.
constexpr int kDeadAfterMs = 20000;
constexpr int kTellProblemAfterMs = 4000;
constexpr int kCheckEveryMs = 10000;
/// The library zooms by less than one percent per step of the wheel.
constexpr int kZoomStepsPerNotch = 12;
constexpr int kAllStreams = -1; ///< as a mask

} // namespace

LiveView::LiveView(const Camera &camera, const QString &transport, const CameraFiles &files,
                   QWidget *parent)
    : LiveVideoWidget(camera.link ? camera.link->getStreamProtocol() : HTransportOrvo, parent),
      m_camera(camera), m_transport(transport), m_overlay(new StatusOverlay(this)),
      m_labels(new ViewLabels(this, camera.name, viewlook::bannerSize)), m_recorder(this, files)
{
    setUpLook();
    m_overlay->stackUnder(bannerWidget);
    m_recorder.mark()->stackUnder(bannerWidget);
    connectReports();
    showState();
}

LiveView::~LiveView()
{
    m_wanted = false;
    m_recorder.stop();
    leave();
}

void LiveView::setUpLook()
{
    VideoPara video = getVideoPara();
    video.connectTimeout = kConnectTimeoutMs;
    video.readTimeout = kReadTimeoutMs;
    setVideoPara(video);

    setWidgetPara(viewlook::make(m_camera.name));
    bannerWidget->initStyle();
    // The base class has set a style sheet; a second one takes effect on a polished widget only.
    ensurePolished();
    setStyleSheet(viewlook::styleSheet());
    setMinimumSize(160, 90);
    setAcceptDrops(true);
}

void LiveView::connectReports()
{
    connect(this, &AbstractVideoWidget::sig_fileDrag, this, &LiveView::cameraDropped);
    connect(&m_check, &AddressCheck::finished, this, [this](const QString &reason) {
        m_reason = reason;
        showState();
    });
    // Other views of the stream hear of this view's pictures too.
    connect(this, &AbstractVideoWidget::snapImage, this,
            [this](const QImage &picture, const QString &file) {
                if (!m_saving)
                    return;
                m_saving = false;
                m_sinceSave.start();
                notice(picture.isNull() ? tr("The picture could not be saved")
                                        : tr("Saved as %1").arg(QFileInfo(file).fileName()));
            });
    connect(this, &AbstractVideoWidget::sig_startTalkDeviceBusy, this, [this] {
        setTalking(false);
        notice(tr("Somebody else is talking to this device"));
    });
    connect(this, &AbstractVideoWidget::sig_startTalkError, this, [this] {
        setTalking(false);
        notice(tr("This device does not take talk"));
    });
}

// ---- Play ---------------------------------------------------------------------------------------

void LiveView::play()
{
    if (m_wanted || !m_camera.isValid())
        return;
    m_wanted = true;
    m_wasLive = false;
    m_reason.clear();
    m_sincePicture.start();
    m_sinceSign.start();
    begin();
    emit changed();
}

void LiveView::halt()
{
    m_wanted = false;
    m_recorder.stop();
    bannerWidget->changeStatus(viewlook::recordButton, viewlook::recordButton,
                               viewlook::recordIcon(false));
    m_check.cancel();
    leave();
    tick();
    emit changed();
}

void LiveView::begin()
{
    m_hasPicture = false;
    m_isSwitching = false;
    m_returning = 0;
    m_hasSound = false;
    m_sinceTry.start();
    streamthreads::prepare(m_camera.link, m_transport);
    m_started = init(m_camera.link, m_camera.channel, kAllStreams) && start();
    if (m_started) {
        m_reason.clear();
        m_recorder.threadChanged();
        setVolume(m_volume);
        playStart(m_stream);
    } else {
        m_reason = tr("The device offers no stream.");
    }
    tick();
}

void LiveView::leave()
{
    if (!m_started)
        return;
    m_started = false;
    m_hasPicture = false;
    endTalk();
    streamthreads::leave(m_camera.link);
    playStop(true);
    stop(false);
}

void LiveView::showMainStream(bool main)
{
    const int streams = m_camera.isValid() ? m_camera.link->getStreamCountPerChannel() : 1;
    const int stream = main ? 0 : qBound(0, 1, streams - 1);
    if (stream == m_stream)
        return;
    m_stream = stream;
    if (!m_started)
        return;
    m_isSwitching = true;
    m_hasSound = false;
    replay(stream);
    m_labels->show();
    tick();
}

/// Threads end by themselves when a device fails too often, and those that nobody shows end when
/// another view of the device stops. The library shows pictures only while all streams run that a
/// view has joined, so each is started again.
void LiveView::keepThreadsRunning()
{
    if (!m_wanted)
        return;
    if (m_started) {
        streamthreads::keepRunning(m_camera.link, m_camera.channel);
    } else if (m_sinceTry.hasExpired(kPauseBetweenTriesMs)) {
        begin();
    }
}

void LiveView::finished()
{
    LiveVideoWidget::finished();
    // When the thread has really ended.
    QTimer::singleShot(kEndOfThreadMs, this, &LiveView::keepThreadsRunning);
}

void LiveView::receivePlayStart(int time)
{
    LiveVideoWidget::receivePlayStart(time);
    if (sender() == videoThread) {
        m_sinceSign.start();
        m_check.cancel();
        m_reason.clear(); // it can be reached after all
    }
    setVolume(m_volume);
    m_labels->show();
}

void LiveView::receivePlayFinsh(QObject *thread)
{
    const bool isShown = thread == videoThread;
    LiveVideoWidget::receivePlayFinsh(thread);
    if (isShown) {
        m_hasPicture = false;
        m_meter.pause();
    }
    // The library drops its overlays at the end of any stream of the channel.
    if (m_started)
        m_labels->show();
    else
        m_labels->reset();
    tick();
    emit changed();
}

void LiveView::receiveImage(const QImage &picture, int time)
{
    const bool isOurs = sender() == videoThread;
    LiveVideoWidget::receiveImage(picture, time);
    if (isOurs)
        notePicture(picture.size(), !image.isNull());
}

void LiveView::receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                            quint32 linesizeY, quint32 linesizeU, quint32 linesizeV)
{
    const bool isOurs = sender() == videoThread;
    LiveVideoWidget::receiveFrame(width, height, dataY, dataU, dataV, linesizeY, linesizeU,
                                  linesizeV);
    if (isOurs)
        notePicture(QSize(width, height), yuvWidget);
}

void LiveView::notePicture(const QSize &size, bool isShown)
{
    const bool isSeen = isVisible() && !getIsMinimized();
    if (isSeen && !isShown)
        return; // no sign of life
    if (m_hasPicture && m_sincePicture.hasExpired(kStaleAfterMs))
        m_returning = kPicturesOfReturn;
    else if (m_returning > 0)
        --m_returning;
    m_sincePicture.start();
    m_sinceSign.start();
    m_lastPictureAt = QDateTime::currentDateTime();
    m_pictureSize = size;
    m_hasPicture = true;
    m_isSwitching = false;
    if (isSeen)
        m_meter.countPicture();
    if (m_state != ViewState::Live)
        tick();
}

void LiveView::playAudio(const QByteArray &data)
{
    if (sender() == videoThread) {
        m_hasSound = true;
        m_sinceSign.start();
    }
    LiveVideoWidget::playAudio(data);
}

// ---- State --------------------------------------------------------------------------------------

void LiveView::tick()
{
    m_meter.sample();
    dropUnseenPicture();
    const qint64 age = m_sincePicture.isValid() ? m_sincePicture.elapsed() : 0;
    if (!m_wanted)
        setState(ViewState::Stopped);
    else if (!m_started || !m_hasPicture)
        setState(ViewState::Connecting);
    else
        setState(age < kStaleAfterMs && m_returning == 0 ? ViewState::Live : ViewState::NoSignal);
    keepThreadsRunning();
    if (m_talking && m_camera.link->getConnectStatus() != HChannelConnected) {
        talkStop(); // nobody hears it; and who comes back has not been asked for talk
        setTalking(false);
    }
    m_recorder.tick(recordThread, m_state == ViewState::Live);

    if (m_state == ViewState::Live) {
        m_wasLive = true;
        m_reason.clear();
        m_labels->updateClock();
        showInfo(tr("%1 × %2, %3 pictures/s")
                     .arg(m_pictureSize.width())
                     .arg(m_pictureSize.height())
                     .arg(m_meter.rate(), 0, 'f', 0));
    } else {
        showInfo(QString());
        showState();
        endDeadStream();
    }
}

void LiveView::showInfo(const QString &text)
{
    // A text that would be cut off is none.
    const bool fits = width() >= viewlook::bannerTextRoom;
    widgetPara.banner.text = fits ? text : QString(); // for when the pointer enters next
    bannerWidget->showInfo(widgetPara.banner.text);
}

void LiveView::setState(ViewState state)
{
    if (state == m_state)
        return;
    m_state = state;
    // The library shows the banner when the pointer enters; a view may come and go below it.
    bannerWidget->setVisible(state == ViewState::Live && underMouse());
    showState();
    emit changed();
}

/// A stream that is open and sends nothing is opened anew, by keepThreadsRunning().
void LiveView::endDeadStream()
{
    if (!m_started || !videoThread || !videoThread->getIsOk()) {
        m_sinceSign.start(); // the time counts from the opening
    } else if (m_sinceSign.elapsed() > kDeadAfterMs) {
        m_sinceSign.start();
        videoThread->stop();
    }
}

void LiveView::showState()
{
    if (m_state == ViewState::Live) {
        m_overlay->hide();
        return;
    }
    StatusOverlay::Message message;
    if (m_camera.isValid()) {
        const ViewFacts known = facts();
        if (known.isFailing && !known.isOpen && m_camera.address.isValid() &&
            (!m_sinceCheck.isValid() || m_sinceCheck.hasExpired(kCheckEveryMs))) {
            m_sinceCheck.start();
            m_check.start(m_camera.address);
        }
        message = describe(known);
    } else {
        message = describeEmpty();
    }
    message.name = m_camera.name;
    m_overlay->showMessage(message);
}

/// Why there is no picture, as far as the link to the device knows.
QString LiveView::linkReason() const
{
    if (!m_camera.isValid() || m_state == ViewState::Stopped)
        return QString();
    if (m_camera.link->getConnectStatus() != HChannelConnected)
        return m_wasLive ? tr("The device is gone.") : tr("The device is not connected.");
    if (isStreamExceedMax())
        return tr("The device refuses: it sends to as many viewers as it can.");
    if (isOpenStreamTimeout() && m_camera.link->getStreamProtocol() != HTransportRtsp)
        return tr("The device does not send this stream.");
    return QString();
}

ViewFacts LiveView::facts() const
{
    ViewFacts facts;
    facts.state = m_state;
    facts.isOpen = videoThread && videoThread->getIsOk();
    facts.reason = linkReason();
    if (facts.reason.isEmpty())
        facts.reason = m_reason;
    facts.isFailing = m_state == ViewState::Connecting &&
                      (isOpenStreamTimeout() || m_sincePicture.hasExpired(kTellProblemAfterMs) ||
                       !facts.reason.isEmpty());
    facts.wasLive = m_wasLive;
    facts.isSwitching = m_isSwitching && !m_sincePicture.hasExpired(kTellProblemAfterMs);
    facts.lastPictureAt = m_lastPictureAt;
    return facts;
}

void LiveView::placeOverlay()
{
    const int frame = widgetPara.borderWidth / 2;
    m_overlay->setContentsMargins(frame, frame, frame, frame);
    m_overlay->setGeometry(rect());
}

ViewSummary LiveView::summary() const
{
    ViewSummary summary;
    summary.name = m_camera.name;
    summary.state = stateText(facts());
    summary.size = m_pictureSize;
    summary.pictures = m_meter.shown();
    summary.rate = m_meter.rate();
    summary.files = files();
    return summary;
}

void LiveView::notice(const QString &text)
{
    if (m_state == ViewState::Live)
        m_labels->notice(text);
}

// ---- Events -------------------------------------------------------------------------------------

void LiveView::focusInEvent(QFocusEvent *event)
{
    LiveVideoWidget::focusInEvent(event);
    emit selected();
}

void LiveView::hideEvent(QHideEvent *event)
{
    LiveVideoWidget::hideEvent(event);
    dropUnseenPicture();
}

/// What is shown again may be of hours ago by then, and would pass for live until the next picture.
void LiveView::dropUnseenPicture()
{
    if (!isVisible() || getIsMinimized())
        image = QImage();
}

void LiveView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        emit enlargeRequested();
}

void LiveView::resizeEvent(QResizeEvent *event)
{
    LiveVideoWidget::resizeEvent(event);
    placeOverlay();
    if (m_started)
        m_labels->show();
}

void LiveView::wheelEvent(QWheelEvent *event)
{
    const int steps = isDigitalZoom() ? kZoomStepsPerNotch : 1;
    for (int i = 0; i < steps; ++i)
        LiveVideoWidget::wheelEvent(event);
    osdWidget->update();
}
