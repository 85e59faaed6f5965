// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/mediaclock.h"

namespace vantrasim {

namespace {

struct Epoch
{
    SteadyClock::time_point steady = SteadyClock::now();
    qint64 device = deviceTime(QDateTime::currentDateTime());
};

const Epoch &epoch()
{
    static const Epoch instance;
    return instance;
}

} // namespace

qint64 deviceNow()
{
    const Epoch &start = epoch();
    return start.device +
           std::chrono::duration_cast<Milliseconds>(SteadyClock::now() - start.steady).count();
}

SteadyClock::time_point steadyTimeOf(qint64 time)
{
    const Epoch &start = epoch();
    return start.steady + Milliseconds(time - start.device);
}

std::string clockText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC)
        .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
        .toStdString();
}

} // namespace vantrasim
