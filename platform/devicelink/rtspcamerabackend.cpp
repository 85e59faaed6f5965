// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicelink/rtspcamerabackend.h"

#include <QMutexLocker>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>

namespace {

bool isAddress(const QString &text)
{
    const QUrl url(text, QUrl::TolerantMode);
    return (url.scheme() == QLatin1String("rtsp") || url.scheme() == QLatin1String("rtsps")) &&
           !url.host().isEmpty();
}

/// Of an address. What reads it takes all before the last "@" for user information, which may hold
/// any character and is nobody's business.
QString hostOf(const QString &address)
{
    const int scheme = address.indexOf(QLatin1String("://"));
    const int begin = qMax(scheme + 3, address.lastIndexOf(QLatin1Char('@')) + 1);
    return QUrl(QStringLiteral("rtsp://") + address.mid(begin)).host();
}

int streamsOf(const QVector<RtspCamera> &cameras)
{
    const bool hasSub = std::any_of(cameras.begin(), cameras.end(),
                                    [](const RtspCamera &camera) { return !camera.sub.isEmpty(); });
    return hasSub ? 2 : 1;
}

} // namespace

std::optional<RtspCamera> RtspCamera::fromText(const QString &text)
{
    static const QRegularExpression comma(QStringLiteral(",(?=rtsps?://)"));
    const QStringList parts = text.trimmed().split(comma);
    RtspCamera camera;
    camera.main = parts.value(0).trimmed();
    camera.sub = parts.value(1).trimmed();
    if (parts.size() > 2 || !isAddress(camera.main) ||
        (parts.size() == 2 && !isAddress(camera.sub)))
        return std::nullopt;
    return camera;
}

RtspCameraBackend::RtspCameraBackend(const QVector<RtspCamera> &cameras, const QString &serial)
    : m_channels(cameras.size()), m_perChannel(streamsOf(cameras)),
      m_host(cameras.isEmpty() ? QString() : hostOf(cameras[0].main)),
      m_serial(serial.isEmpty() ? m_host : serial), m_cameras(cameras)
{
}

bool RtspCameraBackend::setCamera(int channel, const RtspCamera &camera)
{
    if (!has(channel, 0))
        return false;
    const QMutexLocker lock(&m_mutex);
    m_cameras[channel] = camera;
    // What was known of the old one's streams is not true of these.
    for (int stream = 0; stream < m_perChannel; ++stream)
        m_codecs.erase({channel, stream});
    return true;
}

bool RtspCameraBackend::has(int channel, int stream) const
{
    return channel >= 0 && channel < m_channels && stream >= 0 && stream < m_perChannel;
}

HChannelStatus RtspCameraBackend::getConnectStatus() const
{
    return HChannelConnected;
}

HChannelStatus RtspCameraBackend::getStreamStatus(int channel, int stream) const
{
    return has(channel, stream) ? HChannelConnected : HChannelDisconnected;
}

int RtspCameraBackend::getChannelCount() const
{
    return m_channels;
}

int RtspCameraBackend::getStreamCount() const
{
    return m_channels * m_perChannel;
}

int RtspCameraBackend::getStreamCountPerChannel() const
{
    return m_perChannel;
}

HTransportProtocol RtspCameraBackend::getStreamProtocol() const
{
    return HTransportRtsp;
}

QStringList RtspCameraBackend::getRtspUrls() const
{
    const QMutexLocker lock(&m_mutex);
    QStringList urls;
    for (const RtspCamera &camera : m_cameras) {
        urls << camera.main;
        if (m_perChannel > 1)
            urls << (camera.sub.isEmpty() ? camera.main : camera.sub);
    }
    return urls;
}

QString RtspCameraBackend::getIPAddr() const
{
    return m_host;
}

QString RtspCameraBackend::serialNumber() const
{
    return m_serial;
}

HRetError RtspCameraBackend::getCodecInfo(int channel, int stream, HVideoEncPara &video,
                                          HAudioEncPara &audio)
{
    if (!has(channel, stream))
        return HRetRefused;
    const QMutexLocker lock(&m_mutex);
    const auto known = m_codecs.find({channel, stream});
    if (known != m_codecs.end()) {
        video = known->second.first;
        audio = known->second.second;
    }
    return HRetOk;
}

HRetError RtspCameraBackend::setCodecInfo(int channel, int stream, HVideoEncPara &video,
                                          HAudioEncPara &audio)
{
    if (!has(channel, stream))
        return HRetRefused;
    const QMutexLocker lock(&m_mutex);
    m_codecs[{channel, stream}] = {video, audio};
    return HRetOk;
}
