// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "fedthread.h"
#include "support/deviceframes.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"

namespace vantratest {

/// What the tests of threads that are read frame by frame share: a start and an end.
class FedThreadCase : public LoggedTest, protected DeviceFrames
{
    Q_OBJECT
    Q_DISABLE_COPY(FedThreadCase)

public:
    FedThreadCase() = default;

protected:
    /// Starts the thread and waits until it reads.
    static bool begin(FedThread *thread);
    /// Waits until all that was fed has been dealt with.
    static bool settle(FedThread *thread);
    /// Stops the thread and waits for its end.
    static bool end(FedThread *thread);

    /// Video decoders made in the test under way.
    int created() const;
    /// Announces what a decoder says when it is to use a device that nobody knows.
    void announceSoftwareFallback(const QString &codec, const QString &device);

private slots:
    void initTestCase();
};

} // namespace vantratest
