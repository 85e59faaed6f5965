// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/picturememory_p.h"

#include "systemcompat_p.h"

extern "C" {
#include <libavutil/mem.h>
}

#include <cstring>

std::shared_ptr<std::uint8_t> newPictureMemory(std::size_t bytes)
{
    // The room before the first large page is never touched, and so takes no memory.
    const std::size_t room = bytes < kLargePageBytes ? 0 : kLargePageBytes;
    const std::shared_ptr<std::uint8_t> memory(static_cast<std::uint8_t *>(av_malloc(bytes + room)),
                                               [](std::uint8_t *begin) { av_free(begin); });
    if (!memory)
        return nullptr;
    std::uint8_t *begin = memory.get();
    if (room != 0) {
        begin += room - reinterpret_cast<std::uintptr_t>(begin) % kLargePageBytes;
        preferLargePages(begin, bytes);
    }
    std::memset(begin, 0, bytes);
    return {memory, begin};
}
