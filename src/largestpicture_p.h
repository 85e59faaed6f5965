// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// The most pixels of a picture that is decoded: those of the largest one of level 6.2, 139264
/// macroblocks of 16x16 (ITU-T H.264, table A-1; the same count in ITU-T H.265, table A.8). A few
/// bytes from a device can claim any size, and FFmpeg makes a whole picture of what is claimed, up
/// to sixteen of which it keeps to refer to.
constexpr std::int64_t kLargestPicture = std::int64_t(139264) * 16 * 16;
