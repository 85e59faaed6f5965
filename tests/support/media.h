// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace vantratest {

/// Folder of the third-party clips: VANTRA_TEST_MEDIA, or the media folder of "shared" beside the
/// checkout. Empty if there is none.
QString mediaDir();

/// 77, which CTest reports as skipped, if the clips are missing; 1 if they are missing and
/// VANTRA_REQUIRE_MEDIA is set; else 0. A test labelled "media" returns it from main() when not 0.
int mediaExitCode();

} // namespace vantratest
