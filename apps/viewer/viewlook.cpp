// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewlook.h"

#include "core_videobase/bannerwidget.h"
#include "theme.h"

#include <QCoreApplication>

namespace viewlook {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ViewLook", text);
}

const char kSoundOnIcon[] = ":/primary/volume.svg";
const char kSoundOffIcon[] = ":/primary/close_volume.svg";
const char kTalkOnIcon[] = ":/primary/mic.svg";
const char kTalkOffIcon[] = ":/primary/mic-close.svg";

} // namespace

WidgetPara make(const QString &cameraName)
{
    WidgetPara look;
    look.borderWidth = frameWidth;
    look.borderColor = theme::frame;
    look.focusColor = theme::accent;
    look.textColor = theme::dimText;
    look.bgText.clear();
    look.muted = true;
    look.videoFlag = cameraName;
    look.scaleMode = ScaleMode_Aspect;
    look.videoMode = VideoMode_Painter;
    look.bannerEnable = true;
    look.bannerSize = bannerSize;
    look.bannerPosition = 1;
    look.banner.margins = QMargins(10, 0, 8, 0);
    look.banner.spacing = 10;
    look.banner.bgAlpha = 235;
    look.banner.bgColor = theme::window;
    look.banner.textColor = theme::text;
    look.banner.pressColor = theme::accent;
    look.banner.names = QStringList{stopButton, soundOffButton, talkOffButton, scaleButton,
                                    zoomButton, saveButton,     recordButton,  enlargeButton};
    look.banner.icons = QStringList{":/viewer/icons/stop.svg",
                                    kSoundOffIcon,
                                    kTalkOffIcon,
                                    scaleIcon(look.scaleMode),
                                    ":/primary/digital-zoom.svg",
                                    ":/primary/snap.svg",
                                    recordIcon(false),
                                    ":/viewer/icons/enlarge.svg"};
    look.banner.tips = QStringList{tr("Stop"),
                                   tr("Sound on or off"),
                                   tr("Talk to the device"),
                                   tr("Fit, fill, or own size"),
                                   tr("Digital zoom"),
                                   tr("Save the picture"),
                                   tr("Start or end a recording"),
                                   tr("Show only this camera, or all")};
    return look;
}

QString scaleIcon(ScaleMode mode)
{
    switch (mode) {
    case ScaleMode_Aspect:
        return QStringLiteral(":/viewer/icons/scale-fit.svg");
    case ScaleMode_Fill:
        return QStringLiteral(":/viewer/icons/scale-fill.svg");
    case ScaleMode_Auto:
        break;
    }
    return QStringLiteral(":/viewer/icons/scale-own.svg");
}

// In these two only a button in the other state is found; one that was clicked is in the new one
// already. The banner's own slot for the sound would take the talk button for that of the sound.

void showSound(BannerWidget *banner, bool isOn)
{
    if (isOn)
        banner->changeStatus(soundOffButton, soundOnButton, kSoundOnIcon);
    else
        banner->changeStatus(soundOnButton, soundOffButton, kSoundOffIcon);
}

void showTalk(BannerWidget *banner, bool isTalking)
{
    if (isTalking)
        banner->changeStatus(talkOffButton, talkOnButton, kTalkOnIcon);
    else
        banner->changeStatus(talkOnButton, talkOffButton, kTalkOffIcon);
}

QString recordIcon(bool isRecording)
{
    return isRecording ? QStringLiteral(":/viewer/icons/recording.svg")
                       : QStringLiteral(":/viewer/icons/record.svg");
}

QString styleSheet()
{
    // The banner's text would else stand on a ground of its own.
    return QStringLiteral("*{background-color:%1;}"
                          "#bannerWidget QLabel{background-color:rgba(0,0,0,0);}")
        .arg(theme::view.name());
}

} // namespace viewlook
