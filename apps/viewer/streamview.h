// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "addresscheck.h"
#include "cameraaddress.h"
#include "core_videobase/standardvideowidget.h"
#include "statistics.h"
#include "viewrecorder.h"
#include "viewstate.h"

#include <QDateTime>
#include <QTimer>

class ViewLabels;

/// One camera: plays its address for as long as it is wanted, comes back by itself after a break,
/// and never lets an old picture pass for a live one.
class StreamView final : public StandardVideoWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(StreamView)

public:
    /// `transport`: "tcp" or "udp". `files`: where recordings and pictures go.
    StreamView(const CameraAddress &address, const QString &transport, const CameraFiles &files,
               QWidget *parent = nullptr);
    ~StreamView() override;

    /// Wants pictures from now on, and does not give up.
    void play();
    /// Stops, and stays stopped. Returns at once; see hasRunningThreads().
    void halt();
    bool isWanted() const { return m_wanted; }
    /// Whether a stream thread has yet to end. The widget may be deleted when none has.
    bool hasRunningThreads() const;

    /// To be called a few times each second: finds out the state and shows it.
    void tick();
    ViewState state() const { return m_state; }
    ViewSummary summary() const;
    double pictureRate() const { return m_meter.rate(); }
    const CameraAddress &address() const { return m_address; }

    bool isMuted() const { return widgetPara.muted; }
    void toggleMuted();
    /// By so many percent, within 0 to 100.
    void changeVolume(int step);
    /// Fit, fill, own size, and again.
    void nextScaleMode();
    void toggleZoom();
    void toggleLabels();
    /// Shows a few words over the live picture, which vanish by themselves.
    void notice(const QString &text);
    /// Saves the next picture in the folder of this camera.
    void savePicture();
    /// Records into the folder of this camera, from the next key picture on, until it is ended or
    /// halt(). A stream that breaks off and comes back goes on in a new file.
    void toggleRecording();
    bool isRecording() const { return m_recorder.isWanted(); }
    /// Shows the folder of this camera's files.
    void showFolder();
    const CameraFiles &files() const { return m_recorder.files(); }
    /// Shows the frame that marks the selected view; off while it is the only one.
    void setFrameVisible(bool visible);

signals:
    void enlargeRequested();
    /// The view got the focus.
    void selected();
    /// Something changed that a tool bar shows.
    void changed();

protected:
    // One sound worker for the life of the view: the library keeps some memory for each that it
    // makes, and a view may reconnect for weeks.
    void startAudioThread() override;
    void stopAudioThread() override;
    bool createVideoThread() override;
    void releaseVideoThread() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject *thread) override;
    void receiveImage(const QImage &image, int time) override;
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize) override;
    void btnClicked(const QString &name) override;
    void focusInEvent(QFocusEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    void setUpLook();
    void begin();
    void showState();
    ViewFacts facts() const;
    void placeOverlay();
    void showInfo(const QString &text);
    void setState(ViewState state);
    void restartIfDead();
    bool maySave() const;

    const CameraAddress m_address;
    const QString m_transport;
    StatusOverlay *m_overlay;
    ViewLabels *m_labels;
    ViewRecorder m_recorder;
    AddressCheck m_check;
    QTimer m_againTimer;   ///< pause before a broken stream is opened again
    PictureMeter m_meter;
    ViewState m_state = ViewState::Stopped;
    bool m_wanted = false;
    bool m_hasPicture = false;     ///< since the stream was opened
    int m_returning = 0;           ///< pictures that must follow a gap before the view is live
    bool m_wasLive = false;        ///< since it is wanted
    bool m_hasSound = false;
    int m_volume = 100;            ///< percent
    QString m_reason;              ///< why there is no picture, if it is known
    QSize m_pictureSize;
    QDateTime m_lastPictureAt;
    QElapsedTimer m_sincePicture;  ///< or since the stream was opened
    QElapsedTimer m_sinceCheck;
    bool m_saving = false;         ///< the file of a picture is not there yet
    QElapsedTimer m_sinceSave;     ///< since that was wanted, or was there
};
