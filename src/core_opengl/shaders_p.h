// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Sources of the shaders that turn planes into RGB, each in one line.
///
/// The matrix is that of ITU-R BT.601 for analogue Y'UV. Luma loses its pedestal of 16 steps and is
/// not scaled, so that white is not quite white; this is intended.
namespace shaders {

/// For three planes; `gles`: on OpenGL ES, which knows no default precision.
QString yuvVertex();
QString yuvFragment(bool gles);

/// For NV12.
QString nv12Vertex();
QString nv12Fragment(bool gles);

} // namespace shaders
