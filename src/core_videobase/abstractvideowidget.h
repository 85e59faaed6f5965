// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/digitalzoom.h"
#include "core_videobase/overlay.h"
#include "vantraglobal.h"
#include "videotypes.h"

#include <QImage>
#include <QMutex>
#include <QPixmap>
#include <QPointer>
#include <QSharedPointer>
#include <QWidget>

class AudioThread;
class BannerWidget;
class Nv12D3D11Widget;
class Nv12D3D9Widget;
class Nv12Widget;
class QTimer;
class YuvWidget;

/// Base of every widget that shows a stream: the picture or a render surface, overlays, a banner,
/// digital zoom, and the ties to one playing, one recording and one audio thread. It decodes
/// nothing and creates no stream thread; subclasses do.
///
/// Layers, from the bottom: `hwndWidget` holds the native or OpenGL surface, `osdWidget` is painted
/// by this class in VideoMode_Painter, the banner lies above both. Only the banner is seen over a
/// surface.
///
/// A subclass assigns `videoThread` (and `recordThread` if it records), connects the signals of the
/// thread to the protected slots, and calls initWidgetHandle() before it starts the thread.
///
/// Threads. Everything here runs on the GUI thread; stream threads reach the slots by queued and
/// blocking queued connections only. So never wait for a stream thread here. Frames are lent: no
/// pointer of a receiveFrame slot is kept by the widget after the slot has returned.
///
/// Ownership. The widget owns its layers, overlays, surfaces and audio thread. Controls without a
/// target do nothing, in silence.
///
/// Deletion. A host stops playing first, but may delete the widget at any time, also in its handler
/// of a signal of the widget. Stream threads that are children end with it, as children do. Only
/// where the widget goes within a queued call of one of its slots, for which a child may stand
/// waiting, are the running children told to stop and deleted by themselves as soon as they have
/// ended, with the application at the latest.
class VANTRA_EXPORT AbstractVideoWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(AbstractVideoWidget)

    /// Background text: pixels, text, fill of the frame rectangle, pen.
    Q_PROPERTY(int bgTextSize READ getBgTextSize WRITE setBgTextSize)
    Q_PROPERTY(QString bgText READ getBgText WRITE setBgText)
    Q_PROPERTY(QColor bgColor READ getBgColor WRITE setBgColor)
    Q_PROPERTY(QColor textColor READ getTextColor WRITE setTextColor)
    /// Frame: pixels, colour without and with focus.
    Q_PROPERTY(int borderWidth READ getBorderWidth WRITE setBorderWidth)
    Q_PROPERTY(QColor borderColor READ getBorderColor WRITE setBorderColor)
    Q_PROPERTY(QColor focusColor READ getFocusColor WRITE setFocusColor)
    /// The banner's own values: not those of getWidgetPara().banner once one of these was set.
    Q_PROPERTY(int bannerBgAlpha READ getBannerBgAlpha WRITE setBannerBgAlpha)
    Q_PROPERTY(QColor bannerBgColor READ getBannerBgColor WRITE setBannerBgColor)
    Q_PROPERTY(QColor bannerTextColor READ getBannerTextColor WRITE setBannerTextColor)
    Q_PROPERTY(QColor bannerPressColor READ getBannerPressColor WRITE setBannerPressColor)

public:
    /// Folders under which subclasses and hosts build file names: "./video" and "snap".
    static QString recordPath;
    static QString snapPath;

    explicit AbstractVideoWidget(QWidget *parent = nullptr); ///< without any thread
    ~AbstractVideoWidget() override;

    int getBgTextSize() const { return widgetPara.bgTextSize; }      ///< pixels
    void setBgTextSize(int bgTextSize);                              ///< pixels
    QString getBgText() const { return widgetPara.bgText; }          ///< shown without a picture
    void setBgText(const QString &bgText);                           ///< taken over at once
    QColor getBgColor() const { return widgetPara.bgColor; }         ///< fill of the frame
    void setBgColor(const QColor &bgColor);                          ///< taken over at once
    QColor getTextColor() const { return widgetPara.textColor; }     ///< pen of that text
    void setTextColor(const QColor &textColor);                      ///< taken over at once
    int getBorderWidth() const { return widgetPara.borderWidth; }    ///< pixels
    void setBorderWidth(int borderWidth);                            ///< pixels
    QColor getBorderColor() const { return widgetPara.borderColor; } ///< without focus
    void setBorderColor(const QColor &borderColor);                  ///< taken over at once
    QColor getFocusColor() const { return widgetPara.focusColor; }   ///< with focus
    void setFocusColor(const QColor &focusColor);                    ///< taken over at once
    int getBannerBgAlpha() const;                                    ///< 0 to 255
    void setBannerBgAlpha(int bgAlpha);                              ///< 0 to 255
    QColor getBannerBgColor() const;                                 ///< behind the buttons
    void setBannerBgColor(const QColor &bgColor);                    ///< taken over at once
    QColor getBannerTextColor() const;                               ///< of text and buttons
    void setBannerTextColor(const QColor &textColor);                ///< taken over at once
    QColor getBannerPressColor() const;                              ///< of a pressed button
    void setBannerPressColor(const QColor &pressColor);              ///< taken over at once

    /// What the next thread is asked for. A running thread is not touched.
    VideoPara getVideoPara() const { return videoPara; }
    void setVideoPara(const VideoPara &para);
    /// Look and feel, taken over at once. New banner colours are the exception: they are seen when
    /// a banner property is changed next.
    WidgetPara getWidgetPara() const { return widgetPara; }
    void setWidgetPara(const WidgetPara &para);
    void setVideoFlag(const QString &videoFlag);                    ///< kept for the host
    void setScaleMode(const ScaleMode &scaleMode);                  ///< taken over at once
    ScaleMode getScaleMode() const { return widgetPara.scaleMode; } ///< as configured
    /// Configures the render path. The value already configured changes nothing, even where the
    /// decision on hardware decoding has put another mode into force.
    void setVideoMode(const VideoMode &videoMode);
    /// The playing thread runs: true from its QThread::started to its QThread::finished.
    bool getIsRunning() const { return isRunning; }
    /// Whether the top-level window is minimized.
    bool getIsMinimized() const;

    /// Digital zoom by wheel and drag. Ends with each play.
    void setDigitalZoom(bool on);
    bool isDigitalZoom() const { return zoom.on; }

    bool eventFilter(QObject *watched, QEvent *event) override;

    /// Whether a queued call of a slot or signal of some widget has not returned yet. A stream
    /// thread may stand waiting for it, so nobody may wait for that thread meanwhile.
    static bool isReporting();

