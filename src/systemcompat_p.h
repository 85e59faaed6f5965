// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <cerrno>

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
