// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/scriptedbackend.h"

#include <QDeadlineTimer>
#include <QMetaEnum>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>
#include <cstring>

namespace vantratest {

namespace {

constexpr int kNoWait = 0; // milliseconds

QString text(const QVariant &value)
{
    switch (int(value.type())) {
    case QMetaType::QDateTime:
        return value.toDateTime().toString(Qt::ISODateWithMs);
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toHex());
    case QMetaType::QVariantList: {
        QStringList items;
        for (const QVariant &item : value.toList())
            items.append(text(item));
        return "[" + items.join(", ") + "]";
    }
    default:
        return value.toString();
    }
}

QVariantList fields(const HVideoEncPara &para)
{
    return {para.codecId, para.width, para.height, para.frameRate, para.mode, para.bitRate};
}

QVariantList fields(const HAudioEncPara &para)
{
    return {para.codecId, para.sampleRate, para.bitsPerSample, para.channels};
}

/// Header and payload into the reader's buffer, never more than that holds.
void write(const ScriptedFrame &frame, HFrameHeader *buffer)
{
    if (!buffer)
        return;
    auto *bytes = reinterpret_cast<uchar *>(buffer);
    std::memcpy(bytes, &frame.header, kHFramePayloadOffset);
    const auto size = std::min<size_t>(size_t(frame.payload.size()), kHFrameMaxPayload);
    if (size > 0)
        std::memcpy(bytes + kHFramePayloadOffset, frame.payload.constData(), size);
}

} // namespace

ScriptedFrame ScriptedFrame::video(quint32 frameType, quint32 codecId, int width, int height,
                                   const QByteArray &payload, qint64 pts)
{
    ScriptedFrame frame;
    frame.header.frameType = frameType;
    frame.header.frameSize = quint32(payload.size());
    frame.header.codecId = codecId;
    frame.header.widthOrSampleRate = width;
    frame.header.heightOrBits = height;
    frame.header.pts = pts;
    frame.payload = payload;
    return frame;
}

ScriptedFrame ScriptedFrame::audio(quint32 codecId, int sampleRate, int bits, int channels,
                                   const QByteArray &payload, qint64 pts)
{
    ScriptedFrame frame = video(HFrameHeader::AudioFrame, codecId, sampleRate, bits, payload, pts);
    frame.header.frameRateOrChannels = channels;
    return frame;
}

void DeviceScript::enqueue(Op operation, const DeviceAnswer &answer, Where where)
{
    QMutexLocker lock(&m_mutex);
    m_queues[Key(operation, where.channel, where.stream)].push_back(answer);
    m_scripted.wakeAll();
}

void DeviceScript::setAnswer(Op operation, const DeviceAnswer &answer, Where where)
{
    QMutexLocker lock(&m_mutex);
    m_answers[Key(operation, where.channel, where.stream)] = answer;
    m_scripted.wakeAll();
}

int DeviceScript::pending(Op operation, Where where) const
{
    QMutexLocker lock(&m_mutex);
    const auto queue = m_queues.find(Key(operation, where.channel, where.stream));
    return queue == m_queues.end() ? 0 : int(queue->second.size());
}

QVector<DeviceScript::Call> DeviceScript::calls() const
{
    QMutexLocker lock(&m_mutex);
    // A copy that shares nothing: ThreadSanitizer does not see what orders the last reader of
    // shared lists before their next change.
    QVector<Call> copy = m_calls;
    for (Call &call : copy)
        call.arguments.detach();
    return copy;
}

QVector<DeviceScript::Call> DeviceScript::calls(Op operation) const
{
    QVector<Call> result;
    for (const Call &call : calls()) {
        if (call.operation == operation)
            result.append(call);
    }
    return result;
}

QStringList DeviceScript::texts() const
{
    QStringList result;
    for (const Call &call : calls()) {
        QStringList arguments;
        for (const QVariant &argument : call.arguments)
            arguments.append(text(argument));
        const char *name = QMetaEnum::fromType<Op>().valueToKey(int(call.operation));
        result.append(QLatin1String(name) + "(" + arguments.join(", ") + ")");
    }
    return result;
}

void DeviceScript::clearCalls()
{
    QMutexLocker lock(&m_mutex);
    m_calls.clear();
}

bool DeviceScript::find(Op operation, Where where, DeviceAnswer *answer)
{
    const Key keys[] = {Key(operation, where.channel, where.stream),
                        Key(operation, Anywhere.channel, Anywhere.stream)};
    for (const Key &key : keys) {
        const auto queue = m_queues.find(key);
        if (queue != m_queues.end() && !queue->second.empty()) {
            *answer = queue->second.front();
            queue->second.pop_front();
            return true;
        }
    }
    for (const Key &key : keys) {
        const auto standing = m_answers.find(key);
        if (standing != m_answers.end()) {
            *answer = standing->second;
            return true;
        }
    }
    return false;
}

