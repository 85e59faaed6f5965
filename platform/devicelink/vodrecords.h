// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/encpara.h"

#include <QDateTime>

/// What to play of a recording. The meaning of the three times is agreed between the host, which
/// fills them, and the device link; nobody in between reads them.
struct VodStartPara
{
    QDateTime time0; ///< as the device takes it: the begin
    QDateTime time1; ///< the end
    QDateTime time2; ///< where to begin in between
};

/// The span of a recording to download.
struct VodDownloadPara
{
    QDateTime beginTime; ///< in the time of the device
    QDateTime endTime;   ///< in the time of the device
};

/// What a download consists of at this moment. Filled by the device link: the layout is fixed. A
/// record as built here is what the device link expects to be given.
struct VodSdp
{
    qint32 sdpReserved = 0; ///< not read
    bool hasVideo = false;  ///< no file is started while this is false
    bool hasAudio = false;  ///< false: files are made without sound
    qint32 sdpMark = 0;     ///< changes with the form of the stream; only ever compared
    HVideoEncPara video;    ///< as files are opened for
    HAudioEncPara audio;    ///< as files are opened for
};

static_assert(sizeof(VodSdp) == 52);
