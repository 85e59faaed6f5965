// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewstate.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ViewState", text);
}

QString lastPicture(const ViewFacts &facts)
{
    const bool isOfToday = facts.lastPictureAt.date() == QDate::currentDate();
    return tr("Last picture at %1.")
        .arg(facts.lastPictureAt.toString(isOfToday ? "HH:mm:ss" : "yyyy-MM-dd HH:mm:ss"));
}

StatusOverlay::Message describeConnecting(const ViewFacts &facts)
{
    StatusOverlay::Message message;
    if (!facts.isFailing && !facts.wasLive) {
        message.icon = QStringLiteral("wait");
        message.title = tr("Connecting");
        return message;
    }
    message.icon = QStringLiteral("no-signal");
    message.title = facts.wasLive ? tr("No signal") : tr("No picture");
    QStringList lines;
    if (!facts.reason.isEmpty())
        lines.append(facts.reason);
    else if (facts.isOpen && facts.isFailing)
        lines.append(tr("The camera is connected, but sends no picture."));
    lines.append(facts.wasLive ? lastPicture(facts) + QLatin1Char(' ') + tr("Trying again.")
                               : tr("Trying again."));
    message.detail = lines.join(QLatin1Char('\n'));
    return message;
}

} // namespace

StatusOverlay::Message describe(const ViewFacts &facts)
{
    StatusOverlay::Message message;
    switch (facts.state) {
    case ViewState::Connecting:
        return describeConnecting(facts);
    case ViewState::Stopped:
        message.icon = QStringLiteral("camera");
        message.title = tr("Stopped");
        message.detail = tr("Press Space to start.");
        break;
    case ViewState::NoSignal:
        message.icon = facts.isSwitching ? QStringLiteral("wait") : QStringLiteral("no-signal");
        message.title = facts.isSwitching ? tr("Changing the stream") : tr("No signal");
        message.detail = facts.reason.isEmpty()
                             ? lastPicture(facts)
                             : facts.reason + QLatin1Char('\n') + lastPicture(facts);
        message.veil = true;
        break;
    case ViewState::Live:
        break;
    }
    return message;
}

StatusOverlay::Message describeEmpty()
{
    StatusOverlay::Message message;
    message.icon = QStringLiteral("add");
    message.title = tr("Empty");
    message.detail = tr("Drag a camera here from the list.");
    return message;
}

QString stateText(const ViewFacts &facts)
{
    switch (facts.state) {
    case ViewState::Stopped:
        return QStringLiteral("stopped");
    case ViewState::Live:
        return QStringLiteral("live");
    case ViewState::NoSignal:
        return QStringLiteral("no signal");
    case ViewState::Connecting:
        break;
    }
    if (facts.reason.isEmpty())
        return facts.wasLive ? QStringLiteral("no signal") : QStringLiteral("connecting");
    return (facts.wasLive ? QStringLiteral("no signal: ") : QStringLiteral("no picture: ")) +
           facts.reason.simplified();
}
