// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/sceneencoder.h"

#include "devicelink/encpara.h"
#include "devicelink/hretcodes.h"

#include <QDateTime>
#include <QString>
#include <QVector>

namespace vantrasim {

/// Form of the pictures of a stream.
struct VideoFormat
{
    qint32 codec = HCodecH264; ///< or HCodecH265
    int width = 640;           ///< pixels, even, 64 to 4096
    int height = 360;          ///< pixels, even, 64 to 2304
    int fps = 25;              ///< 1 to 120
    int gop = 0;               ///< pictures from one key frame to the next; 0: one second
    int quality = 28;          ///< quantiser, 10 (best, large frames) to 45

    int pictureGroup() const { return gop > 0 ? gop : fps; }
    /// As a device tells it. The bit rate is a rough guess.
    HVideoEncPara para() const;
    SceneEncoder::Form picture() const;
};
bool operator==(const VideoFormat &a, const VideoFormat &b);

/// Form of the sound of a stream: one tone.
struct AudioFormat
{
    qint32 codec = HCodecG711A; ///< HCodecG711U, HCodecPcm; 0: no sound
    int sampleRate = 8000;      ///< Hz
    int channels = 1;           ///< all the same
    int hertz = 440;            ///< whole; it is played at a quarter of full scale
    int packetMs = 40;          ///< of one frame

    HAudioEncPara para() const;
};
bool operator==(const AudioFormat &a, const AudioFormat &b);

struct StreamConfig
{
    VideoFormat video;
    AudioFormat audio;
    /// A media file (H.264 or H.265, with G.711 sound if any) that is sent again and again instead
    /// of a scene. It has neither counter nor identity; `video` and `audio` are not
    /// looked at. Its sound goes round by itself. Live streams of the private protocols only.
    QString clip;
};

/// Something that a channel has recorded.
struct ArchiveSpan
{
    QDateTime begin; ///< with a key frame
    QDateTime end;   ///< not part of it any more
    StreamConfig form;
};

struct ChannelConfig
{
    QString name;                  ///< stands in the picture; ASCII
    quint32 colour = 0;            ///< of the room, 0xRRGGBB
    QVector<StreamConfig> streams; ///< the first is the main stream
    /// What is recorded; between two spans there is nothing. None: all of the past, in the form of
    /// the main stream.
    QVector<ArchiveSpan> archive;
};

/// Cameras and a recorder in one. What is left alone makes a device that works.
struct DeviceConfig
{
    HTransportProtocol protocol = HTransportOrvo;
    /// All with the same number of streams: what a channel lacks is taken from its last one.
    QVector<ChannelConfig> channels;
    int number = 0; ///< of the device, 0 to 255: stands in the pictures' row of identity
    QString serial = QStringLiteral("SIM00001");
    QString address = QStringLiteral("192.0.2.1");
    int mostLive = -1;        ///< streams sent at once, -1: all
    int mostPlaybacks = 4;    ///< recordings played at once
    int mostDownloads = 4;    ///< downloads at once
    double downloadSpeed = 0; ///< times the recorded one; 0: as fast as it is read
    bool echoTalk = false;    ///< what is said to the device is heard in channel 0
    int queueMs = 2000;       ///< what waits for a late reader of a live stream, at most

    int streamsPerChannel() const;

    /// `channels` channels "CH 1", "CH 2" ... of colours of their own: streams 640x360 at 25 (main)
    /// and 320x180 at 12 (sub, and further ones), H.264 in odd and H.265 in even channels, A-law
    /// and mu-law likewise.
    static DeviceConfig simple(int channels, int streams,
                               HTransportProtocol protocol = HTransportOrvo);
};

} // namespace vantrasim
