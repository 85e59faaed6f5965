// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

namespace vantratest {

/// Whether rounds that take their time are all wanted, as by ./test --full.
inline bool wantsAllRounds()
{
    return qEnvironmentVariableIsSet("VANTRA_TEST_ALL_ROUNDS");
}

/// How often something is done again: `all` times, or as often as is enough for every day.
inline int roundsOf(int all, int everyDay)
{
    return wantsAllRounds() ? all : everyDay;
}

} // namespace vantratest
