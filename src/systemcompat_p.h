// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <ctime>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#endif

/// What differs between the systems that the library is built for. Other sources ask here instead
/// of the preprocessor, but for core_d3d and core_codec/hwdecodesolution.

/// Whether surfaces of hardware decoders are objects of Direct3D.
#ifdef Q_OS_WIN
constexpr bool kDecodesToDirect3D = true;
#else
constexpr bool kDecodesToDirect3D = false;
#endif

/// Whether threads run on when exit() destroys what is static. Windows ends them before it does
/// that for a library.
#ifdef Q_OS_WIN
constexpr bool kThreadsOutliveExit = false;
#else
constexpr bool kThreadsOutliveExit = true;
#endif

// A quota that is used up. Windows tells it as a full disk.
#ifndef EDQUOT
#define EDQUOT ENOSPC
#endif

constexpr std::size_t kLargePageBytes = 2 << 20; ///< of the processors that are common

/// Asks the system to hold memory in large pages, where it has them and those lie in it whole. To
/// be called before the memory is touched, with a begin of a large page.
inline void preferLargePages([[maybe_unused]] void *begin, [[maybe_unused]] std::size_t bytes)
{
#ifdef MADV_HUGEPAGE
    ::madvise(begin, bytes - bytes % kLargePageBytes, MADV_HUGEPAGE); // else: as it was
#endif
}

/// Milliseconds of a steady clock that costs little to read; it may stand still for some of them.
inline qint64 coarseTimeMs()
{
#ifdef CLOCK_MONOTONIC_COARSE
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return static_cast<qint64>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
#else
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
#endif
}
