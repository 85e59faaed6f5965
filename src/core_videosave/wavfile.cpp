// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/wavfile_p.h"

#include "core_videosave/rawfile_p.h"

#include <QByteArray>
#include <QFile>
#include <QtEndian>

namespace {

constexpr qint64 kCopyStep = 64 * 1024; ///< bytes

template<typename T>
void put(QByteArray &bytes, T value)
{
    const T little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char *>(&little), int(sizeof(little)));
}

/// The byte rate leaves out the two bytes of a sample, and the block alignment is 2 whatever the
/// channels: this is intended.
QByteArray wavHeader(quint32 dataSize, int sampleRate, int channels)
{
    constexpr quint32 kHeaderAfterSize = 36;
    constexpr quint32 kFormatSize = 16;
    constexpr quint16 kPcm = 1;
    constexpr quint16 kBlockAlign = 2;
    constexpr quint16 kBitsPerSample = 16;
    QByteArray header;
    header.append("RIFF");
    put<quint32>(header, dataSize + kHeaderAfterSize);
    header.append("WAVE").append("fmt ");
    put<quint32>(header, kFormatSize);
    put<quint16>(header, kPcm);
    put<quint16>(header, quint16(channels));
    put<quint32>(header, quint32(sampleRate));
    put<quint32>(header, quint32(channels) * quint32(sampleRate));
    put<quint16>(header, kBlockAlign);
    put<quint16>(header, kBitsPerSample);
    header.append("data");
    put<quint32>(header, dataSize);
    return header;
}

/// Exactly `size` bytes, never until the end: the target may be the source, which then grows.
bool copy(QFile &source, QFile &target, qint64 size)
{
    while (size > 0) {
        const QByteArray bytes = source.read(qMin(size, kCopyStep));
        if (bytes.isEmpty() || !vantra::writeAll(target, bytes))
            return false;
        size -= bytes.size();
    }
    return true;
}

} // namespace

bool vantra::convertToWav(const QString &source, const QString &target, int sampleRate,
                          int channels, bool removeSource)
{
    QFile from(source);
    QFile to(target);
    if (!from.open(QFile::ReadOnly) || !to.open(QFile::WriteOnly))
        return false;

    const qint64 size = from.bytesAvailable();
    bool written =
        writeAll(to, wavHeader(quint32(size), sampleRate, channels)) && copy(from, to, size);
    written = closeFile(to) && written;
    from.close();
    return written && (!removeSource || from.remove());
}
