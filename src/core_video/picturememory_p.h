// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/// Bytes for one picture that is written again and again, all 0, aligned for the widest vectors;
/// null where there is no memory. Those of a large picture lie in large pages where the system has
/// them: with the usual ones each line of a picture is a page of its own, and to look those up
/// costs as much as a quarter of the conversion that fills them. On any thread.
std::shared_ptr<std::uint8_t> newPictureMemory(std::size_t bytes);
