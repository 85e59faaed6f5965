// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_vod/orvovoddlthread.h"
#include "core_vod/orvovodwidget.h"
#include "livecase.h"

#include <map>
#include <random>
#include <set>
#include <vector>

namespace vantratest {

/// How a random deed is done: as many draws as it needs, which all follow from one number.
class Detail
{
public:
    explicit Detail(quint32 seed) : m_seed(seed), m_random(seed) {}

    quint32 seed() const { return m_seed; }
    int draw(int below) { return int(m_random() % unsigned(below)); }

private:
    const quint32 m_seed;
    std::mt19937 m_random;
};

/// A playback as a host has it, which counts its pictures. GUI thread only.
class PlaybackView : public OrvoVodWidget
{
    Q_DISABLE_COPY(PlaybackView)

public:
    PlaybackView() = default;

    int count() const { return m_count; }
    bool hasRunningThreads() const
    {
        const auto threads = findChildren<AbstractVideoThread *>();
        return std::any_of(threads.begin(), threads.end(),
                           [](const auto *thread) { return thread->isRunning(); });
    }
    bool plays() const { return videoThread && videoThread->isRunning(); }

protected:
    void receiveImage(const QImage &picture, int time) override
    {
        m_count += sender() == videoThread && isRunning;
        OrvoVodWidget::receiveImage(picture, time);
    }

private:
    int m_count = 0;
};

/// A host that does at random whatever a host may do with live views, playbacks, downloads and
/// recordings of some devices, and knows what is to be true of them when nothing fails any more.
/// What it does follows from its seed alone, not from what the devices make of it. GUI thread only.
class ChaosHost
{
    Q_DISABLE_COPY(ChaosHost)

public:
    /// `folder`: for all files.
    ChaosHost(const std::vector<vantrasim::Simulation> &devices, const QString &folder,
              unsigned seed);
    /// Ends all that is under way.
    ~ChaosHost();

    /// Does one thing and returns its name.
    QString act();

    /// For when nothing fails any more: starts playbacks again and brings all windows up.
    void revive();
    /// Waits until everything is as it should be then; what is not, if it never is.
    QString settle();
    /// Ends all that is under way and waits until nothing of it is left.
    QString finish();

private:
    /// A live view and what the host has done with it last.
    struct View
    {
        std::unique_ptr<LiveView> window;
        int device = 0;
        int channel = 0;
        int stream = 0;
        bool shows = false;
    };
    struct Playback
    {
        std::unique_ptr<PlaybackView> window;
        int device = 0;
        int channel = 0;
        bool plays = false; ///< started, and not ended by the host
    };
    struct Download
    {
        std::unique_ptr<OrvoVodDLThread> thread;
        QString folder;
    };
    using Channel = std::pair<int, int>; ///< device and channel
    static constexpr int kStreams = 2;   ///< of each channel

    static QString nameOf(const Channel &channel)
    {
        return QStringLiteral("%1-%2").arg(channel.first).arg(channel.second);
    }
    int draw(int below) { return int(m_random() % unsigned(below)); }

    void actOnView(View *view, int what, Detail *detail);
    void actOnPlayback(Playback *playback, int what, Detail *detail);
    void actOnDownload(Download *download, Detail *detail);
    void endLibrary();

    void renew(View *view, int device, int channel);
    void begin(View *view, int stream);
    void record(View *view, bool on);
    void renew(Playback *playback);
    void begin(Playback *playback);
    QString folderOf(const Channel &channel) const;
    AbstractVideoThread *recorderOf(const Channel &channel) const;

    void keepStreams();
    QString sent(const View &view) const;
    QString faultOfView(const View &view, int picturesBefore) const;
    QString faultOfPlayback(const Playback &playback, int picturesBefore) const;
    QString faultOfRecording(const Channel &channel, qint64 bytesBefore) const;
    qint64 recordedBytes(const Channel &channel) const;
    std::set<QString> openFiles() const;
    QString faultOfFile(const QString &file) const;
    QString faultOfFiles();
    QString faultOfDevices() const;
    QString faultOfSet(int device, const DevLiveThrSet &set) const;
    QString faultOfSending(int device) const;

    const std::vector<vantrasim::Simulation> m_devices;
    const QString m_folder;
    std::mt19937 m_random;
    std::vector<View> m_views;
    std::vector<Playback> m_playbacks;
    std::vector<Download> m_downloads;
    std::set<Channel> m_recorded; ///< recordings that are wanted
    std::set<QString> m_checked;  ///< finished files that were found good
    int m_downloadsMade = 0;
};

} // namespace vantratest
