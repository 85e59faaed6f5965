// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/bits.h"
#include "simulator/device/deviceconfig.h"

#include <QByteArray>

namespace vantrasim {

/// G.711 (ITU-T G.711) of one sample.
quint8 toALaw(qint16 sample);
quint8 toMuLaw(qint16 sample);
qint16 fromALaw(quint8 code);
qint16 fromMuLaw(quint8 code);

/// A tone in the form of a stream's sound, of which any part can be had. Constant: any thread.
class Tone
{
public:
    explicit Tone(const AudioFormat &format);

    const AudioFormat &format() const { return m_format; }
    int samplesPerPacket() const { return m_format.sampleRate * m_format.packetMs / 1000; }
    /// Packet `number` of the sound since 1970, encoded.
    QByteArray packet(qint64 number) const;

private:
    AudioFormat m_format;
    QByteArray m_second; // a tone of whole Hz is the same in each second
};

/// `pcm`, 16 bit in native order, one channel, in the codec and with the channels of `format`.
QByteArray encodeSound(const QByteArray &pcm, const AudioFormat &format);

} // namespace vantrasim
