// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// The presenters of this system, and `kHasDirect3D`: whether they show anything. Without it a
/// widget need not become a native window.

#ifdef _WIN32
#include "core_d3d/d3d11presenter_p.h"
#include "core_d3d/d3d9presenter_p.h"
constexpr bool kHasDirect3D = true;
#else
#include "core_d3d/nodirect3d_p.h"
#endif
