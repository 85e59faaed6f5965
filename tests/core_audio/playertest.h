// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "audiocalls.h"
#include "core_audio/audioplayer.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"

#include <QAudioInput>
#include <QAudioOutput>
#include <QTest>

namespace vantratest {

constexpr int kBlockBytes = kBlockFrames * 2;

/// Keeps an open player busy with a sine that does not break off.
class TonePump
{
public:
    TonePump(AudioPlayer &player, double hertz) : player(player), hertz(hertz) {}

    void feed()
    {
        while (player.getAudioOutput()->bytesFree() >= kBlockBytes) {
            const QByteArray block = sinePcm(hertz, kRate, kBlockFrames, 0.5, 1, frame);
            player.play(block.constData(), block.size());
            frame += kBlockFrames;
        }
    }

    /// Plays until the recorder hears the tone.
    bool playUntilHeard(SinkRecorder &recorder)
    {
        return waitFor([&] {
            feed();
            return hasTone(recorder.last(kHeardLately), kRecordedRate, hertz);
        });
    }

    qint64 framesPlayed() const { return frame; }

private:
    AudioPlayer &player;
    double hertz;
    qint64 frame = 0;
};

/// What a listener of the player is told.
struct Told
{
    explicit Told(AudioPlayer &player)
    {
        QObject::connect(&player, &AudioPlayer::receiveOutputData, &context,
                         [this](const char *data, int len) {
                             if (data && len > 0)
                                 blocks.append(QByteArray(data, len));
                             lengths.append(len);
                         });
        QObject::connect(&player, &AudioPlayer::receiveLevel, &context,
                         [this](double level) { levels.append(level); });
    }
    QObject context;
    QList<QByteArray> blocks;
    QList<int> lengths;
    QList<double> levels;
};

/// What the tests of the player share: a real sound server, from whose sink is recorded what they
/// play.
class PlayerTest : public LoggedTest
{
protected:
    void tearDown() override
    {
        // Failures of devices are not reported anywhere.
        QVERIFY(log->lines().isEmpty());
    }

    PrivatePulse pulse;
};

} // namespace vantratest
