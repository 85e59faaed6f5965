// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/device/deviceconfig.h"

#include <QByteArray>

namespace vantrasim {

/// G.711 (ITU-T G.711) of one sample.
quint8 toALaw(qint16 sample);
quint8 toMuLaw(qint16 sample);
qint16 fromALaw(quint8 code);
qint16 fromMuLaw(quint8 code);

/// The sound of a stream, of which any part can be had. Constant: any thread.
class Sound
{
public:
    /// A tone.
    explicit Sound(const AudioFormat &format);
    /// What is given, encoded as the format says, round and round. Not empty.
    Sound(const AudioFormat &format, const QByteArray &coded);

    /// Packet `number` of the sound since 1970, encoded.
    QByteArray packet(qint64 number) const;

private:
    AudioFormat m_format;
    QByteArray m_round; // a tone of whole Hz is the same in each second
};

/// `pcm`, 16 bit in native order, one channel, in the codec and with the channels of `format`.
QByteArray encodeSound(const QByteArray &pcm, const AudioFormat &format);

} // namespace vantrasim
