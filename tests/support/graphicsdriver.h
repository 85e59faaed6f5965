// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

namespace vantratest {

/// Keeps the graphics driver in memory until the process ends, if it has been loaded: a check for
/// leaks can tell what is the driver's own only while it is there. To be called after OpenGL has
/// been used.
void keepGraphicsDriver();

} // namespace vantratest
