// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/linkmodel.h"

#include <QString>

#include <memory>

namespace vantratest {

/// Two networks that no other process has, and a bad link between them: this process is in one of
/// them, and cameras may be put into the other. Nothing of it is seen outside, and no support of
/// the system is needed but for network namespaces and /dev/net/tun: the packets are carried by a
/// thread of this process.
///
///     ImpairedLink link;
///     const QString reason = link.enter(seed); // first thing in main()
///     server.setPlace(link.cameraNetwork(), ImpairedLink::kCameraAddress);
///     link.setQuality({0.01});
class ImpairedLink
{
    Q_DISABLE_COPY(ImpairedLink)

public:
    static constexpr char kHostAddress[] = "10.77.0.1";
    static constexpr char kCameraAddress[] = "10.77.0.2";
    static constexpr char kOtherCameraAddress[] = "10.77.0.3";

    ImpairedLink();
    ~ImpairedLink(); ///< nothing is carried any more

    /// Moves this process there, for good. First thing in main(), before there is a second thread.
    /// Empty, or why it may not. The link is perfect at first.
    QString enter(unsigned seed);

    /// The network of the cameras, for setns(); -1 before enter().
    int cameraNetwork() const;

    // From here on: any thread.

    /// Of both directions, for packets that come from now on; a cut also ends what is under way.
    void setQuality(const LinkQuality &quality);
    /// The cameras' side has this address from now on; none: empty. What is sent to one that it has
    /// not got is lost without a word.
    bool setCameraAddress(const char *address);
    /// The host's own network card is plugged in or out.
    bool setHostUp(bool up);

    qint64 carried() const;    ///< packets that have come out, of both directions
    qint64 carriedUdp() const; ///< those of UDP among them
    qint64 lost() const;       ///< packets that have not

private:
    struct Worker;
    std::unique_ptr<Worker> m_worker;
};

} // namespace vantratest
