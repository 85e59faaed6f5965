// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/livevideowidget.h"

#include "core_audio/devaudiothread.h"
#include "core_live/livefilenames_p.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_video/deviceinterface.h"
#include "core_videobase/abstractvideothread.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

#include <QDateTime>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace {

constexpr char kLogTag[] = "(lvvdwgt)";

constexpr int kAllStreams = -1; // as a mask
constexpr int kMaskBits = 32;   // streams per channel that a mask can name

constexpr unsigned int maskBit(int stream)
{
    return 1U << static_cast<unsigned int>(stream);
}

} // namespace

LiveVideoWidget::LiveVideoWidget(HTransportProtocol protocol, QWidget *parent)
    : AbstractVideoWidget(parent), protocol(protocol)
{
}

LiveVideoWidget::~LiveVideoWidget()
{
    // It does not stop, as intended. No report may reach the slots of a class that is gone.
    for (const auto &thread : std::as_const(streamThreads)) {
        if (thread)
            thread->disconnect(this);
    }
}

// --- What to show -------------------------------------------------------------------------------

bool LiveVideoWidget::init(const QSharedPointer<HNetDevice> &dev, int channel, int streamMask)
{
    if (!dev || streamMask == 0) {
        VANTRA_LOG(Logger::Error) << QString::asprintf(
            "init invalid param (%p:%d)", static_cast<const void *>(dev.data()), streamMask);
        return false;
    }
    this->dev = dev;
    this->channel = channel;
    if (streamMask == kAllStreams) {
        // Added to what the mask held, as intended.
        const int streams = qMin(dev->getStreamCountPerChannel(), kMaskBits);
        for (int stream = 0; stream < streams; ++stream)
            this->streamMask = static_cast<int>(unsigned(this->streamMask) | maskBit(stream));
    } else {
        this->streamMask = streamMask;
    }
    isInit = true;
    return true;
}

int LiveVideoWidget::stream2Index(int stream) const
{
    return dev ? flatStreamIndex(dev->getStreamCountPerChannel(), channel, stream) : 0;
}

int LiveVideoWidget::indexOf(const QObject *thread) const
{
    if (!thread)
        return -1;
    const auto found =
        std::find_if(streamThreads.begin(), streamThreads.end(),
                     [thread](const auto &stream) { return stream.data() == thread; });
    return found == streamThreads.end() ? -1 : int(found - streamThreads.begin());
}

// --- Joining and leaving the set ----------------------------------------------------------------

bool LiveVideoWidget::initVideoThrSet(const QSharedPointer<HNetDevice> &dev)
{
    auto *manager = DevLiveThrSetManager::Instance();
    thrSet = manager->getVideoThreadSet(dev);
    if (!thrSet)
        thrSet = manager->newVideoThreadSet(dev, protocol);
    return !thrSet.isNull();
}

void LiveVideoWidget::releaseVideoThrSet(const QSharedPointer<HNetDevice> &dev)
{
    if (thrSet->referenceCount() > 0)
        return;
    DevLiveThrSetManager::Instance()->releaseVideoThreadSet(dev);
}

void LiveVideoWidget::releaseUnused(const QSharedPointer<DevLiveThrSet> &set)
{
    const QSharedPointer<HNetDevice> device = set->getDevPtr();
    if (!device || set->referenceCount() > 0)
        return;
    // Another widget may have let go of it before, and the device be shown by a new set since.
    auto *manager = DevLiveThrSetManager::Instance();
    if (manager->getVideoThreadSet(device) == set)
        manager->releaseVideoThreadSet(device);
}

