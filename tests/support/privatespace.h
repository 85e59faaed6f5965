// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace vantratest {

/// Parts this process from the others of the machine: `namespaces` are flags of unshare(), such as
/// CLONE_NEWNS. To be called first thing in main(), before there is a second thread. Empty, or why
/// it may not.
QString enterPrivateSpace(int namespaces);

} // namespace vantratest
