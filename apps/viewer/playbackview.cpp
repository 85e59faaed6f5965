// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playbackview.h"

#include "devicelink/hnetdevice.h"
#include "playbackthread.h"
#include "viewlabels.h"
#include "viewlook.h"

#include <QFileInfo>
#include <QMouseEvent>

#include <limits>

using namespace recordingtime;

namespace {

constexpr int kConnectTimeoutMs = 3000;
/// A frame is waited for so long; the fifth time in vain is told. Also what an end may take.
constexpr int kReadTimeoutMs = 800;
constexpr int kSeekWithinMs = 2000;
constexpr int kShowTimeEveryMs = 40;
/// So far others may be behind before they are waited for, milliseconds of the recording; from
/// kGapMs on it is for a gap, and the picture is not one of now.
constexpr qint64 kSlackMs = 400;
constexpr qint64 kGapMs = 4000;
constexpr int kLookEveryMs = 10000; ///< at what is recorded: it grows

} // namespace

PlaybackView::PlaybackView(const QString &filesFolder, QWidget *parent)
    : OrvoVodWidget(parent), m_filesFolder(filesFolder), m_day(QDate::currentDate()),
      m_overlay(new StatusOverlay(this))
{
    setUpLook();
    connectReports();
    updateState();
    showState();
}

PlaybackView::~PlaybackView()
{
    disconnect(this, nullptr, nullptr, nullptr);
    leave();
}

void PlaybackView::setUpLook()
{
    VideoPara video = getVideoPara();
    video.connectTimeout = kConnectTimeoutMs;
    video.readTimeout = kReadTimeoutMs;
    setVideoPara(video);
    WidgetPara look = viewlook::make(QString());
    look.bannerEnable = false;
    setWidgetPara(look);
    ensurePolished();
    setStyleSheet(viewlook::styleSheet());
    setMinimumSize(160, 90);
    setAcceptDrops(true);
}

void PlaybackView::connectReports()
{
    connect(this, &AbstractVideoWidget::sig_fileDrag, this, &PlaybackView::cameraDropped);
    connect(this, &AbstractVideoWidget::sig_connExceedMax, this, [this] {
        m_reason = tr("The device refuses: it plays as many recordings as it can.");
    });
    connect(this, &AbstractVideoWidget::sig_otherError, this, [this] {
        m_reason =
            m_camera.address.isValid()
                ? tr("A camera that is known by its address alone has no recordings to play.")
                : tr("The device refuses to play this recording.");
    });
    connect(this, &AbstractVideoWidget::snapImage, this,
            [this](const QImage &picture, const QString &file) {
                if (!m_saving)
                    return;
                m_saving = false;
                notice(picture.isNull() ? tr("The picture could not be saved")
                                        : tr("Saved as %1").arg(QFileInfo(file).fileName()));
            });
}

PlaybackThread *PlaybackView::thread() const
{
    return qobject_cast<PlaybackThread *>(videoThread.data());
}

// ---- What is played -----------------------------------------------------------------------------

void PlaybackView::setCamera(const Camera &camera)
{
    halt();
    m_camera = camera;
    m_files = CameraFiles(m_filesFolder, camera.fileName());
    m_reason.clear();
    delete m_labels;
    m_labels = new ViewLabels(this, camera.name, 0);
    setDay(m_day);
}

void PlaybackView::setDay(const QDate &day)
{
    halt();
    m_day = day;
    m_ended = false;
    m_reason.clear();
    lookAtRecorded();
    setPosition(m_recorded.isEmpty() ? of(day) : m_recorded.first().begin);
    updateState();
    showState();
    emit changed();
}

void PlaybackView::lookAtRecorded()
{
    m_sinceLook.start();
    const TimeSpan day{of(m_day), of(m_day) + dayMs};
    m_recorded = m_camera.recorded ? m_camera.recorded(day) : QVector<TimeSpan>();
}

// ---- Play ---------------------------------------------------------------------------------------

