// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "videowidgetfakes.h"

#include <QByteArray>
#include <QList>

/// The signals of a stream thread as texts that name them, by when a widget that plays it is
/// connected to them.
namespace videowidgetfakes {

inline const QList<QByteArray> kStreamSignals{
    SIGNAL(receiveImage(QImage, int)),
    SIGNAL(snapImage(QImage, QString)),
    SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)),
    SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)),
    SIGNAL(receiveFrame(int, int, quint8 *, bool)),
    SIGNAL(receiveFrame(int, int, quint8 *, qint32, bool)),
    SIGNAL(receiveSizeChanged()),
    SIGNAL(sig_updateCodecRender(QString, int, int)),
    SIGNAL(receiveRenderStart()),
};
inline const QList<QByteArray> kBaseSignals{
    SIGNAL(started()),
    SIGNAL(receivePlayStart(int)),
    SIGNAL(receivePlayFinsh(QObject *)),
    SIGNAL(sig_decoderDestroyed()),
};
inline const QList<QByteArray> kKeptSignals{
    SIGNAL(finished()),
    SIGNAL(sig_connExceedMax()),
    SIGNAL(sig_otherError()),
    SIGNAL(receivePosition(qint64)),
};
inline const QList<QByteArray> kAudioSignals{
    SIGNAL(receiveAudioFormat(int, int, int)),
    SIGNAL(receiveAudio(QByteArray)),
};

/// Receivers of each of these signals.
inline QList<int> receiversOf(const FakeThread &thread, const QList<QByteArray> &signalTexts)
{
    QList<int> counts;
    for (const QByteArray &text : signalTexts)
        counts << thread.receiverCount(QMetaObject::normalizedSignature(text).constData());
    return counts;
}

/// The same count for each of these signals.
inline QList<int> each(const QList<QByteArray> &signalTexts, int count)
{
    QList<int> counts;
    for (int i = 0; i < signalTexts.size(); ++i)
        counts << count;
    return counts;
}

} // namespace videowidgetfakes