signals:
    /// For hosts; the library does not send it.
    void receiveLevel(double level);
    void sig_receivePlayStart(int time); ///< play has begun; `time` is 0
    void sig_receivePlayFinsh();         ///< play has ended
    /// A file or a tree item that carries a URL was dropped on the widget.
    void sig_fileDrag(QString url);
    /// Object name of a banner button; that of a toggling button names the state just entered.
    void sig_btnClicked(QString btnName);
    /// A snapshot is on disk, if a preview was asked for.
    void snapImage(QImage image, QString snapName);
    /// The device refuses another stream.
    void sig_connExceedMax();
    /// The device refuses for any other reason.
    void sig_otherError();
    void sig_startTalkDeviceBusy(QString sn); ///< somebody else talks; serial number
    void sig_startTalkError(QString sn);      ///< talk is refused; serial number

protected:
    /// Creates and starts the audio thread, in place of the last one.
    virtual void startAudioThread();
    /// Stops the audio thread and waits for its worker; it stays in `audioThread`.
    virtual void stopAudioThread();

public slots:
    /// Overlay texts and pictures, drawn in list order in VideoMode_Painter only. setOsd() replaces
    /// the first of that name without a repaint, else appends; appendOsd() looks for no duplicate.
    void setOsd(const OsdInfo &osd);
    void appendOsd(const OsdInfo &osd);
    void removeOsd(const QString &name);
    void clearOsd();
    /// Shapes burnt into the picture, by the same rules.
    void setGraph(const GraphInfo &graph);
    void appendGraph(const GraphInfo &graph);
    void removeGraph(const QString &name);
    void clearGraph();
    /// Hands in a picture without a thread. It is shown while a host has set no thread and
    /// `isRunning` is true.
    void setImage(const QImage &image);
    /// Forgets picture, overlays and zoom.
    void clear();
    /// Fills the bars beside a letter-boxed picture with `fillColor` while `enabled`.
    void setPalettex(bool enabled);
    /// Saves a picture below `path`, as the subclass says; nothing here.
    virtual void snap(const QString &path = QString(), bool preview = false);
    /// Seconds per recorded file; 0: one file without limit.
    virtual void setSaveInterval(int sec);
    virtual void recordStart(const QString &path); ///< below the folder `path`
    virtual void recordStop();                     ///< ends that recording
    virtual void talkStart();                      ///< nothing here
    virtual void talkStop();                       ///< nothing here
    /// 0 to 100.
    virtual void setVolume(int volume);
    /// Without an audio thread the value is not even stored.
    virtual void setMuted(bool muted);
    virtual void setCalcLevel(bool calcLevel); ///< measure the level of sound