bool LiveVideoWidget::start()
{
    if (!isInit) {
        VANTRA_LOG(Logger::Error) << "start not inited";
        return false;
    }
    if (isStart || isChanging)
        return true;
    initWidgetHandle();
    if (!initVideoThrSet(dev)) {
        VANTRA_LOG(Logger::Error) << "init video thr set fail";
        return false;
    }
    streamThreads = thrSet->getChannelThreads();
    const int channels = dev->getChannelCount();
    const int streams = dev->getStreamCount();
    const int streamsPerChannel = dev->getStreamCountPerChannel();
    QString reason;
    if (streamThreads.isEmpty())
        reason = QStringLiteral("no thread ");
    else if (streamThreads.size() != streams)
        reason = QStringLiteral("param mismatch (%1:%2)").arg(streamThreads.size()).arg(streams);
    if (!reason.isEmpty()) {
        VANTRA_LOG(Logger::Error) << reason;
        releaseVideoThrSet(dev);
        streamThreads.clear();
        return false;
    }
    streamStates = QVector<StreamState>(streams);
    endingThreads.clear();

    const QPointer<LiveVideoWidget> self(this);
    isChanging = true;
    if (channel >= 0 && channel < channels) {
        for (int stream = 0; stream < qMin(streamsPerChannel, kMaskBits); ++stream) {
            const bool wanted = static_cast<unsigned int>(streamMask) & maskBit(stream);
            if (wanted && !joinStream(stream))
                return false; // the host has deleted the widget
        }
    }
    isChanging = false;
    startAudioThread();
    // A stream that was joined has reported its start before there was sound to be muted.
    AbstractVideoWidget::setMuted(widgetPara.muted);
    recordThread = streamThreads.value(stream2Index(kMainStream)).data();
    isStart = true;
    return true;
}

/// Returns whether the widget is still there.
bool LiveVideoWidget::joinStream(int stream)
{
    const int index = stream2Index(stream);
    const QSharedPointer<AbstractVideoThread> thread = streamThreads.value(index);
    if (index >= 0 && index < streamStates.size()) {
        streamStates[index].used = true;
        if (!thread)
            return true;
    }
    connectBaseSignalSlots(index);
    if (!thread)
        return true;
    thread->isOwned() = true;
    thread->setVideoMode(widgetPara.videoMode);
    thread->setHardware(videoPara.hardware);
    if (!thread->isRunning()) {
        if (auto *bound = dynamic_cast<DeviceInterface *>(thread.data()))
            bound->setStreamChannel(channel, stream);
        startThread(thread.data());
        return true;
    }
    streamStates[index].thrStarted = true;
    const auto orders = thrSet->stopOrders.value(thread.data());
    if (orders.isGiven)
        endingThreads.insert(thread.data(), orders.count);
    if (thread->getIsOk() && !bringUpToDate(thread))
        return false;
    handleThrStarted(thread.data());
    return true;
}

/// Tells what a stream that was playing before has told already. Returns whether the widget is
/// still there.
bool LiveVideoWidget::bringUpToDate(const QSharedPointer<AbstractVideoThread> &thread)
{
    const QPointer<LiveVideoWidget> self(this);
    isDirectCall = true;
    receivePlayStart(0);
    if (!self)
        return false;
    isDirectCall = false;
    emit sig_receivePlayStart(0);
    emit thread->receiveSizeChanged();
    emit thread->receiveDuration(thread->getDuration());
    return self;
}

void LiveVideoWidget::startThread(AbstractVideoThread *thread)
{
    thread->setReadTimeout(videoPara.readTimeout);
    thread->setConnectTimeout(videoPara.connectTimeout);
    thrSet->stopOrders[thread].isGiven = false;
    // Starts it with QThread::InheritPriority. A stop that met a source which had not opened is
    // still asked for, and would end it at once: that is taken back.
    thread->play();
}

/// A thread that was joined while it was ending on another widget's order is started again.
void LiveVideoWidget::restartAfterStop(const QObject *thread)
{
    const int index = indexOf(thread);
    const int orders = endingThreads.value(thread);
    if (orders == 0 || index < 0 || !isStart || isChanging || !streamStates.at(index).used)
        return;
    AbstractVideoThread *stream = streamThreads.at(index).data();
    const auto given = thrSet->stopOrders.value(stream);
    // Not if it has been started, or told to stop once more, since; nor if its set was let go of.
    const bool isDue = given.isGiven && given.count == orders;
    if (isDue && stream->isRunning())
        return; // this is the end of an earlier run
    endingThreads.remove(thread);
    if (isDue && DevLiveThrSetManager::Instance()->getVideoThreadSet(dev) == thrSet)
        startThread(stream);
}

