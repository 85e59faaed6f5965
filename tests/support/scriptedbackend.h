// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/devicebackend.h"
#include "devicelink/hnetdevice.h"

#include <QByteArray>
#include <QMutex>
#include <QSharedPointer>
#include <QStringList>
#include <QVariant>
#include <QVector>
#include <QWaitCondition>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <tuple>
#include <utility>

class QThread;

namespace vantratest {

/// A frame to be read. The factories set `frameSize` to the length of the payload; a test that
/// wants a lie there changes the header afterwards.
struct ScriptedFrame
{
    HFrameHeader header{};
    QByteArray payload; ///< no more than kHFrameMaxPayload bytes of it are ever written

    /// `codecId` is the code of frames: 0 for H.264, 1 for H.265.
    static ScriptedFrame video(quint32 frameType, quint32 codecId, int width, int height,
                               const QByteArray &payload, qint64 pts);
    /// `codecId` is the code of frames: 3 for G.711 A, 4 for G.711 mu, 5 for PCM.
    static ScriptedFrame audio(quint32 codecId, int sampleRate, int bits, int channels,
                               const QByteArray &payload, qint64 pts);
};

/// One answer of a device. Each operation takes what belongs to it and leaves the rest; records are
/// filled only with HRetOk.
struct DeviceAnswer
{
    int number = HRetOk;         ///< code, status, protocol or count
    QStringList texts;           ///< addresses; the first is the IP address or serial number
    ScriptedFrame frame;         ///< of a read
    HVideoEncPara video;         ///< of getCodecInfo
    HAudioEncPara audio;         ///< of getCodecInfo
    VodSdp sdp;                  ///< of vodGetDownloadSdp
    std::function<void()> first; ///< runs before, on the caller's thread and with no lock held

    DeviceAnswer(int number = HRetOk) : number(number) {}
    DeviceAnswer(const QStringList &texts) : texts(texts) {}
    DeviceAnswer(const ScriptedFrame &frame) : frame(frame) {}
    DeviceAnswer(const HVideoEncPara &video, const HAudioEncPara &audio)
        : video(video), audio(audio)
    {
    }
    DeviceAnswer(const VodSdp &sdp) : sdp(sdp) {}
};

/// What a scripted device answers, and what it was asked. Shared by the test and the device; all
/// functions may be called on any thread, at any time.
///
///     auto script = std::make_shared<DeviceScript>();
///     script->enqueue(DeviceScript::Op::vodStart, HRetExceedMax);
///     thread.bindDevice(scriptedDevice(script));
///     ...
///     QCOMPARE(script->texts(), QStringList({"vodStart(0, ...)", ...}));
///
/// An operation answers with the oldest answer queued for its stream, else with the oldest queued
/// for any, else with the one set for its stream, else for any, else: connected; one channel with
/// one stream of HTransportOrvo; no addresses; "192.0.2.1"; "scripted"; HRetOk. A read waits until
/// its time is over, or an answer comes, and then gives HRetTimeout, at once only if that is
/// scripted. Parameters of a stream are kept: getCodecInfo() refuses until setCodecInfo() was
/// called.
class DeviceScript
{
    Q_GADGET
    Q_DISABLE_COPY(DeviceScript)

public:
    // clang-format off
    enum class Op {
        getConnectStatus, getStreamStatus, getChannelCount, getStreamCount,
        getStreamCountPerChannel, getStreamProtocol, getRtspUrls, getIPAddr, serialNumber,
        enableMediaTransmit, requestVideoIFrame, readFrame, getCodecInfo, setCodecInfo,
        vodStart, vodStop, vodPause, vodResume, vodSeek, vodSetSpeed, vodReadFrame,
        vodDownloadStart, vodDownloadStop, vodReadDLFrame, vodGetDownloadSdp,
        startTalk, stopTalk, sendTalkData
    };
    // clang-format on
    Q_ENUM(Op)

    struct Call
    {
        Op operation;
        QVariantList arguments; ///< in order; records as lists of their fields, no frame buffers
        QThread *thread;        ///< to be compared only, it may be gone
    };

    /// A stream; operations without one are those of stream 0 of their channel, or of channel 0.
    struct Where
    {
        int channel;
        int stream;
    };
    static constexpr Where Anywhere{-1, -1};

    DeviceScript() = default;

    /// One answer, for one call.
    void enqueue(Op operation, const DeviceAnswer &answer, Where where = Anywhere);
    /// The answer of all calls for which none is queued.
    void setAnswer(Op operation, const DeviceAnswer &answer, Where where = Anywhere);
    /// Answers queued and not yet taken.
    int pending(Op operation, Where where = Anywhere) const;

    /// All calls, in the order in which they began.
    QVector<Call> calls() const;
    QVector<Call> calls(Op operation) const;
    int count(Op operation) const { return calls(operation).size(); }
    /// All calls as written in code: "enableMediaTransmit(2, 1, true)". Times are in ISO format
    /// with milliseconds, sound is in hexadecimal digits.
    QStringList texts() const;
    void clearCalls();

private:
    friend class ScriptedBackend;
    using Key = std::tuple<Op, int, int>;

    /// Notes the call and waits at most `waitMs` for an answer; `unscripted` if there is none.
    DeviceAnswer take(Op operation, const QVariantList &arguments, Where where,
                      const DeviceAnswer &unscripted, int waitMs);
    bool find(Op operation, Where where, DeviceAnswer *answer);

    mutable QMutex m_mutex;
    QWaitCondition m_scripted;
    std::map<Key, std::deque<DeviceAnswer>> m_queues;
    std::map<Key, DeviceAnswer> m_answers;
    QVector<Call> m_calls;
    std::map<std::pair<int, int>, std::pair<HVideoEncPara, HAudioEncPara>> m_codecs;
};

/// A device that follows the script.
QSharedPointer<HNetDevice> scriptedDevice(const std::shared_ptr<DeviceScript> &script);

} // namespace vantratest
