// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playbackstate.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("PlaybackState", text);
}

QString lastPicture(const PlaybackFacts &facts)
{
    return facts.position < 0 ? QString()
                              : tr("Played to %1.").arg(recordingtime::clockText(facts.position));
}

StatusOverlay::Message describeReady(const PlaybackFacts &facts)
{
    StatusOverlay::Message message;
    if (facts.isMissing) {
        message.icon = QStringLiteral("no-signal");
        message.title = tr("Nothing recorded");
        message.detail = tr("There is no recording of %1. Choose another day.")
                             .arg(facts.day.toString(Qt::ISODate));
    } else {
        message.icon = QStringLiteral("play");
        message.title = tr("Ready");
        message.detail = tr("Press Space to play from %1, or click the line below.")
                             .arg(recordingtime::clockText(qMax<qint64>(0, facts.position)));
    }
    return message;
}

} // namespace

StatusOverlay::Message describe(const PlaybackFacts &facts)
{
    StatusOverlay::Message message;
    QStringList lines;
    switch (facts.state) {
    case PlaybackState::Empty:
        message.icon = QStringLiteral("add");
        message.title = tr("Empty");
        message.detail = tr("Drag a camera here from the list.");
        return message;
    case PlaybackState::Ready:
        return describeReady(facts);
    case PlaybackState::Opening:
        message.icon = QStringLiteral("wait");
        message.title = tr("Opening the recording");
        message.detail = facts.reason;
        return message;
    case PlaybackState::Waiting:
        message.icon = QStringLiteral("no-signal");
        message.title = tr("No pictures");
        message.veil = true;
        break;
    case PlaybackState::Gap:
        message.icon = QStringLiteral("wait");
        message.title = tr("Nothing recorded");
        message.detail = tr("The recording goes on at %1; the other playbacks are not there yet.")
                             .arg(recordingtime::clockText(qMax<qint64>(0, facts.position)));
        return message;
    case PlaybackState::Ended:
        message.icon = QStringLiteral("stop");
        message.title = tr("End of the recording");
        message.detail =
            QStringList{lastPicture(facts), tr("Press Space to play again, or choose a time.")}
                .join(QLatin1Char('\n'))
                .trimmed();
        return message;
    case PlaybackState::Failed:
        message.icon = QStringLiteral("no-signal");
        message.title = tr("Not played");
        break;
    case PlaybackState::Playing:
    case PlaybackState::Paused:
        return message;
    }
    lines.append(facts.reason.isEmpty() ? tr("The device sends nothing.") : facts.reason);
    lines.append(facts.comesBack ? tr("Play goes on when it is back.")
                                 : tr("Press Space to try again."));
    message.detail = lines.join(QLatin1Char('\n'));
    return message;
}

QString stateText(const PlaybackFacts &facts)
{
    switch (facts.state) {
    case PlaybackState::Empty:
        return QStringLiteral("empty");
    case PlaybackState::Ready:
        return QStringLiteral("ready");
    case PlaybackState::Opening:
        return QStringLiteral("opening");
    case PlaybackState::Playing:
        return QStringLiteral("playing");
    case PlaybackState::Paused:
        return QStringLiteral("paused");
    case PlaybackState::Gap:
        return QStringLiteral("in a gap");
    case PlaybackState::Ended:
        return QStringLiteral("ended");
    case PlaybackState::Waiting:
    case PlaybackState::Failed:
        break;
    }
    const QString title = facts.state == PlaybackState::Failed ? QStringLiteral("not played")
                                                               : QStringLiteral("no pictures");
    return facts.reason.isEmpty() ? title
                                  : title + QStringLiteral(": ") + facts.reason.simplified();
}
