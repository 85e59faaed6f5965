// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/clipfootage.h"
#include "simulator/coding/loop.h"
#include "simulator/device/frame.h"
#include "simulator/device/mediaclock.h"
#include "simulator/device/sound.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace vantrasim {

/// What a stream has done so far.
struct StreamCounts
{
    qint64 pictures = 0; ///< handed to readers
    qint64 keyPictures = 0;
    qint64 sounds = 0;
    qint64 skipped = 0; ///< pictures that were over before a reader came for them
};

/// One live stream. Nobody produces it: it knows when each frame is due, and makes it when a reader
/// asks. What became due before the reader came waits for it, up to a limit; beyond that the stream
/// goes on with a key frame of now. Any thread; readers of one stream take turns.
class LiveStream
{
public:
    /// Who the stream belongs to, and what its picture says.
    struct Place
    {
        int device = 0;
        int channel = 0;
        int stream = 0;
        QString name;
        quint32 colour = 0;
    };

    LiveStream(const Place &place, const StreamConfig &form, DeviceFaults *faults, int queueMs);
    LiveStream(const LiveStream &) = delete;
    LiveStream &operator=(const LiveStream &) = delete;

    /// Begins with a key frame of now. False if it is open already.
    bool open();
    void close();
    bool isOpen() const;
    /// The next picture is a key frame.
    void requestKeyFrame();
    /// Sends nothing while stalled; what became due then is never sent.
    void setStalled(bool stalled);
    /// Changes the form; the new one begins with a key frame, as soon as its pictures are encoded.
    void setForm(const StreamConfig &form);
    /// The one being sent.
    StreamConfig form() const;
    /// Plays `sound`, in the stream's own codec, in place of the tone.
    void addSound(const QByteArray &sound);

    /// As DeviceBackend::readFrame().
    HRetError read(HFrameHeader *frame, int timeoutMs);

    void codec(HVideoEncPara *video, HAudioEncPara *audio) const;
    void setCodec(const HVideoEncPara &video, const HAudioEncPara &audio);
    StreamCounts counts() const;
    /// Why there are no pictures; empty if there are, or will be.
    QString problem() const;

private:
    std::shared_ptr<const Footage> footageOf(const StreamConfig &form) const;
    std::shared_ptr<const Sound> soundOf(const StreamConfig &form) const;
    void restart(qint64 now);
    void nextGroup();
    bool prepare(qint64 now);
    void takePendingForm();
    qint64 due() const;
    HRetError produce();
    HRetError producePicture();
    HRetError produceSound();
    QByteArray packet(qint64 number);

    const Place m_place;
    const int m_queueMs;

    mutable std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    bool m_open = false;
    bool m_stalled = false;
    bool m_started = false; // the numbers below are those of now
    bool m_keyWanted = false;
    StreamConfig m_form;
    StreamConfig m_pendingForm;
    std::shared_ptr<const Footage> m_footage;
    std::shared_ptr<const Footage> m_pendingFootage;
    std::shared_ptr<const Sound> m_sound;
    FrameMangler m_mangler;
    qint64 m_frame = 0;  // number of the next picture
    int m_index = 0;     // of the next picture in the footage
    qint64 m_packet = 0; // number of the next sound
    QByteArray m_echo;
    StreamCounts m_counts;

    mutable std::mutex m_codecMutex; // guards what follows
    HVideoEncPara m_video;
    HAudioEncPara m_audio;
};

} // namespace vantrasim
