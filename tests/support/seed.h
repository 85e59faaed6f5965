// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <optional>
#include <random>

namespace vantratest {

/// What VANTRA_TEST_SEED asks a random test to draw from, to repeat a run that has failed.
inline std::optional<quint32> givenSeed()
{
    bool isNumber = false;
    const quint32 seed = qgetenv("VANTRA_TEST_SEED").toUInt(&isNumber);
    return isNumber ? std::optional<quint32>(seed) : std::nullopt;
}

/// The same, else one drawn now. It is told, so that the run can be repeated.
inline quint32 seedOfThisRun()
{
    const quint32 seed = givenSeed().value_or(std::random_device()());
    qInfo("VANTRA_TEST_SEED=%u", seed);
    return seed;
}

} // namespace vantratest
