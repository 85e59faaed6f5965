// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "statusoverlay.h"

#include <QDateTime>
#include <QString>

/// What a view shows in place of a live picture.
///
///     Stopped -> Connecting -> Live -> NoSignal -> Live
///                    ^----------+---------+   the stream broke; it is opened again
enum class ViewState {
    Stopped,    ///< not wanted
    Connecting, ///< wanted; no picture since the stream was opened, or not open
    Live,       ///< the last picture is recent
    NoSignal,   ///< open, but no picture for a while; the old one lies under a veil
};

/// All that is known of a view that is not live.
struct ViewFacts
{
    ViewState state = ViewState::Stopped;
    bool isOpen = false;    ///< the stream could be opened
    bool isFailing = false; ///< an attempt has failed, or it takes unusually long
    bool wasLive = false;   ///< since the view is wanted
    QString reason;         ///< why there is no picture, if it is known
    QDateTime lastPictureAt;
    bool isSwitching = false; ///< another stream was chosen, and its first picture is to come
};

/// The facts in plain words.
StatusOverlay::Message describe(const ViewFacts &facts);

/// What a view without a camera shows.
StatusOverlay::Message describeEmpty();

/// One line for the summary.
QString stateText(const ViewFacts &facts);
