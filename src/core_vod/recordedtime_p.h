// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Whether `to` is more than `ms` after `from`. Stamps are the device's: any of them may come.
constexpr bool isLaterBy(qint64 to, qint64 from, qint64 ms)
{
    return to > from && quint64(to) - quint64(from) > quint64(ms);
}
