// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/hframeheader.h"
#include "devicelink/hnetdevice.h"

#include "support/counterblocks.h"

#include <QByteArray>
#include <QSize>
#include <QVector>

#include <memory>
#include <optional>

struct AVCodecContext;
struct AVFrame;

/// A buffer as the library's threads lend it, with a guard behind it: a device that writes past the
/// end is found out.
class FrameBuffer
{
public:
    FrameBuffer();
    HFrameHeader *header() { return reinterpret_cast<HFrameHeader *>(m_bytes.data()); }
    const HFrameHeader *header() const
    {
        return reinterpret_cast<const HFrameHeader *>(m_bytes.constData());
    }
    /// As much of the payload as the header tells, and as there can be.
    QByteArray payload() const;
    bool isGuardWhole() const;

private:
    QByteArray m_bytes;
};

/// What a picture says.
struct SeenPicture
{
    QSize size;
    std::optional<quint32> counter;
    std::optional<vantratest::SceneId> scene;
    quint8 roomY = 0; ///< luma in the middle of the left edge
};

/// Decodes the pictures of one stream and reads what they say.
class PictureReader
{
public:
    PictureReader();
    ~PictureReader();
    Q_DISABLE_COPY(PictureReader)

    /// `codec`: the code in frame headers, 0 or 1. Nothing if it cannot be decoded. A decoder that
    /// complains counts in errors().
    std::optional<SeenPicture> decode(quint32 codec, const QByteArray &unit);
    std::optional<SeenPicture> decode(const FrameBuffer &frame)
    {
        return decode(frame.header()->codecId, frame.payload());
    }
    int errors() const { return m_errors; }
    /// The latest picture's planes.
    const AVFrame *frame() const { return m_frame; }

private:
    AVCodecContext *m_context = nullptr;
    AVFrame *m_frame = nullptr;
    quint32 m_codec = 99;
    int m_errors = 0;
};

/// The planes of a picture from line `top` on, without padding.
QByteArray belowStrip(const AVFrame *frame, int top);

/// One picture read from a live stream.
struct ReadPicture
{
    HFrameHeader header;
    SeenPicture seen;
};

/// Reads until `count` pictures came, or none came for 20 seconds. Sound is passed over.
QVector<ReadPicture> readPictures(HNetDevice &device, int channel, int stream, int count);

/// Whether there are pictures, and each counter is the one before it and 1.
bool isGapless(const QVector<ReadPicture> &pictures);
