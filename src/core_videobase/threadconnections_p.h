// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <Qt>

/// How a widget hears of a stream thread. Both make a repeated call harmless.
namespace threadconnection {

/// Queued, where the thread emits in its run().
constexpr auto kUnique = Qt::UniqueConnection;
/// The thread stands still until the slot has returned: lent frames stay valid and none pile up.
constexpr auto kBlocking = Qt::ConnectionType(Qt::BlockingQueuedConnection | Qt::UniqueConnection);

} // namespace threadconnection