void PlaybackView::play()
{
    if (!m_camera.isValid())
        return;
    m_held = false;
    if (m_wanted && m_state != PlaybackState::Waiting) {
        pauseAsWished();
        updateState();
        return;
    }
    playFrom(!m_ended ? m_position : m_recorded.isEmpty() ? of(m_day) : m_recorded.first().begin);
}

void PlaybackView::hold()
{
    if (!m_wanted || m_held)
        return;
    m_held = true;
    pauseAsWished();
    updateState();
}

void PlaybackView::setAhead(qint64 distance)
{
    const double scale = qMax(1.0, m_speed);
    const bool isGap = distance > kGapMs * scale;
    const bool isParked = distance > (m_isParked ? kSlackMs / 2 : kSlackMs) * scale;
    if (isGap == m_isGap && isParked == m_isParked)
        return;
    m_isGap = isGap;
    m_isParked = isParked;
    pauseAsWished();
    updateState();
}

/// What is not there yet, or being sought, is paused at its first picture.
void PlaybackView::pauseAsWished()
{
    const bool wish = m_held || m_isParked;
    if (!m_hasPicture || m_isSeeking || wish == m_isPaused)
        return;
    m_isPaused = wish;
    if (wish)
        pause();
    else
        resume();
}

void PlaybackView::playFrom(qint64 time)
{
    if (!m_camera.isValid())
        return;
    const TimeSpan day{of(m_day), of(m_day) + dayMs};
    time = qBound(day.begin, time, day.end - 1);
    setPosition(time);
    m_isParked = m_isGap = false;
    if (m_wanted && isStart && m_state != PlaybackState::Waiting) {
        seekTo(time);
        return;
    }
    m_held = m_held && m_wanted;
    m_wanted = true;
    leave();
    begin();
    emit changed();
}

void PlaybackView::halt()
{
    const bool was = m_wanted;
    m_wanted = false;
    m_held = false;
    m_ended = false;
    m_waitsForEnd = false;
    m_isGone = false;
    m_reason.clear();
    leave();
    updateState();
    if (was)
        emit changed();
}

void PlaybackView::deleteOnceEnded()
{
    const QList<PlaybackThread *> threads = findChildren<PlaybackThread *>();
    for (const PlaybackThread *thread : threads) {
        if (thread->isRunning()) {
            connect(thread, &QThread::finished, this, &PlaybackView::deleteOnceEnded);
            return;
        }
    }
    deleteLater();
}

/// Ends what is played; that is no end that would have to be explained.
void PlaybackView::leave()
{
    m_isLeaving = true;
    stop();
    m_isLeaving = false;
}

void PlaybackView::begin()
{
    m_ended = false;
    m_isGone = false;
    m_isSilent = false;
    m_reason.clear();
    m_hasSound = false;
    m_seek = 0;
    // What ends late would end the new one too.
    m_waitsForEnd = PlaybackThread::isPlaying(m_camera.link, m_camera.channel);
    if (!m_waitsForEnd) {
        init(m_camera.link, m_camera.channel);
        setVodStartPara(
            {forDevice(of(m_day)), forDevice(of(m_day) + dayMs), forDevice(m_position)});
        if (start())
            setVolume(m_volume);
    }
    updateState();
}

bool PlaybackView::createVideoThread()
{
    if (!videoThread) {
        auto *thread = new PlaybackThread(this);
        connect(thread, &PlaybackThread::pictureTaken, this, [this, thread](qint64 time, int seek) {
            if (thread == videoThread) {
                m_nextTime = time;
                m_nextSeek = seek;
            }
        });
        // Those of former plays are of no use any more.
        connect(thread, &QThread::finished, this, [this, thread] {
            if (thread != videoThread)
                thread->deleteLater();
        });
        videoThread = thread;
    }
    return OrvoVodWidget::createVideoThread();
}

void PlaybackView::finished()
{
    OrvoVodWidget::finished();
    if (m_waitsForEnd)
        QMetaObject::invokeMethod(this, &PlaybackView::tick, Qt::QueuedConnection);
}