protected slots:
    virtual void started();                                   ///< the playing thread runs
    virtual void finished();                                  ///< it has ended
    virtual void receivePlayStart(int time);                  ///< shows what is to be painted
    virtual void receivePlayFinsh(QObject *thread);           ///< from the host or from the thread
    virtual void btnClicked(const QString &btnName);          ///< of the banner; nothing here
    virtual void receiveImage(const QImage &image, int time); ///< drops what is not shown now
    /// Posts a resize event to the widget itself, so that the layout runs in the event loop.
    void receiveSizeChanged();
    /// Decides whether the thread decodes by hardware; the thread waits for the decision.
    void onUpdateCodecRender(const QString &codecFmt, int w, int h);
    void receiveRenderStart(); ///< before the first picture

    /// Bring a picture to the surface of its render path. It is lent until the return, and dropped
    /// unless it comes from the present thread and can be seen.
    virtual void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                              quint32 linesizeY, quint32 linesizeU, quint32 linesizeV);
    virtual void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataUV,
                              quint32 linesizeY, quint32 linesizeUV);
    virtual void receiveFrame(int width, int height, quint8 *data, bool codecChanged);
    virtual void receiveFrame(int width, int height, quint8 *data, qint32 index, bool codecChanged);
    /// Hz, channels, bits.
    virtual void openAudioOutput(int sampleRate, int channelCount, int sampleSize);
    virtual void playAudio(const QByteArray &data); ///< to the audio thread
    /// Create and show the surface of a render path, or free it. A host that renders by OpenGL or
    /// Direct3D 11 invokes them itself; frames without a surface are dropped.
    void newOpenglWidgets();
    void freeOpenglWidgets();
    void newD3D9Widgets();
    void freeD3D9Widgets();
    void newD3D11Widgets();
    void freeD3D11Widgets();
    /// Lets go of the last picture; the memory it may lie in is about to be freed.
    void onDecoderDestroyed();

protected:
    bool event(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;
    /// Lays out the layers; the event may be null.
    void resizeEvent(QResizeEvent *event) override;

    void closeEvent(QCloseEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

    /// Orders the layers for the render path in force.
    void initWidgetHandle();

    /// Brings the pictures of a thread here, with all that goes with a picture. The lent frames are
    /// blocking: the thread waits until the slot has returned.
    void connectPictures(const AbstractVideoThread *thread);
    /// From here on no picture of the thread arrives, but for an image that is queued already.
    void disconnectPictures(const AbstractVideoThread *thread);

    QMutex listMutex; ///< guards changes of the overlay lists

    bool isRunning = false; ///< see getIsRunning()
    /// For subclasses: true switches recording, sound and talk of this widget off.
    bool noStreamControl = false;
    QTimer *osdTimer = nullptr; ///< repaints each second while playing, for clock texts

    // Surfaces are children of hwndWidget.
    QPointer<YuvWidget> yuvWidget;             ///< for three planes
    QPointer<Nv12Widget> nv12Widget;           ///< for two planes
    QPointer<Nv12D3D9Widget> nv12D3D9Widget;   ///< for surfaces
    QPointer<Nv12D3D11Widget> nv12D3D11Widget; ///< for textures

    QWidget *hwndWidget = nullptr;        ///< lowest layer
    QWidget *osdWidget = nullptr;         ///< painted layer
    BannerWidget *bannerWidget = nullptr; ///< highest layer
    QPointer<QObject> snapPreview; ///< window that closes with this widget, if a subclass set one

    QImage image;                              ///< last picture of VideoMode_Painter
    QRect targetRect;                          ///< where the picture goes, in widget pixels
    int videoWidth = 0;                        ///< pixels
    int videoHeight = 0;                       ///< pixels
    int rotate = -1;                           ///< degrees; -1 until the thread has told
    bool onlyAudio = false;                    ///< of the playing thread
    QString hardware = QStringLiteral("none"); ///< decoding in force: "none" or "dxva2"

    WidgetPara widgetPara;                       ///< as configured
    VideoPara videoPara;                         ///< as configured
    OverlayList<OsdInfo> osdList{listMutex};     ///< see setOsd()
    OverlayList<GraphInfo> graphList{listMutex}; ///< see setGraph()
    DigitalZoom zoom;                            ///< see setDigitalZoom()
    QPixmap zoomCursor;                          ///< null where the picture is missing

    QPointer<AbstractVideoThread> videoThread;  ///< the thread whose frames are shown
    QPointer<AbstractVideoThread> recordThread; ///< the thread that records; may be another one
    QSharedPointer<AudioThread> audioThread;    ///< null before the first start
    VideoMode renderMode = VideoMode_Hwnd;      ///< in force, as against widgetPara.videoMode

private:
    int queuedCalls = 0;    ///< of slots or signals of this widget that have not returned yet
    bool isCovered = false; ///< by the picture, as Qt was told

    bool isShown() const;
    /// Shows another picture, or none.
    void setPicture(const QImage &picture);
    /// Whether the picture hides everything of and behind this widget.
    bool pictureCovers() const;
    void updateCover();
    /// Whether Qt must not paint over what is configured to be presented in hwndWidget.
    bool isNativeMode() const;
    template<typename Value>
    void setWidgetField(Value WidgetPara::*field, const Value &value);
    template<typename Value>
    void setBannerField(Value BannerPara::*field, const Value &value);
    template<typename Surface>
    bool prepareFrame(int width, int height, Surface *surface);
    void paintOsdWidget();
    void drawBorder(QPainter &painter) const;
    void drawBg(QPainter &painter) const;
    void drawImage(QPainter &painter);
    void forwardZoom();
};
