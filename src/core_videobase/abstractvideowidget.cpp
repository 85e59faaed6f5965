// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/abstractvideowidget.h"

#include "core_audio/audiothread.h"
#include "core_videobase/bannerwidget.h"
#include "processend_p.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QMimeData>
#include <QResizeEvent>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>

namespace {

constexpr char kItemDragFormat[] = "application/x-qabstractitemmodeldatalist";
constexpr char kUrlDragFormat[] = "text/uri-list";
constexpr int kOsdInterval = 1000;  // milliseconds: a clock text moves on each second
constexpr int kZoomCursorSize = 20; // pixels

QPixmap loadZoomCursor()
{
    const QString path = QStringLiteral(":/primary/digital-zoom.svg");
    if (!QFile::exists(path))
        return {};
    return QPixmap(path).scaled(kZoomCursorSize, kZoomCursorSize, Qt::IgnoreAspectRatio,
                                Qt::FastTransformation);
}

// The address that a dragged tree item carries; items at the top of a tree carry none.
QString itemUrl(QObject *source)
{
    const auto *tree = qobject_cast<QTreeWidget *>(source);
    const QTreeWidgetItem *item = tree ? tree->currentItem() : nullptr;
    if (!item || !item->parent())
        return {};
    return item->data(0, Qt::UserRole).toString();
}

// Ends a thread without waiting for it: it goes as soon as run() has returned. Until then the
// application owns it, so that none outlives that.
void letGo(AbstractVideoThread *thread)
{
    thread->setParent(QCoreApplication::instance());
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    if (thread->isRunning())
        thread->stop();
    else // has ended meanwhile, perhaps before it was connected
        thread->deleteLater();
}

} // namespace

QString AbstractVideoWidget::recordPath = QStringLiteral("./video");
QString AbstractVideoWidget::snapPath = QStringLiteral("snap");

AbstractVideoWidget::AbstractVideoWidget(QWidget *parent) : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    zoomCursor = loadZoomCursor();
    setStyleSheet(QStringLiteral("background-color:black;"));

    hwndWidget = new QWidget(this);
    hwndWidget->setObjectName(QStringLiteral("hwndWidget"));
    osdWidget = new QWidget(this);
    osdWidget->setObjectName(QStringLiteral("osdWidget"));
    osdWidget->installEventFilter(this);

    bannerWidget = new BannerWidget(this); // last, so that it lies above the others
    connect(bannerWidget, QOverload<const QString &>::of(&BannerWidget::btnClicked), this,
            &AbstractVideoWidget::sig_btnClicked);
    bannerWidget->setObjectName(QStringLiteral("bannerWidget"));
    bannerWidget->hide();

    osdTimer = new QTimer(this);
    connect(osdTimer, &QTimer::timeout, osdWidget, QOverload<>::of(&QWidget::update));
    osdTimer->setInterval(kOsdInterval);

    connect(this, &AbstractVideoWidget::sig_btnClicked, this, &AbstractVideoWidget::btnClicked);
}

AbstractVideoWidget::~AbstractVideoWidget()
{
    audioThread.reset();
    // Stream threads are children: QWidget destroys them when the slots of this class are gone
    // already, and they may emit until their run() has ended. What was posted is dropped, which
    // also lets go of a thread that waits for its slot.
    const auto children =
        findChildren<AbstractVideoThread *>(QString(), Qt::FindDirectChildrenOnly);
    for (AbstractVideoThread *thread : children) {
        thread->disconnect(this);
        // The call under way may be the one that this thread waits for, and it cannot return
        // before the widget is gone.
        if (queuedCalls > 0 && thread->isRunning())
            letGo(thread);
    }
    if (videoThread)
        videoThread->disconnect(this);
    if (recordThread)
        recordThread->disconnect(this);
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
}

bool AbstractVideoWidget::event(QEvent *event)
{
    if (event->type() != QEvent::MetaCall)
        return QWidget::event(event);
    const QPointer<AbstractVideoWidget> self(this);
    const processend::Report report;
    ++queuedCalls;
    const bool handled = QWidget::event(event);
    if (self) // a host may delete the widget in its handler
        --queuedCalls;
    return handled;
}

bool AbstractVideoWidget::isReporting()
{
    return processend::Report::underWay() > 0;
}

template<typename Value>
void AbstractVideoWidget::setWidgetField(Value WidgetPara::*field, const Value &value)
{
    if (widgetPara.*field == value)
        return;
    widgetPara.*field = value;
    update();
}

template<typename Value>
void AbstractVideoWidget::setBannerField(Value BannerPara::*field, const Value &value)
{
    BannerPara para = bannerWidget->getBannerPara();
    para.*field = value;
    bannerWidget->setBannerPara(para);
    bannerWidget->initStyle();
}