void PlaybackView::receivePlayStart(int time)
{
    if (sender() != videoThread)
        return;
    OrvoVodWidget::receivePlayStart(time);
    m_isOpen = true;
    setVolume(m_volume);
    if (!qFuzzyCompare(m_speed, 1.0))
        setSpeed(m_speed);
    if (m_seekAfter != none)
        sendSeek(m_seekAfter);
    m_labels->show();
}

void PlaybackView::receivePlayFinsh(QObject *object)
{
    const bool isOurs = object && object == videoThread;
    if (isOurs && !m_isLeaving)
        noteEnd();
    OrvoVodWidget::receivePlayFinsh(object);
    if (!isOurs)
        return;
    m_isOpen = false;
    m_hasPicture = false;
    m_isPaused = false;
    m_isSeeking = false;
    m_seekAfter = none;
    m_saving = false;
    m_meter.pause();
    if (m_labels)
        m_labels->reset();
    updateState();
    emit changed();
}

/// Play has ended by itself.
void PlaybackView::noteEnd()
{
    m_ended = thread() && thread()->isAtEnd();
    if (!m_ended && m_reason.isEmpty()) {
        m_isGone = m_camera.link->getConnectStatus() != HChannelConnected;
        m_reason = m_isGone ? tr("The device is not connected.")
                            : tr("The device has broken off the recording.");
    }
    m_wanted = m_isGone; // that is waited for
    m_held = m_held && m_isGone;
}

// ---- Time ---------------------------------------------------------------------------------------

/// One at a time: a person who drags asks for more than a device can give.
void PlaybackView::seekTo(qint64 time)
{
    if (!m_isOpen || (m_isSeeking && !m_sinceSeek.hasExpired(kSeekWithinMs)))
        m_seekAfter = time;
    else
        sendSeek(time);
}

void PlaybackView::sendSeek(qint64 time)
{
    m_isSeeking = true;
    m_seek = std::numeric_limits<int>::max(); // no picture is of it, until its number is known
    m_seekAfter = none;
    m_sinceSeek.start();
    seekFile(forDevice(time));
    // Behind it, in the queue.
    QMetaObject::invokeMethod(
        this, [this, time] { noteSeek(time); }, Qt::QueuedConnection);
}

void PlaybackView::noteSeek(qint64 time)
{
    if (!thread() || !m_isSeeking)
        return;
    m_seek = thread()->noteSeek(time);
    if (m_isPaused)
        resume(); // until the picture of that time is there
    m_isPaused = false;
}

void PlaybackView::takePicture(qint64 time, int seek)
{
    if (m_isSeeking && seek < m_seek)
        return; // of before
    if (m_isSeeking && m_seekAfter != none) {
        sendSeek(m_seekAfter);
        return;
    }
    const bool arrived = m_isSeeking || !m_hasPicture;
    m_isSeeking = false;
    m_hasPicture = true;
    m_isSilent = false;
    setPosition(time);
    pauseAsWished();
    if (arrived)
        updateState();
}

void PlaybackView::receiveImage(const QImage &picture, int time)
{
    const bool isOurs = sender() == videoThread;
    OrvoVodWidget::receiveImage(picture, time);
    if (!isOurs || !m_wanted)
        return;
    m_pictureSize = picture.size();
    if (isVisible() && !getIsMinimized())
        m_meter.countPicture();
    takePicture(m_nextTime, m_nextSeek);
    if (!m_sinceShown.isValid() || m_sinceShown.hasExpired(kShowTimeEveryMs))
        showTime();
    if (m_state != PlaybackState::Playing)
        updateState();
}

void PlaybackView::setPosition(qint64 time)
{
    if (time == m_position)
        return;
    m_position = time;
    emit positionChanged();
}

void PlaybackView::showTime()
{
    m_sinceShown.start();
    if (m_labels && m_hasPicture)
        m_labels->showClock(text(m_position, true));
}

void PlaybackView::setPlaySpeed(double speed)
{
    m_speed = speed;
    if (m_isOpen)
        setSpeed(speed);
    emit changed();
}