DeviceAnswer DeviceScript::take(Op operation, const QVariantList &arguments, Where where,
                                const DeviceAnswer &unscripted, int waitMs)
{
    DeviceAnswer answer = unscripted;
    {
        QMutexLocker lock(&m_mutex);
        m_calls.append({operation, arguments, QThread::currentThread()});
        const QDeadlineTimer deadline(std::max(waitMs, kNoWait));
        while (!find(operation, where, &answer)) {
            if (deadline.hasExpired())
                break;
            m_scripted.wait(&m_mutex, deadline);
        }
    }
    if (answer.first)
        answer.first();
    return answer;
}

/// Hands every call to the script.
class ScriptedBackend final : public DeviceBackend
{
public:
    explicit ScriptedBackend(std::shared_ptr<DeviceScript> script) : m_script(std::move(script)) {}

    HChannelStatus getConnectStatus() const override;
    HChannelStatus getStreamStatus(int channel, int stream) const override;
    int getChannelCount() const override;
    int getStreamCount() const override;
    int getStreamCountPerChannel() const override;
    HTransportProtocol getStreamProtocol() const override;
    QStringList getRtspUrls() const override;
    QString getIPAddr() const override;
    QString serialNumber() const override;
    HRetError enableMediaTransmit(int channel, int stream, bool enable) override;
    HRetError requestVideoIFrame(int channel, int stream) override;
    HRetError readFrame(int channel, int stream, HFrameHeader *frame, int timeoutMs) override;
    HRetError getCodecInfo(int channel, int stream, HVideoEncPara &video,
                           HAudioEncPara &audio) override;
    HRetError setCodecInfo(int channel, int stream, HVideoEncPara &video,
                           HAudioEncPara &audio) override;
    HRetError vodStart(unsigned int channel, const VodStartPara &para) override;
    HRetError vodStop(unsigned int channel) override;
    HRetError vodPause(unsigned int channel) override;
    HRetError vodResume(unsigned int channel) override;
    HRetError vodSeek(unsigned int channel, const QDateTime &time) override;
    HRetError vodSetSpeed(unsigned int channel, int speed) override;
    HRetError vodReadFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs) override;
    HRetError vodDownloadStart(unsigned int channel, const VodDownloadPara &para) override;
    HRetError vodDownloadStop(unsigned int channel) override;
    HRetError vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs) override;
    HRetError vodGetDownloadSdp(unsigned int channel, VodSdp &sdp) override;
    HRetError startTalk(int channel) override;
    HRetError stopTalk(int channel) override;
    HRetError sendTalkData(char *data, int size, int channel) override;

private:
    using Op = DeviceScript::Op;
    using Where = DeviceScript::Where;

    DeviceAnswer ask(Op operation, const QVariantList &arguments, const DeviceAnswer &unscripted,
                     Where where = {0, 0}, int waitMs = kNoWait) const
    {
        return m_script->take(operation, arguments, where, unscripted, waitMs);
    }

    HRetError order(Op operation, const QVariantList &arguments, Where where) const
    {
        return HRetError(ask(operation, arguments, HRetOk, where).number);
    }

    HRetError read(Op operation, const QVariantList &arguments, Where where, HFrameHeader *frame,
                   int timeoutMs) const
    {
        const DeviceAnswer answer = ask(operation, arguments, HRetTimeout, where, timeoutMs);
        if (answer.number == HRetOk)
            write(answer.frame, frame);
        return HRetError(answer.number);
    }

    static Where channelOnly(unsigned int channel) { return {int(channel), 0}; }

    const std::shared_ptr<DeviceScript> m_script;
};

HChannelStatus ScriptedBackend::getConnectStatus() const
{
    return HChannelStatus(ask(Op::getConnectStatus, {}, int(HChannelConnected)).number);
}

HChannelStatus ScriptedBackend::getStreamStatus(int channel, int stream) const
{
    return HChannelStatus(
        ask(Op::getStreamStatus, {channel, stream}, int(HChannelConnected), {channel, stream})
            .number);
}

int ScriptedBackend::getChannelCount() const
{
    return ask(Op::getChannelCount, {}, 1).number;
}

int ScriptedBackend::getStreamCount() const
{
    return ask(Op::getStreamCount, {}, 1).number;
}

int ScriptedBackend::getStreamCountPerChannel() const
{
    return ask(Op::getStreamCountPerChannel, {}, 1).number;
}

HTransportProtocol ScriptedBackend::getStreamProtocol() const
{
    return HTransportProtocol(ask(Op::getStreamProtocol, {}, int(HTransportOrvo)).number);
}

QStringList ScriptedBackend::getRtspUrls() const
{
    return ask(Op::getRtspUrls, {}, QStringList()).texts;
}

QString ScriptedBackend::getIPAddr() const
{
    return ask(Op::getIPAddr, {}, QStringList("192.0.2.1")).texts.value(0);
}

QString ScriptedBackend::serialNumber() const
{
    return ask(Op::serialNumber, {}, QStringList("scripted")).texts.value(0);
}