void AbstractVideoWidget::setBgTextSize(int bgTextSize)
{
    setWidgetField(&WidgetPara::bgTextSize, bgTextSize);
}

void AbstractVideoWidget::setBgText(const QString &bgText)
{
    setWidgetField(&WidgetPara::bgText, bgText);
}

void AbstractVideoWidget::setBgColor(const QColor &bgColor)
{
    setWidgetField(&WidgetPara::bgColor, bgColor);
}

void AbstractVideoWidget::setTextColor(const QColor &textColor)
{
    setWidgetField(&WidgetPara::textColor, textColor);
}

void AbstractVideoWidget::setBorderWidth(int borderWidth)
{
    setWidgetField(&WidgetPara::borderWidth, borderWidth);
}

void AbstractVideoWidget::setBorderColor(const QColor &borderColor)
{
    setWidgetField(&WidgetPara::borderColor, borderColor);
}

void AbstractVideoWidget::setFocusColor(const QColor &focusColor)
{
    setWidgetField(&WidgetPara::focusColor, focusColor);
}

int AbstractVideoWidget::getBannerBgAlpha() const
{
    return bannerWidget->getBannerPara().bgAlpha;
}

void AbstractVideoWidget::setBannerBgAlpha(int bgAlpha)
{
    setBannerField(&BannerPara::bgAlpha, bgAlpha);
}

QColor AbstractVideoWidget::getBannerBgColor() const
{
    return bannerWidget->getBannerPara().bgColor;
}

void AbstractVideoWidget::setBannerBgColor(const QColor &bgColor)
{
    setBannerField(&BannerPara::bgColor, bgColor);
}

QColor AbstractVideoWidget::getBannerTextColor() const
{
    return bannerWidget->getBannerPara().textColor;
}

void AbstractVideoWidget::setBannerTextColor(const QColor &textColor)
{
    setBannerField(&BannerPara::textColor, textColor);
}

QColor AbstractVideoWidget::getBannerPressColor() const
{
    return bannerWidget->getBannerPara().pressColor;
}

void AbstractVideoWidget::setBannerPressColor(const QColor &pressColor)
{
    setBannerField(&BannerPara::pressColor, pressColor);
}

void AbstractVideoWidget::setVideoPara(const VideoPara &para)
{
    videoPara = para;
    hardware = para.hardware;
}

void AbstractVideoWidget::setWidgetPara(const WidgetPara &para)
{
    BannerPara banner = para.banner;
    banner.position = para.bannerPosition; // the position inside para.banner has no effect
    bannerWidget->setBannerPara(banner);
    bannerWidget->initButton(); // initStyle() is left out: new colours wait for a banner property
    if (!para.bannerEnable)
        bannerWidget->hide();

    renderMode = para.videoMode;
    const bool layoutChanges =
        para.scaleMode != widgetPara.scaleMode || para.borderWidth != widgetPara.borderWidth;
    widgetPara = para;
    update();
    if (layoutChanges)
        receiveSizeChanged();
}

void AbstractVideoWidget::setVideoFlag(const QString &videoFlag)
{
    widgetPara.videoFlag = videoFlag;
}

void AbstractVideoWidget::setScaleMode(const ScaleMode &scaleMode)
{
    if (widgetPara.scaleMode == scaleMode)
        return;
    widgetPara.scaleMode = scaleMode;
    receiveSizeChanged();
}

void AbstractVideoWidget::setVideoMode(const VideoMode &videoMode)
{
    if (widgetPara.videoMode == videoMode)
        return; // renderMode stays too, whatever the hardware decision has made of it
    widgetPara.videoMode = videoMode;
    renderMode = videoMode;
}

bool AbstractVideoWidget::getIsMinimized() const
{
    const QWidget *top = this;
    while (const QWidget *parent = top->parentWidget())
        top = parent;
    return top->isMinimized();
}

bool AbstractVideoWidget::isNativeMode() const
{
    return widgetPara.videoMode == VideoMode_Hwnd || widgetPara.videoMode == VideoMode_D3D9 ||
           widgetPara.videoMode == VideoMode_D3D11;
}

void AbstractVideoWidget::receiveSizeChanged()
{
    QCoreApplication::postEvent(this, new QResizeEvent(size(), size()));
}

void AbstractVideoWidget::setPalettex(bool enabled)
{
    if (widgetPara.scaleMode == ScaleMode_Fill || widgetPara.fillColor == Qt::transparent)
        return;
    setAutoFillBackground(enabled);
    if (!enabled)
        return;
    QPalette filled = palette();
    filled.setBrush(QPalette::Window, QBrush(widgetPara.fillColor));
    setPalette(filled);
}

void AbstractVideoWidget::started()
{
    isRunning = true;
}

void AbstractVideoWidget::finished()
{
    isRunning = false;
}

