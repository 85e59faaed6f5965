// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "addresscheck.h"
#include "core_live/livevideowidget.h"
#include "device.h"
#include "statistics.h"
#include "viewrecorder.h"
#include "viewstate.h"

#include <QDateTime>
#include <QElapsedTimer>

class ViewLabels;

/// One place of the grid: shows a channel of a device for as long as it is wanted, comes back by
/// itself after a break, and never lets an old picture pass for a live one. Without a camera it is
/// an empty place that one can be dragged onto.
class LiveView final : public LiveVideoWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(LiveView)

public:
    /// `transport`: "tcp" or "udp", where the device sends by RTSP. `files`: where recordings and
    /// pictures go.
    LiveView(const Camera &camera, const QString &transport, const CameraFiles &files,
             QWidget *parent = nullptr);
    ~LiveView() override;

    const Camera &camera() const { return m_camera; }
    /// Wants pictures from now on, and does not give up. Nothing without a camera.
    void play();
    /// Stops, and stays stopped. Returns at once; the threads end in their own time.
    void halt();
    bool isWanted() const { return m_wanted; }
    /// Shows the main stream, for a large view, or the sub stream; without one, the main stream.
    void showMainStream(bool main);
    bool isMainStreamShown() const { return m_stream == 0; }

    /// To be called a few times each second: finds out the state and shows it.
    void tick();
    ViewState state() const { return m_state; }
    ViewSummary summary() const;
    double pictureRate() const { return m_meter.rate(); }
    /// Whether there should be a picture by now, and is none.
    bool isFailing() const { return facts().isFailing || m_state == ViewState::NoSignal; }

    bool isMuted() const { return widgetPara.muted; }
    void toggleMuted();
    /// By so many percent, within 0 to 100.
    void changeVolume(int step);
    /// Fit, fill, own size, and again.
    void nextScaleMode();
    void toggleZoom();
    void toggleLabels();
    /// Shows pictures by OpenGL, without texts over them, or paints them; what plays begins anew.
    /// False where there is no OpenGL: then they are painted.
    bool setOpengl(bool on);
    /// Shows a few words over the live picture, which vanish by themselves.
    void notice(const QString &text);
    /// Saves the next picture in the folder of this camera.
    void savePicture();
    /// Records into the folder of this camera, from the next key picture on, until it is ended or
    /// halt(). A stream that breaks off and comes back goes on in a new file.
    void toggleRecording();
    bool isRecording() const { return m_recorder.isWanted(); }
    /// Talks with the device by the microphone, until that is ended or halt().
    void toggleTalk();
    bool isTalking() const { return m_talking; }
    /// Shows the folder of this camera's files.
    void showFolder();
    const CameraFiles &files() const { return m_recorder.files(); }
    /// Shows the frame that marks the selected view; off while it is the only one.
    void setFrameVisible(bool visible);

signals:
    void enlargeRequested();
    /// A camera was dragged onto the view; the key of Camera.
    void cameraDropped(const QString &key);
    /// The view got the focus.
    void selected();
    /// Something changed that a tool bar shows.
    void changed();

protected:
    void finished() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject *thread) override;
    void receiveImage(const QImage &image, int time) override;
    using LiveVideoWidget::receiveFrame;
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                      quint32 linesizeY, quint32 linesizeU, quint32 linesizeV) override;
    void playAudio(const QByteArray &data) override;
    void btnClicked(const QString &name) override;
    void focusInEvent(QFocusEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    void setUpLook();
    void connectReports();
    void begin();
    void leave();
    void keepThreadsRunning();
    void notePicture(const QSize &size, bool isShown);
    void endDeadStream();
    void dropUnseenPicture();
    void showState();
    ViewFacts facts() const;
    QString linkReason() const;
    void placeOverlay();
    void showInfo(const QString &text);
    void setState(ViewState state);
    bool maySave() const;
    void setTalking(bool talking);
    void endTalk();

    const Camera m_camera;
    const QString m_transport;
    StatusOverlay *m_overlay;
    ViewLabels *m_labels;
    ViewRecorder m_recorder;
    AddressCheck m_check;
    PictureMeter m_meter;
    ViewState m_state = ViewState::Stopped;
    bool m_wanted = false;
    bool m_started = false;     ///< the device's set of threads has been joined
    int m_stream = 0;           ///< the one that is shown
    bool m_isSwitching = false; ///< no picture since another stream was chosen
    bool m_hasPicture = false;  ///< since the stream was opened
    int m_returning = 0;        ///< pictures that must follow a gap before the view is live
    bool m_wasLive = false;     ///< since it is wanted
    bool m_hasSound = false;
    bool m_talking = false;
    int m_volume = 100; ///< percent
    QString m_reason;   ///< why there is no picture, as its address tells
    QSize m_pictureSize;
    QDateTime m_lastPictureAt;
    QElapsedTimer m_sincePicture; ///< or since the stream was opened
    QElapsedTimer m_sinceSign;    ///< of life: since picture, sound, or the opening of the stream
    QElapsedTimer m_sinceTry;     ///< since joining was tried last
    QElapsedTimer m_sinceCheck;
    bool m_saving = false;     ///< the file of a picture is not there yet
    QElapsedTimer m_sinceSave; ///< since that was wanted, or was there
};