HRetError ScriptedBackend::enableMediaTransmit(int channel, int stream, bool enable)
{
    return order(Op::enableMediaTransmit, {channel, stream, enable}, {channel, stream});
}

HRetError ScriptedBackend::requestVideoIFrame(int channel, int stream)
{
    return order(Op::requestVideoIFrame, {channel, stream}, {channel, stream});
}

HRetError ScriptedBackend::readFrame(int channel, int stream, HFrameHeader *frame, int timeoutMs)
{
    return read(Op::readFrame, {channel, stream, timeoutMs}, {channel, stream}, frame, timeoutMs);
}

HRetError ScriptedBackend::getCodecInfo(int channel, int stream, HVideoEncPara &video,
                                        HAudioEncPara &audio)
{
    DeviceAnswer kept(HRetRefused);
    {
        QMutexLocker lock(&m_script->m_mutex);
        const auto codecs = m_script->m_codecs.find({channel, stream});
        if (codecs != m_script->m_codecs.end())
            kept = DeviceAnswer(codecs->second.first, codecs->second.second);
    }
    const DeviceAnswer answer = ask(Op::getCodecInfo, {channel, stream}, kept, {channel, stream});
    if (answer.number == HRetOk) {
        video = answer.video;
        audio = answer.audio;
    }
    return HRetError(answer.number);
}

HRetError ScriptedBackend::setCodecInfo(int channel, int stream, HVideoEncPara &video,
                                        HAudioEncPara &audio)
{
    const QVariantList arguments{channel, stream, QVariant(fields(video)), QVariant(fields(audio))};
    const HRetError result = order(Op::setCodecInfo, arguments, {channel, stream});
    if (result == HRetOk) {
        QMutexLocker lock(&m_script->m_mutex);
        m_script->m_codecs[{channel, stream}] = {video, audio};
    }
    return result;
}

HRetError ScriptedBackend::vodStart(unsigned int channel, const VodStartPara &para)
{
    const QVariantList times{para.time0, para.time1, para.time2};
    return order(Op::vodStart, {channel, QVariant(times)}, channelOnly(channel));
}

HRetError ScriptedBackend::vodStop(unsigned int channel)
{
    return order(Op::vodStop, {channel}, channelOnly(channel));
}

HRetError ScriptedBackend::vodPause(unsigned int channel)
{
    return order(Op::vodPause, {channel}, channelOnly(channel));
}

HRetError ScriptedBackend::vodResume(unsigned int channel)
{
    return order(Op::vodResume, {channel}, channelOnly(channel));
}

HRetError ScriptedBackend::vodSeek(unsigned int channel, const QDateTime &time)
{
    return order(Op::vodSeek, {channel, time}, channelOnly(channel));
}

HRetError ScriptedBackend::vodSetSpeed(unsigned int channel, int speed)
{
    return order(Op::vodSetSpeed, {channel, speed}, channelOnly(channel));
}

HRetError ScriptedBackend::vodReadFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs)
{
    return read(Op::vodReadFrame, {channel, timeoutMs}, channelOnly(channel), frame, timeoutMs);
}

HRetError ScriptedBackend::vodDownloadStart(unsigned int channel, const VodDownloadPara &para)
{
    const QVariantList times{para.beginTime, para.endTime};
    return order(Op::vodDownloadStart, {channel, QVariant(times)}, channelOnly(channel));
}

HRetError ScriptedBackend::vodDownloadStop(unsigned int channel)
{
    return order(Op::vodDownloadStop, {channel}, channelOnly(channel));
}

HRetError ScriptedBackend::vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs)
{
    return read(Op::vodReadDLFrame, {channel, timeoutMs}, channelOnly(channel), frame, timeoutMs);
}

HRetError ScriptedBackend::vodGetDownloadSdp(unsigned int channel, VodSdp &sdp)
{
    const DeviceAnswer answer =
        ask(Op::vodGetDownloadSdp, {channel}, DeviceAnswer(sdp), channelOnly(channel));
    if (answer.number == HRetOk)
        sdp = answer.sdp;
    return HRetError(answer.number);
}

HRetError ScriptedBackend::startTalk(int channel)
{
    return order(Op::startTalk, {channel}, {channel, 0});
}

HRetError ScriptedBackend::stopTalk(int channel)
{
    return order(Op::stopTalk, {channel}, {channel, 0});
}

HRetError ScriptedBackend::sendTalkData(char *data, int size, int channel)
{
    const QByteArray sound = data && size > 0 ? QByteArray(data, size) : QByteArray();
    return order(Op::sendTalkData, {sound, size, channel}, {channel, 0});
}

QSharedPointer<HNetDevice> scriptedDevice(const std::shared_ptr<DeviceScript> &script)
{
    return QSharedPointer<HNetDevice>::create(std::make_unique<ScriptedBackend>(script));
}

} // namespace vantratest
