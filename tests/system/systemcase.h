// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideothread.h"
#include "support/loggedtest.h"
#include "support/playview.h"
#include "support/waitfor.h"

#include <QFile>
#include <QRegularExpression>

namespace vantratest {

/// Datagrams that this machine's kernel has thrown away because nobody fetched them in time. Such a
/// loss is a lack of processor time, of which the client is innocent.
inline qint64 droppedDatagrams()
{
    QFile file(QStringLiteral("/proc/net/snmp"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    QList<QByteArray> names;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (!line.startsWith("Udp:"))
            continue;
        const QList<QByteArray> words = line.simplified().split(' ');
        if (names.isEmpty())
            names = words;
        else
            return words.value(names.indexOf("RcvbufErrors")).toLongLong();
    }
    return 0;
}

/// Announces what a stop makes of the call that it cuts short, whichever that is.
inline void announceStop(LogCapture *log)
{
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    log->expectMatching(Logger::Error,
                        QRegularExpression(QStringLiteral(
                            "^\\(ffvdthr\\)(read frame err\\(\\d|open input err\\(.*|find stream "
                            "err\\(.*):Immediate exit requested\\)$")));
}

inline void announceNoSound(LogCapture *log, const QString &url)
{
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)no audio stream in %1").arg(url));
}

/// Stops a view and waits for the end of its threads.
inline bool endPlay(PlayView *view)
{
    view->stop();
    return waitFor([&] { return !view->hasRunningThread(); });
}

/// From now on the thread of a started view goes on only when the view has shown the picture just
/// sent. In VideoMode_Painter it would else convert the next one into the buffer that is being
/// shown, and how many are overwritten unseen would depend on the load of the machine.
inline void holdForEachPicture(PlayView *view)
{
    // Queued behind the picture itself, for the same thread: handled when that one has been.
    QObject::connect(
        view->thread(), &AbstractVideoThread::receiveImage, view, [] {},
        Qt::BlockingQueuedConnection);
}

} // namespace vantratest