void LiveVideoWidget::stop(bool force)
{
    if (!isStart || isChanging)
        return;
    isChanging = true;
    // A host may delete the widget in a report; the streams are left all the same.
    const QPointer<LiveVideoWidget> self(this);
    const QSharedPointer<DevLiveThrSet> set = thrSet;
    const QVector<QSharedPointer<AbstractVideoThread>> threads = streamThreads;
    for (int index = 0; index < threads.size(); ++index) {
        AbstractVideoThread *thread = threads.at(index).data();
        if (thread) {
            thread->isOwned() = false;
            const bool ends = force || thread->referenceCount() < 1;
            if (ends) {
                auto &orders = set->stopOrders[thread];
                ++orders.count;
                orders.isGiven = true;
                thread->stop();
            }
            if (self) {
                streamStates[index].previewing = false;
                if (!ends)
                    handleThrFinished(thread); // for this widget it is gone
                reportEnd(thread);
            }
        }
        if (self)
            disconnectBaseSignalSlots(index);
    }
    // The references of playStart(), and what it has connected, are left to playStop().
    if (set)
        releaseUnused(set);
    if (!self)
        return;
    thrSet.reset();
    stopAudioThread();
    streamThreads.clear();
    endingThreads.clear();
    videoThread = nullptr;
    recordThread = nullptr;
    isStart = false;
    isChanging = false;
}

/// Returns whether the widget is still there.
bool LiveVideoWidget::reportEnd(AbstractVideoThread *thread)
{
    const QPointer<LiveVideoWidget> self(this);
    isDirectCall = true;
    receivePlayFinsh(thread);
    if (self)
        isDirectCall = false;
    return self;
}

void LiveVideoWidget::closeEvent(QCloseEvent *event)
{
    const QPointer<LiveVideoWidget> self(this);
    stop(false);
    if (self)
        AbstractVideoWidget::closeEvent(event);
}

// --- Showing ------------------------------------------------------------------------------------

void LiveVideoWidget::playStart(int stream)
{
    if (!isStart || isChanging) {
        VANTRA_LOG(Logger::Error) << "play not started";
        return;
    }
    const int index = stream2Index(stream);
    if (index < 0 || index >= streamThreads.size())
        return;
    AbstractVideoThread *thread = streamThreads.at(index).data();
    if (!thread)
        return;
    videoThread = thread;
    StreamState &state = streamStates[index];
    if (state.previewing)
        return;
    connectStreamSignalSlots(index);
    thread->previewRef().fetch_add(1);
    state.previewing = true;
    resizeEvent(nullptr); // the surface takes its size
    const auto form = thrSet->audioForms.constFind(thread);
    if (form != thrSet->audioForms.constEnd() && !noStreamControl)
        AbstractVideoWidget::openAudioOutput(form->sampleRate, form->channelCount,
                                             form->sampleSize);
}

void LiveVideoWidget::playStop(bool clear)
{
    const int index = indexOf(videoThread);
    if (index >= 0) {
        videoThread = nullptr;
        StreamState &state = streamStates[index];
        if (state.previewing) {
            std::atomic<int> &references = streamThreads.at(index)->previewRef();
            int count = references;
            while (count > 0 && !references.compare_exchange_weak(count, count - 1)) {
            }
            state.previewing = false;
            disconnectStreamSignalSlots(index);
        }
    }
    setDigitalZoom(false);
    if (clear)
        this->clear();
}

void LiveVideoWidget::replay(int stream)
{
    playStop(false);
    playStart(stream);
    receiveSizeChanged();
}

void LiveVideoWidget::snap(const QString &path, bool preview)
{
    if (!videoThread)
        return;
    videoThread->snap(liveSnapName(path, QDateTime::currentDateTime(), channel));
    videoThread->setSnapPreview(preview);
}

bool LiveVideoWidget::isOpenStreamTimeout() const
{
    return videoThread && videoThread->isOpenTimeout();
}

bool LiveVideoWidget::isReadStreamTimeout() const
{
    return !videoThread || videoThread->isReadTimeout();
}

bool LiveVideoWidget::isStreamExceedMax() const
{
    const auto *bound = dynamic_cast<DeviceInterface *>(videoThread.data());
    return bound && bound->isStreamExceedMax();
}

// --- Sound and talk -----------------------------------------------------------------------------

void LiveVideoWidget::startAudioThread()
{
    if (noStreamControl || !dev)
        return;
    const auto talk = QSharedPointer<DevAudioThread>::create();
    talk->bindDevice(dev);
    audioThread = talk;
    connect(talk.data(), &AudioThread::sig_startTalkDeviceBusy, this,
            &AbstractVideoWidget::sig_startTalkDeviceBusy, Qt::UniqueConnection);
    connect(talk.data(), &AudioThread::sig_startTalkError, this,
            &AbstractVideoWidget::sig_startTalkError, Qt::UniqueConnection);
    talk->startThread();
}

