// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "camerafiles.h"
#include "core_vod/orvovodwidget.h"
#include "device.h"
#include "playbackstate.h"
#include "statistics.h"

#include <QElapsedTimer>

class PlaybackThread;
class ViewLabels;

/// One playback: a day of what a channel has recorded. Plays from any time of the day, and tells in
/// words why it does not. Without a camera it is an empty place that one can be dragged onto.
///
/// Times are those of recordingtime. GUI thread.
class PlaybackView final : public OrvoVodWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(PlaybackView)

public:
    /// `filesFolder` as in MainWindow.
    explicit PlaybackView(const QString &filesFolder, QWidget *parent = nullptr);
    ~PlaybackView() override;

    /// Ends the play of another.
    void setCamera(const Camera &camera);
    const Camera &camera() const { return m_camera; }
    /// Ends the play of another day. Play begins where its recordings do, unless told otherwise.
    void setDay(const QDate &day);
    QDate day() const { return m_day; }
    /// Whether it is known what is recorded, and what of the day is.
    bool isRecordedKnown() const { return bool(m_camera.recorded); }
    const QVector<TimeSpan> &recorded() const { return m_recorded; }

    /// Plays on, or from position(). A play that has failed is tried again, one that has ended
    /// begins anew.
    void play();
    void hold();
    /// Plays from that time on; one that is held shows the picture of that time.
    void playFrom(qint64 time);
    /// Ends play, which frees the device for others. Returns at once; the thread ends in its own
    /// time.
    void halt();
    /// Deletes this as soon as no thread of it runs; the destructor would wait for those.
    void deleteOnceEnded();
    /// Whether it is played, held or not, or will be as soon as it can.
    bool isWanted() const { return m_wanted; }
    bool isHeld() const { return m_held; }
    /// Tells by how much the others that it goes together with are behind, milliseconds: it waits
    /// for them. 0: it need not.
    void setAhead(qint64 distance);
    /// 0.5, 1, 2, 4, 8 are told to the device as they are but for 0.5, which it takes for slow.
    void setPlaySpeed(double speed);
    double playSpeed() const { return m_speed; }

    /// Time of the picture that is seen, to the frame, or where play goes or would begin.
    qint64 position() const { return m_position; }
    PlaybackState state() const { return m_state; }
    PlaybackFacts facts() const;
    ViewSummary summary() const;
    const CameraFiles &files() const { return m_files; }

    /// To be called a few times each second.
    void tick();
    bool isMuted() const { return widgetPara.muted; }
    void toggleMuted();
    /// By so many percent, within 0 to 100.
    void changeVolume(int step);
    /// Fit, fill, own size, and again.
    void nextScaleMode();
    /// Saves the picture under its time in the recording, in the folder of this camera.
    void savePicture();
    /// Shows the folder of this camera's files.
    void showFolder();
    /// Shows a few words over the picture, which vanish by themselves.
    void notice(const QString &text);
    void setFrameVisible(bool visible);

signals:
    void positionChanged();
    /// Something changed that a bar shows.
    void changed();
    void selected();
    void enlargeRequested();
    /// A camera was dragged onto the view; the key of Camera.
    void cameraDropped(const QString &key);

protected:
    bool createVideoThread() override;
    void finished() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject *thread) override;
    void receiveImage(const QImage &image, int time) override;
    void playAudio(const QByteArray &data) override;
    void focusInEvent(QFocusEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void setUpLook();
    void connectReports();
    void begin();
    void leave();
    void pauseAsWished();
    void noteEnd();
    void seekTo(qint64 time);
    void sendSeek(qint64 time);
    void noteSeek(qint64 time);
    void takePicture(qint64 time, int seek);
    void lookAtLink();
    void lookAtRecorded();
    void setPosition(qint64 time);
    void updateState();
    PlaybackState stateNow() const;
    void showState();
    void showTime();
    void placeOverlay();
    bool saveHeldPicture();
    PlaybackThread *thread() const;

    const QString m_filesFolder;
    Camera m_camera;
    CameraFiles m_files;
    QDate m_day;
    QVector<TimeSpan> m_recorded;
    StatusOverlay *m_overlay;
    ViewLabels *m_labels = nullptr;
    PictureMeter m_meter;

    PlaybackState m_state = PlaybackState::Empty;
    bool m_wanted = false;
    bool m_held = false;        ///< as a person wants it
    bool m_isParked = false;    ///< until others are as far
    bool m_isGap = false;       ///< which will take long
    bool m_isPaused = false;    ///< as the device has been told
    bool m_ended = false;       ///< the last play came to the end of the recording
    bool m_waitsForEnd = false; ///< for that of the last playback of the channel
    bool m_isGone = false;      ///< the link was lost while it was played
    bool m_isSilent = false;    ///< the device sends nothing
    bool m_isLeaving = false;   ///< play is being ended from here
    bool m_isOpen = false;      ///< the device plays
    bool m_hasPicture = false;  ///< since then
    QString m_reason;           ///< why the last play has failed
    double m_speed = 1;
    int m_volume = 100; ///< percent
    bool m_hasSound = false;

    qint64 m_position = recordingtime::none;
    qint64 m_nextTime = recordingtime::none;  ///< of the picture that comes next
    int m_nextSeek = 0;                       ///< which it belongs to
    int m_seek = 0;                           ///< the last one that the device was asked for
    bool m_isSeeking = false;                 ///< no picture since
    qint64 m_seekAfter = recordingtime::none; ///< the next one, once that is done
    QElapsedTimer m_sinceSeek;
    QElapsedTimer m_sinceShown; ///< since the time over the picture was drawn
    QElapsedTimer m_sinceLook;  ///< at what is recorded
    QSize m_pictureSize;
    bool m_saving = false;
};
