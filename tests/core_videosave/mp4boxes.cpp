// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "mp4boxes.h"

#include <QFile>
#include <QtEndian>

#include <functional>

namespace {

constexpr quint32 kNotSync = 0x10000; ///< sample_is_non_sync_sample

quint32 word(const QByteArray &data, qint64 at)
{
    return at + 4 <= data.size() ? qFromBigEndian<quint32>(data.constData() + at) : 0;
}

/// Calls `take` with name and content of each whole box; returns the bytes that are left over.
qint64 forEachBox(const QByteArray &data,
                  const std::function<void(const QByteArray &, const QByteArray &)> &take)
{
    qint64 at = 0;
    while (at + 8 <= data.size()) {
        qint64 size = word(data, at);
        int header = 8;
        if (size == 1 && at + 16 <= data.size()) {
            size = qint64(word(data, at + 8)) << 32 | word(data, at + 12);
            header = 16;
        }
        if (size < header || at + size > data.size())
            break;
        take(data.mid(int(at + 4), 4), data.mid(int(at + header), int(size - header)));
        at += size;
    }
    return data.size() - at;
}

void readRun(const QByteArray &run, quint32 defaultFlags, TrackFragment *fragment)
{
    const quint32 flags = word(run, 0) & 0xffffff;
    const int samples = int(word(run, 4));
    qint64 at = 8 + (flags & 0x1 ? 4 : 0);
    const bool hasFirst = flags & 0x4;
    const quint32 first = word(run, at);
    at += hasFirst ? 4 : 0;
    const int flagsAt = (flags & 0x100 ? 4 : 0) + (flags & 0x200 ? 4 : 0);
    const int step = flagsAt + (flags & 0x400 ? 4 : 0) + (flags & 0x800 ? 4 : 0);
    for (int i = 0; i < samples; ++i, at += step) {
        quint32 sample = defaultFlags;
        if (flags & 0x400)
            sample = word(run, at + flagsAt);
        else if (i == 0 && hasFirst)
            sample = first;
        const bool key = !(sample & kNotSync);
        if (fragment->samples == 0)
            fragment->beginsWithKey = fragment->onlyTheFirstIsKey = key;
        else if (key)
            fragment->onlyTheFirstIsKey = false;
        ++fragment->samples;
    }
}

TrackFragment readTrack(const QByteArray &traf)
{
    TrackFragment fragment;
    quint32 defaultFlags = 0;
    forEachBox(traf, [&](const QByteArray &name, const QByteArray &box) {
        const quint32 flags = word(box, 0) & 0xffffff;
        if (name == "tfhd") {
            fragment.track = int(word(box, 4));
            qint64 at = 8 + (flags & 0x1 ? 8 : 0);
            for (const quint32 bit : {0x2, 0x8, 0x10})
                at += flags & bit ? 4 : 0;
            if (flags & 0x20)
                defaultFlags = word(box, at);
        } else if (name == "tfdt") {
            fragment.time = word(box, 0) >> 24 ? qint64(word(box, 4)) << 32 | word(box, 8)
                                               : qint64(word(box, 4));
        } else if (name == "trun") {
            readRun(box, defaultFlags, &fragment);
        }
    });
    return fragment;
}

} // namespace

Mp4Boxes readBoxes(const QString &fileName)
{
    Mp4Boxes boxes;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        boxes.error = file.errorString();
        return boxes;
    }
    boxes.tail = forEachBox(file.readAll(), [&](const QByteArray &name, const QByteArray &box) {
        boxes.top += QString::fromLatin1(name);
        if (name != "moof")
            return;
        QVector<TrackFragment> tracks;
        const qint64 rest = forEachBox(box, [&](const QByteArray &inner, const QByteArray &traf) {
            if (inner == "traf")
                tracks += readTrack(traf);
        });
        if (rest != 0)
            boxes.error = QStringLiteral("moof is cut");
        boxes.fragments += tracks;
    });
    return boxes;
}
