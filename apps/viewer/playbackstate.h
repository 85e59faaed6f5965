// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "recordingtime.h"
#include "statusoverlay.h"

#include <QString>

/// What a playback shows.
///
///     Ready -> Opening -> Playing <-> Paused
///                 |          ^
///                 |          v
///                 |       Waiting      the device sends nothing
///                 +----------+-------> Ended, Failed; played again they open anew
enum class PlaybackState {
    Empty,   ///< without a camera
    Ready,   ///< not played
    Opening, ///< wanted; no picture yet
    Playing,
    Paused,
    Gap,     ///< waits for other playbacks until they come to the end of a gap
    Waiting, ///< open, but nothing comes; the last picture lies under a veil
    Ended,   ///< at the end of the recording
    Failed,  ///< refused, or broken off
};

/// All that is known of a playback that shows no moving picture.
struct PlaybackFacts
{
    PlaybackState state = PlaybackState::Empty;
    QString reason;                        ///< why nothing is played, if it is known
    qint64 position = recordingtime::none; ///< of the last picture, or where play would begin
    QDate day;
    bool isMissing = false; ///< it is known that nothing of that day is recorded
    bool comesBack = false; ///< it is tried again without being asked
};

/// The facts in plain words.
StatusOverlay::Message describe(const PlaybackFacts &facts);

/// One line for the summary.
QString stateText(const PlaybackFacts &facts);
