// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/devicebackend.h"

#include <QMutex>
#include <QVector>

#include <map>
#include <optional>
#include <utility>

/// The addresses of one camera.
struct VANTRA_DEVICELINK_EXPORT RtspCamera
{
    /// "rtsp://...", user and password as part of it; "rtsps://..." without them, for the library
    /// makes an rtsp address of one with a user.
    QString main;
    QString sub; ///< of a smaller picture; empty: there is none

    /// From "MAIN" or "MAIN,SUB", as written on a command line. A comma parts the two only where
    /// an address with a scheme follows, for addresses may hold commas. Nothing if one of them is
    /// no rtsp or rtsps address with a host.
    static std::optional<RtspCamera> fromText(const QString &text);
};

/// Real cameras that are known by their addresses and by nothing else: a device of HTransportRtsp
/// with one channel per camera.
///
/// There is no link to a device, so it always counts as connected; whether a camera can be reached
/// is found out by whoever opens its address. Everything that needs more than the address (frames,
/// recordings, talk) is refused. Any thread.
class VANTRA_DEVICELINK_EXPORT RtspCameraBackend final : public DeviceBackend
{
public:
    /// `serial` tells devices apart; empty: the host of the first camera.
    explicit RtspCameraBackend(const QVector<RtspCamera> &cameras,
                               const QString &serial = QString());

    /// Puts another camera into a channel there is. Whoever opens it from now on gets the new
    /// addresses; streams that are open go on. A sub stream appears only where the device has sub
    /// streams: their number is fixed. False without such a channel.
    bool setCamera(int channel, const RtspCamera &camera);

    HChannelStatus getConnectStatus() const override;
    HChannelStatus getStreamStatus(int channel, int stream) const override;
    int getChannelCount() const override;
    int getStreamCount() const override;
    /// 2 if any camera has a sub stream, else 1.
    int getStreamCountPerChannel() const override;
    HTransportProtocol getStreamProtocol() const override; ///< HTransportRtsp
    /// A camera without a sub stream has its main address in that place.
    QStringList getRtspUrls() const override;
    /// Host of the first camera, without user and password.
    QString getIPAddr() const override;
    QString serialNumber() const override; ///< as given to the constructor, else the host

    /// What setCodecInfo() has stored. Until then HRetOk and records that are not valid: nothing is
    /// known of the stream, which is no failure, and who asks at every packet finds no change.
    HRetError getCodecInfo(int channel, int stream, HVideoEncPara &video,
                           HAudioEncPara &audio) override;

    HRetError setCodecInfo(int channel, int stream, HVideoEncPara &video,
                           HAudioEncPara &audio) override;

private:
    bool has(int channel, int stream) const;

    const int m_channels;
    const int m_perChannel;
    const QString m_host;
    const QString m_serial;

    mutable QMutex m_mutex; // guards what follows
    QVector<RtspCamera> m_cameras;
    std::map<std::pair<int, int>, std::pair<HVideoEncPara, HAudioEncPara>> m_codecs;
};