void AbstractVideoWidget::receivePlayStart(int)
{
    if (isNativeMode()) {
        hwndWidget->setUpdatesEnabled(false);
        hwndWidget->setVisible(true);
        osdWidget->setVisible(false);
    } else {
        hwndWidget->setVisible(false);
        osdWidget->setVisible(true);
    }
    resizeEvent(nullptr);
    update();
    setPalettex(true);
    setMuted(widgetPara.muted);
    osdTimer->start();
    newD3D9Widgets();
}

void AbstractVideoWidget::receivePlayFinsh(QObject *)
{
    if (isNativeMode())
        hwndWidget->setUpdatesEnabled(true);
    setPalettex(false);
    osdTimer->stop();
    freeD3D9Widgets(); // the other surfaces stay
    emit sig_receivePlayFinsh();
}

void AbstractVideoWidget::snap(const QString &, bool) {}

void AbstractVideoWidget::talkStart() {}

void AbstractVideoWidget::talkStop() {}

void AbstractVideoWidget::btnClicked(const QString &) {}

void AbstractVideoWidget::setSaveInterval(int sec)
{
    if (recordThread && !noStreamControl)
        recordThread->setSaveInterval(AbstractVideoThread::MANUAL_RECORD, sec);
}

void AbstractVideoWidget::recordStart(const QString &path)
{
    if (!recordThread || noStreamControl)
        return;
    recordThread->setSavePath(AbstractVideoThread::MANUAL_RECORD, path);
    recordThread->recordStart(AbstractVideoThread::MANUAL_RECORD);
}

void AbstractVideoWidget::recordStop()
{
    if (recordThread && !noStreamControl)
        recordThread->recordStop(AbstractVideoThread::MANUAL_RECORD);
}

void AbstractVideoWidget::startAudioThread()
{
    if (noStreamControl)
        return;
    audioThread = QSharedPointer<AudioThread>::create();
    connect(audioThread.data(), &AudioThread::sig_startTalkDeviceBusy, this,
            &AbstractVideoWidget::sig_startTalkDeviceBusy, Qt::UniqueConnection);
    connect(audioThread.data(), &AudioThread::sig_startTalkError, this,
            &AbstractVideoWidget::sig_startTalkError, Qt::UniqueConnection);
    audioThread->startThread();
}

void AbstractVideoWidget::stopAudioThread()
{
    if (audioThread)
        audioThread->stopThread();
}

// The audio thread object lives on its own thread, hence the queued calls.

void AbstractVideoWidget::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    if (audioThread)
        QMetaObject::invokeMethod(audioThread.data(), "openAudioOutput", Qt::QueuedConnection,
                                  Q_ARG(int, sampleRate), Q_ARG(int, channelCount),
                                  Q_ARG(int, sampleSize));
}

void AbstractVideoWidget::playAudio(const QByteArray &data)
{
    if (audioThread)
        QMetaObject::invokeMethod(audioThread.data(), "play", Qt::QueuedConnection,
                                  Q_ARG(QByteArray, data));
}

void AbstractVideoWidget::setVolume(int volume)
{
    if (audioThread)
        QMetaObject::invokeMethod(audioThread.data(), "receiveVolume", Qt::QueuedConnection,
                                  Q_ARG(int, volume));
}

void AbstractVideoWidget::setMuted(bool muted)
{
    if (!audioThread)
        return; // a mute set while nothing plays is not kept: this is intended
    widgetPara.muted = muted;
    QMetaObject::invokeMethod(audioThread.data(), "receiveMuted", Qt::QueuedConnection,
                              Q_ARG(bool, muted));
}

void AbstractVideoWidget::setCalcLevel(bool calcLevel)
{
    if (audioThread)
        audioThread->setCalcLevel(calcLevel);
}

void AbstractVideoWidget::closeEvent(QCloseEvent *)
{
    if (snapPreview)
        snapPreview->deleteLater();
    if (osdTimer->isActive())
        osdTimer->stop();
}

void AbstractVideoWidget::dragEnterEvent(QDragEnterEvent *event)
{
    const QMimeData *mime = event ? event->mimeData() : nullptr;
    if (mime && mime->hasFormat(QLatin1String(kItemDragFormat))) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else if (mime && mime->hasFormat(QLatin1String(kUrlDragFormat))) {
        event->setDropAction(Qt::LinkAction);
        event->accept();
    } else if (event) {
        event->ignore();
    }
}

void AbstractVideoWidget::dropEvent(QDropEvent *event)
{
    const QMimeData *mime = event ? event->mimeData() : nullptr;
    if (!mime)
        return;
    QString url;
    if (mime->hasUrls())
        url = mime->urls().value(0).toLocalFile();
    else if (mime->hasFormat(QLatin1String(kItemDragFormat)))
        url = itemUrl(event->source());
    if (!url.isEmpty())
        emit sig_fileDrag(url);
}