// ---- State --------------------------------------------------------------------------------------

void PlaybackView::tick()
{
    m_meter.sample();
    if (m_waitsForEnd && m_wanted)
        begin();
    if (m_camera.isValid() && m_sinceLook.hasExpired(kLookEveryMs)) {
        const QVector<TimeSpan> before = m_recorded;
        lookAtRecorded();
        if (m_recorded != before)
            emit changed();
    }
    if (m_isSeeking && m_seekAfter != none && m_sinceSeek.hasExpired(kSeekWithinMs))
        sendSeek(m_seekAfter);
    lookAtLink();
    if (m_hasPicture)
        showTime();
    updateState();
}

/// A playback does not survive a lost link: it is opened anew when that is back.
void PlaybackView::lookAtLink()
{
    if (!m_wanted)
        return;
    const bool isConnected = m_camera.link->getConnectStatus() == HChannelConnected;
    if (!isConnected) {
        m_isGone = true;
    } else if (m_isGone && !m_waitsForEnd) {
        leave();
        begin();
    }
    m_isSilent = !m_isPaused && videoThread && isReadStreamTimeout();
}

PlaybackState PlaybackView::stateNow() const
{
    if (!m_camera.isValid())
        return PlaybackState::Empty;
    if (m_ended)
        return PlaybackState::Ended;
    if (m_isGone && m_wanted)
        return PlaybackState::Waiting;
    if (!m_wanted)
        return m_reason.isEmpty() ? PlaybackState::Ready : PlaybackState::Failed;
    if (m_isSilent)
        return PlaybackState::Waiting;
    if (!m_hasPicture)
        return PlaybackState::Opening;
    if (m_isGap)
        return PlaybackState::Gap;
    return m_held ? PlaybackState::Paused : PlaybackState::Playing;
}

void PlaybackView::updateState()
{
    const PlaybackState state = stateNow();
    if (state == m_state) {
        showState();
        return;
    }
    m_state = state;
    showState();
    emit changed();
}

void PlaybackView::showState()
{
    if (m_state == PlaybackState::Playing || m_state == PlaybackState::Paused) {
        m_overlay->hide();
        return;
    }
    StatusOverlay::Message message = describe(facts());
    message.veil = message.veil && m_hasPicture;
    message.name = m_camera.name;
    m_overlay->showMessage(message);
}

PlaybackFacts PlaybackView::facts() const
{
    PlaybackFacts facts;
    facts.state = m_state;
    facts.position = m_position;
    facts.day = m_day;
    facts.isMissing = m_camera.recorded && m_recorded.isEmpty();
    facts.comesBack = m_isGone;
    facts.reason = m_reason;
    if (m_waitsForEnd)
        facts.reason = tr("The last playback of this channel is about to end.");
    else if (m_isGone && m_reason.isEmpty())
        facts.reason = tr("The device is gone.");
    return facts;
}

ViewSummary PlaybackView::summary() const
{
    ViewSummary summary;
    summary.name = m_camera.name;
    summary.state = stateText(facts());
    summary.size = m_pictureSize;
    summary.pictures = m_meter.shown();
    summary.rate = m_meter.rate();
    summary.files = m_files;
    return summary;
}

void PlaybackView::placeOverlay()
{
    const int frame = widgetPara.borderWidth / 2;
    m_overlay->setContentsMargins(frame, frame, frame, frame);
    m_overlay->setGeometry(rect());
}

void PlaybackView::notice(const QString &text)
{
    if (m_labels && m_hasPicture)
        m_labels->notice(text);
}

// ---- Events -------------------------------------------------------------------------------------

void PlaybackView::focusInEvent(QFocusEvent *event)
{
    OrvoVodWidget::focusInEvent(event);
    emit selected();
}

void PlaybackView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        emit enlargeRequested();
}

void PlaybackView::resizeEvent(QResizeEvent *event)
{
    OrvoVodWidget::resizeEvent(event);
    placeOverlay();
    if (m_labels && m_hasPicture)
        m_labels->show();
}
