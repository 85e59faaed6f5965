// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "threadwatcher.h"

#include "support/counterblocks.h"

#include <QThread>

namespace vantratest {

namespace {

/// Reads every byte that a receiver of three planes would upload.
quint64 readPlanes(int width, int height, const quint8 *y, const quint8 *u, const quint8 *v,
                   quint32 lineY, quint32 lineU, quint32 lineV)
{
    quint64 sum = 0;
    const auto add = [&sum](const quint8 *plane, quint32 line, int columns, int rows) {
        for (int row = 0; row < rows; ++row)
            for (int column = 0; column < columns; ++column)
                sum += plane[static_cast<size_t>(row) * line + static_cast<size_t>(column)];
    };
    add(y, lineY, width, height);
    add(u, lineU, width / 2, height / 2);
    add(v, lineV, width / 2, height / 2);
    return sum;
}

} // namespace

void ThreadWatcher::note(const QString &event, bool blocking)
{
    if (QThread::currentThread() != thread())
        wrongThread = true;
    if (blocking) {
        ++received;
        if (emitted != received)
            ranAhead = true;
    }
    const bool repeated = event == QLatin1String("frame") || event == QLatin1String("image") ||
                          event == QLatin1String("audio");
    if (!repeated || !events.contains(event))
        events << event;
    if (!repeated && atEvent)
        atEvent(event);
}

void ThreadWatcher::watch(AbstractVideoThread *thread)
{
    using T = AbstractVideoThread;
    const auto planes3 =
        QOverload<int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32>::of(
            &T::receiveFrame);
    const auto planes2 =
        QOverload<int, int, quint8 *, quint8 *, quint32, quint32>::of(&T::receiveFrame);
    const auto surface = QOverload<int, int, quint8 *, bool>::of(&T::receiveFrame);
    const auto texture = QOverload<int, int, quint8 *, qint32, bool>::of(&T::receiveFrame);
    const auto blocking = Qt::BlockingQueuedConnection;

    // Counted on the stream thread, before the blocking connection of the same signal: direct
    // connections of a signal are served in the order in which they were made.
    const auto countEmission = [this] { ++emitted; };
    connect(thread, planes3, this, countEmission, Qt::DirectConnection);
    connect(thread, &T::receivePlayStart, this, countEmission, Qt::DirectConnection);
    connect(thread, &T::receivePlayFinsh, this, countEmission, Qt::DirectConnection);
    connect(thread, &T::sig_updateCodecRender, this, countEmission, Qt::DirectConnection);
    connect(thread, &T::receiveRenderStart, this, countEmission, Qt::DirectConnection);

    connect(
        thread, planes3, this,
        [this](int w, int h, quint8 *y, quint8 *u, quint8 *v, quint32 ly, quint32 lu, quint32 lv) {
            note(QStringLiteral("frame"), true);
            volatile quint64 sum = readPlanes(w, h, y, u, v, ly, lu, lv);
            Q_UNUSED(sum)
            const auto counter = readCounter(y, static_cast<int>(ly), w, h);
            pictures << Picture{w, h, readNumber(y, static_cast<int>(ly), w, h),
                                counter ? static_cast<qint64>(*counter) : -1};
            if (atFrame)
                atFrame();
        },
        blocking);
    connect(
        thread, planes2, this, [this] { ++twoPlanes; }, blocking);
    connect(
        thread, surface, this, [this] { ++surfaces; }, blocking);
    connect(
        thread, texture, this, [this] { ++textures; }, blocking);
    connect(
        thread, &T::receivePlayStart, this,
        [this](int time) { note(QStringLiteral("playStart:%1").arg(time), true); }, blocking);
    connect(
        thread, &T::receivePlayFinsh, this,
        [this, thread](QObject *object) {
            note(object == thread ? QStringLiteral("playFinsh") : QStringLiteral("playFinsh:wrong"),
                 true);
        },
        blocking);
    connect(
        thread, &T::sig_updateCodecRender, this,
        [this](const QString &codec, int w, int h) {
            note(QStringLiteral("codecRender:%1:%2x%3").arg(codec).arg(w).arg(h), true);
        },
        blocking);
    connect(
        thread, &T::receiveRenderStart, this, [this] { note(QStringLiteral("renderStart"), true); },
        blocking);
    connect(
        thread, &T::sig_decoderDestroyed, this,
        [this] { note(QStringLiteral("decoderDestroyed"), false); }, blocking);

    connect(thread, &T::receiveSizeChanged, this,
            [this] { note(QStringLiteral("sizeChanged"), false); });
    connect(thread, &T::receiveImage, this, [this](const QImage &image, int time) {
        note(time == 0 ? QStringLiteral("image") : QStringLiteral("image:wrong"), false);
        images << image;
    });
    connect(thread, &T::snapImage, this, [this](const QImage &image, const QString &name) {
        note(QStringLiteral("snap:%1").arg(name), false);
        snaps << image;
    });
    connect(thread, &T::receiveAudioFormat, this, [this](int rate, int channels, int bits) {
        note(QStringLiteral("audioFormat:%1:%2:%3").arg(rate).arg(channels).arg(bits), false);
    });
    connect(thread, &T::receiveAudio, this, [this](const QByteArray &data) {
        note(QStringLiteral("audio"), false);
        sound += data;
    });
    connect(thread, &QThread::started, this, [this] { note(QStringLiteral("started"), false); });
    connect(thread, &QThread::finished, this, [this] { note(QStringLiteral("finished"), false); });
}

} // namespace vantratest