void LiveVideoWidget::stopAudioThread()
{
    AbstractVideoWidget::stopAudioThread();
    if (auto *talk = qobject_cast<DevAudioThread *>(audioThread.data()))
        talk->unbindDevice();
}

void LiveVideoWidget::talkStart()
{
    if (audioThread && !noStreamControl)
        QMetaObject::invokeMethod(audioThread.data(), "startTalk", Qt::QueuedConnection);
}

void LiveVideoWidget::talkStop()
{
    if (audioThread && !noStreamControl)
        QMetaObject::invokeMethod(audioThread.data(), "stopTalk", Qt::QueuedConnection);
}

void LiveVideoWidget::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    // A form is announced once, when the decoder is made: others may show the stream later.
    const QObject *thread = sender();
    if (thrSet && indexOf(thread) >= 0)
        thrSet->audioForms.insert(thread, {sampleRate, channelCount, sampleSize});
    if (!thread || thread == videoThread)
        AbstractVideoWidget::openAudioOutput(sampleRate, channelCount, sampleSize);
}

void LiveVideoWidget::playAudio(const QByteArray &data)
{
    const QObject *thread = sender();
    if (!thread || thread == videoThread) // another widget may be showing another stream
        AbstractVideoWidget::playAudio(data);
}

// --- Reports of the threads ---------------------------------------------------------------------

/// Whether that is a stream thread of a play that is over: what it had posted before it was
/// disconnected, and its end, may come at any time.
bool LiveVideoWidget::isFormerThread(const QObject *object) const
{
    return qobject_cast<const AbstractVideoThread *>(object) && indexOf(object) < 0;
}

void LiveVideoWidget::started()
{
    handleThrStarted(sender());
}

void LiveVideoWidget::finished()
{
    const QObject *thread = sender();
    const auto isUp = [this](const auto &stream) {
        return stream && stream->isRunning() && streamStates.at(indexOf(stream.data())).used;
    };
    // The object of a former thread may be gone by now, with which its report has no sender.
    if ((!thread || isFormerThread(thread)) && isStart &&
        std::any_of(streamThreads.begin(), streamThreads.end(), isUp))
        return; // the present play goes on
    handleThrFinished(thread);
    restartAfterStop(thread);
}

void LiveVideoWidget::handleThrStarted(const QObject *thread)
{
    const int index = indexOf(thread);
    if (index >= 0)
        streamStates[index].thrStarted = true;
    const bool allUp =
        std::none_of(streamStates.begin(), streamStates.end(),
                     [](const StreamState &state) { return state.used && !state.thrStarted; });
    if (allUp)
        AbstractVideoWidget::started();
}

void LiveVideoWidget::handleThrFinished(const QObject *thread)
{
    const int index = indexOf(thread);
    if (index >= 0)
        streamStates[index].thrStarted = false;
    AbstractVideoWidget::finished(); // also when others of the widget's threads go on: intended
}

void LiveVideoWidget::receivePlayStart(int time)
{
    // For a stream that played before the widget came there is no sender, and it is not marked.
    const QObject *thread = std::exchange(isDirectCall, false) ? nullptr : sender();
    if (isFormerThread(thread))
        return;
    const bool isFirst =
        std::none_of(streamStates.begin(), streamStates.end(),
                     [](const StreamState &state) { return state.used && state.playStarted; });
    if (isFirst)
        AbstractVideoWidget::receivePlayStart(time);
    const int index = indexOf(thread);
    if (index >= 0)
        streamStates[index].playStarted = streamStates[index].thrStarted = true;
    const bool allPlay =
        std::none_of(streamStates.begin(), streamStates.end(),
                     [](const StreamState &state) { return state.used && !state.playStarted; });
    if (allPlay)
        emit sig_receivePlayStart(0);
}

void LiveVideoWidget::receivePlayFinsh(QObject *thread)
{
    const bool isReport = !std::exchange(isDirectCall, false) && thread && sender() == thread;
    if (isReport && isFormerThread(thread))
        return;
    const int index = indexOf(thread);
    if (index >= 0)
        streamStates[index].playStarted = false;
    clear();
    const bool nonePlays = std::none_of(streamStates.begin(), streamStates.end(),
                                        [](const StreamState &state) { return state.playStarted; });
    if (nonePlays)
        AbstractVideoWidget::receivePlayFinsh(thread);
}
