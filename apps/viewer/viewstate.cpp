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
    return tr("Last picture at %1.").arg(facts.lastPictureAt.toString("HH:mm:ss"));
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
    message.title = facts.wasLive ? tr("Connection lost") : tr("No picture");
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
        message.icon = QStringLiteral("no-signal");
        message.title = tr("No signal");
        message.detail = lastPicture(facts);
        message.veil = true;
        break;
    case ViewState::Live:
        break;
    }
    return message;
}

QString stateText(const ViewFacts &facts)
{
    switch (facts.state) {
    case ViewState::Stopped: return QStringLiteral("stopped");
    case ViewState::Live: return QStringLiteral("live");
    case ViewState::NoSignal: return QStringLiteral("no signal");
    case ViewState::Connecting: break;
    }
    if (facts.reason.isEmpty())
        return QStringLiteral("connecting");
    return QStringLiteral("no picture: ") + facts.reason.simplified();
}
