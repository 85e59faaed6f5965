// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/videothrmux/livethreadmaker_p.h"

#include "core_live/ffrtsplivethread.h"
#include "core_live/orvolivethread.h"
#include "core_live/zelklivethread.h"

AbstractVideoThread *(*liveThreadMaker)(HTransportProtocol protocol) = makeLiveThread;

AbstractVideoThread *makeLiveThread(HTransportProtocol protocol)
{
    switch (protocol) {
    case HTransportOrvo:
        return new OrvoLiveThread;
    case HTransportZelk:
        return new ZelkLiveThread;
    case HTransportRtsp:
        return new FFRtspLiveThread;
    }
    return nullptr;
}
