// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_vod/orvovoddlthread.h"
#include "livecase.h"
#include "support/rtspserver.h"
#include "support/trend.h"

#include <QMutex>
#include <QSet>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <vector>

namespace vantratest {

/// A live view as hosts have it, which notes how old its pictures are when they have been painted.
/// It reads that from the pictures, whose counter tells when the camera took them. GUI thread only.
class SoakView : public LiveVideoWidget
{
    Q_DISABLE_COPY(SoakView)

public:
    /// `fps`: of the stream that it shows.
    SoakView(HTransportProtocol protocol, int fps);
    ~SoakView() override;

    bool begin(const QSharedPointer<HNetDevice> &device, int channel, int stream);
    void finish();

    qint64 paints() const { return m_paints; }
    /// Milliseconds, of the freshest picture painted since the last call; where none was, of the
    /// one that still stands there. -1 if there has never been one. For devices that stamp
    /// pictures.
    double takeAge();
    /// Counter of the picture painted last.
    quint32 counter() const { return m_counter; }

    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    void receiveImage(const QImage &picture, int time) override;

private:
    static constexpr double kNone = std::numeric_limits<double>::infinity();

    const int m_fps;
    bool m_isFresh = false;
    quint32 m_counter = 0;
    double m_youngest = kNone; ///< since takeAge()
    qint64 m_stamp = 0;        ///< when the last picture was taken, if its counter tells that
    qint64 m_paints = 0;
};

/// What a host does day and night with two devices and some cameras: views, recordings that are cut
/// into files, downloads one after the other. It looks at all finished files, from a thread of its
/// own, and removes the good ones. GUI thread only.
class SoakHost
{
    Q_DISABLE_COPY(SoakHost)

public:
    static constexpr int kViews = 16;
    static constexpr int kRecordings = 8;
    static constexpr int kDownloads = 2;

    /// `secondsPerFile`: of recordings. `folder`: for all files.
    SoakHost(const QString &folder, int secondsPerFile);
    ~SoakHost();

    bool begin();
    /// Begins downloads again that have ended, and sends finished files to be looked at.
    void keepUp();
    /// Ends all, and waits for all files to be looked at; calls `movesOn` as long as it gets on
    /// with that.
    void finish(const std::function<void()> &movesOn);

    bool allShow() const;
    /// Milliseconds, of each view's freshest picture, since the last call.
    QVector<double> takeAges();
    int recordings() const { return m_recordings; } ///< files that were good
    int downloads() const { return m_downloads; }
    /// What was wrong with files and downloads; empty if nothing.
    QString faults() const;

private:
    struct Download
    {
        std::unique_ptr<OrvoVodDLThread> thread;
        bool ended = true;
        bool ok = true;
    };

    void beginDownload(int number);
    void look(const QString &file);

    bool beginViews(const QSharedPointer<HNetDevice> &device);

    const QString m_folder;
    const int m_secondsPerFile;
    std::vector<vantrasim::Simulation> m_devices;
    RtspServer m_cameras;
    QSharedPointer<HNetDevice> m_cameraLink;
    std::vector<std::unique_ptr<SoakView>> m_views;
    std::vector<Download> m_downloadThreads;
    QSet<QString> m_seen; ///< files that are being looked at, or were bad
    int m_downloadsBegun = 0;

    std::atomic<int> m_recordings{0};
    std::atomic<int> m_downloads{0};
    mutable QMutex m_mutex; // guards what follows
    QString m_faults;
    QStringList m_looked; ///< and removed since
    QThreadPool m_pool;   // the last: it uses all the others
};

} // namespace vantratest
