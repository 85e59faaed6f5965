// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_live/livevideowidget.h"
#include "core_videobase/streamsignals.h"
#include "livefakes.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"
#include "vantra.h"

#include <QtTest>

#include <algorithm>
#include <functional>
#include <memory>

/// What the tests of live widgets share.
namespace livefakes {

/// A live widget whose protected side is open, and which writes down what it is called for.
class LiveView : public videowidgetfakes::Exposed<LiveVideoWidget>
{
    Q_OBJECT

public:
    explicit LiveView(HTransportProtocol protocol = HTransportOrvo, QWidget *parent = nullptr)
        : Exposed(protocol, parent)
    {
    }

    QStringList calls;
    std::function<void(const QString &)> onCall; ///< called at the end of each

    void startAudioThread() override;
    void stopAudioThread() override;
    void started() override;
    void finished() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject *thread) override;
    void receiveImage(const QImage &image, int time) override;
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                      quint32 linesizeY, quint32 linesizeU, quint32 linesizeV) override;
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataUV, quint32 linesizeY,
                      quint32 linesizeUV) override;
    void receiveFrame(int width, int height, quint8 *data, bool codecChanged) override;
    void receiveFrame(int width, int height, quint8 *data, qint32 index,
                      bool codecChanged) override;

    LiveThread *shown() const { return dynamic_cast<LiveThread *>(videoThread.data()); }
    LiveThread *recorded() const { return dynamic_cast<LiveThread *>(recordThread.data()); }

private:
    void note(const QString &call);
};

/// A device of two channels with two streams each, with fakes for its threads, and the library
/// started.
class LiveWidgetCase : public vantratest::LoggedTest
{
    Q_OBJECT

protected:
    static constexpr int kAll = -1; ///< mask

    void setUp() override
    {
        maker = std::make_unique<ThreadMaker>();
        script = deviceScript(2, 2, HTransportOrvo);
        device = vantratest::scriptedDevice(script);
        QVERIFY(Vantra::init());
    }
    void tearDown() override
    {
        Vantra::release();
        QVERIFY(vantratest::waitFor([] {
            const auto made = ThreadMaker::made();
            return std::none_of(made.begin(), made.end(),
                                [](const auto &thread) { return thread; });
        }));
        device.reset();
        maker.reset();
    }

    PtrDevLiveThrSet set() const
    {
        return DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
    }
    /// Of the set in use.
    LiveThread *stream(int index) const { return liveThread(set(), index); }

    /// Starts and waits until the widget counts as running.
    bool startAndRun(LiveView &view, int channel = 0, int mask = kAll)
    {
        return view.init(device, channel, mask) && view.start() &&
               vantratest::waitFor([&] { return view.getIsRunning(); });
    }

    std::unique_ptr<ThreadMaker> maker;
    std::shared_ptr<vantratest::DeviceScript> script;
    QSharedPointer<HNetDevice> device;
};

// What a widget is connected to when it has started a stream; see kStreamSignals for a shown one.
inline const QList<QByteArray> kLiveSignals{
    SIGNAL(started()),
    SIGNAL(receivePlayStart(int)),
    SIGNAL(receivePlayFinsh(QObject *)),
    SIGNAL(sig_decoderDestroyed()),
    SIGNAL(sig_connExceedMax()),
};
inline const QList<QByteArray> kLiveKeptSignals{SIGNAL(finished())};
inline const QList<QByteArray> kLiveUnusedSignals{SIGNAL(sig_otherError()),
                                                  SIGNAL(receivePosition(qint64))};

} // namespace livefakes
