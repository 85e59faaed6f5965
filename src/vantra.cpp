// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "vantra.h"

#include "core_codec/hwdecodesolution.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"

// FFmpeg's global state is left alone here on purpose: the first MediaCodec sets its log level, and
// its network layer starts by itself on first use.

bool Vantra::init()
{
    HwDecodeSolution::preQuery();
    return DevLiveThrSetManager::Instance()->start();
}

void Vantra::release()
{
    DevLiveThrSetManager::Instance()->stop();
}
