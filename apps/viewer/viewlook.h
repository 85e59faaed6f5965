// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "videotypes.h"

class BannerWidget;

/// How a view looks, and what its banner holds.
namespace viewlook {

constexpr int frameWidth = 6;  ///< pixels; half of it is seen
constexpr int bannerSize = 34; ///< pixels
/// Width from which a view has room for a text beside the banner's buttons, pixels.
constexpr int bannerTextRoom = 390;

// Names of the banner's buttons; that of the sound button is its state too.
constexpr char stopButton[] = "btnStop";
constexpr char soundOnButton[] = "btnSound";
constexpr char soundOffButton[] = "btnMuted";
// Likewise that of the talk button.
constexpr char talkOnButton[] = "btnTalk";
constexpr char talkOffButton[] = "btnTalkMuted";
constexpr char scaleButton[] = "btnScale";
constexpr char zoomButton[] = "btnZoom";
constexpr char saveButton[] = "btnSave";
constexpr char recordButton[] = "btnRecord";
constexpr char enlargeButton[] = "btnEnlarge";

/// The parameters of a new view. It is mute until somebody wants its sound.
WidgetPara make(const QString &cameraName);
/// Picture of the button that tells and changes how the picture fits.
QString scaleIcon(ScaleMode mode);
/// Makes the sound button tell whether there is sound.
void showSound(BannerWidget *banner, bool isOn);
/// Makes the talk button tell whether somebody talks.
void showTalk(BannerWidget *banner, bool isTalking);
/// Picture of the button that starts and ends a recording.
QString recordIcon(bool isRecording);
/// In place of the one that the library gives.
QString styleSheet();

} // namespace viewlook
