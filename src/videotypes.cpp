// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "videotypes.h"

// Hosts compare and store these numbers, and the meta-object system copies the enums as ints.
static_assert(sizeof(DecodeType) == 4 && sizeof(VideoCore) == 4 && sizeof(VideoMode) == 4 &&
              sizeof(ScaleMode) == 4 && sizeof(RecorderState) == 4 && sizeof(OsdFormat) == 4 &&
              sizeof(OsdPosition) == 4);
