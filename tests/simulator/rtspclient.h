// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/counterblocks.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QSize>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

struct AVFormatContext;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;

/// One decoded picture, as the tests of the server look at it.
struct Picture
{
    QSize size;
    std::optional<quint32> counter;
    std::optional<vantratest::SceneId> scene;
    QByteArray md5; ///< of the planes without padding, hexadecimal
};

/// Whether there are pictures, and each counter is the one before it and 1.
bool isGapless(const QList<Picture> &pictures);

/// A client on libavformat and libavcodec that reads on the caller's thread. Every wait has a
/// deadline, after which it fails as if the peer had gone.
class RtspClient
{
public:
    RtspClient() = default;
    ~RtspClient();
    Q_DISABLE_COPY(RtspClient)

    /// `transport`: "tcp" or "udp". False with error() set on failure.
    bool open(const QString &url, const QString &transport = QStringLiteral("tcp"));
    void close();
    /// How long to wait for the next packet, and for open(); 30 seconds unless said otherwise.
    void setPatience(int milliseconds) { m_patience = milliseconds; }
    /// Code of the last failure of open() or read; 0 if there was none.
    int error() const { return m_error; }
    bool timedOut() const { return m_timedOut; }

    QString videoCodec() const;
    QString audioCodec() const; ///< empty if there is none
    int sampleRate() const;
    int channels() const;
    QSize announcedSize() const;

    /// Reads until `count` pictures (with those that the decoder still holds, at the end of the
    /// stream) are there, or nothing comes any more. Sound met on the way is kept in sound().
    QList<Picture> pictures(int count);
    /// Reads until the stream ends; true if it was ended, false if it broke off or timed out.
    bool readToEnd(QList<Picture> *pictures = nullptr);
    /// Reads until at least `bytes` of sound, as it is sent, have come.
    QByteArray sound(int bytes);
    /// True if no packet comes within `milliseconds`, and the connection is not ended either.
    bool isSilent(int milliseconds);

private:
    bool readPacket();
    void decode(const AVPacket *packet, QList<Picture> *pictures);
    static int interrupted(void *self);

    AVFormatContext *m_format = nullptr;
    AVCodecContext *m_decoder = nullptr;
    AVPacket *m_packet = nullptr;
    AVFrame *m_frame = nullptr;
    int m_video = -1;
    int m_audio = -1;
    int m_error = 0;
    bool m_timedOut = false;
    QElapsedTimer m_timer;
    int m_deadline = 0;     // ms
    int m_patience = 30000; // ms; a safeguard, never a measurement
    QByteArray m_sound;
    QList<Picture> m_pending; // decoded and not yet handed out
};
