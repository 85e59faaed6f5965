// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <gst/rtsp-server/rtsp-server.h>

namespace vantrasim {

/// Readies `media` for viewers by TCP and by UDP, whichever comes first. Before the first one
/// plays, and once: see the source.
void openRoads(GstRTSPMedia *media);

/// The pipeline that `media` lives in, with a reference for the caller; null if there is none.
GstElement *pipelineOf(GstRTSPMedia *media);

} // namespace vantrasim
