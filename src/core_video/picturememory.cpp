// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/picturememory_p.h"

#include "systemcompat_p.h"

extern "C" {
#include <libavutil/mem.h>
}

#include <cstring>

namespace {

std::shared_ptr<std::uint8_t> owned(void *memory)
{
    return {static_cast<std::uint8_t *>(memory), [](std::uint8_t *begin) { av_free(begin); }};
}

} // namespace

std::shared_ptr<std::uint8_t> newPictureMemory(std::size_t bytes)
{
    if (bytes < kLargePageBytes)
        return owned(av_mallocz(bytes));
    // What lies before the first large page is never touched, and so takes no memory.
    const std::shared_ptr<std::uint8_t> memory = owned(av_malloc(bytes + kLargePageBytes));
    if (!memory)
        return nullptr;
    const std::size_t before =
        kLargePageBytes - reinterpret_cast<std::uintptr_t>(memory.get()) % kLargePageBytes;
    std::uint8_t *const begin = memory.get() + before;
    preferLargePages(begin, bytes);
    std::memset(begin, 0, bytes); // only now, which is when the pages are chosen
    return {memory, begin};
}
