// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/impairedlink.h"

#include "support/privatespace.h"

#include <QByteArray>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vantratest {

namespace {

constexpr char kDevice[] = "vantra0"; ///< in each of the two networks
constexpr char kNetmask[] = "255.255.255.0";
constexpr int kLongestPacket = 65536;

QString failed(const char *what)
{
    return QString::fromLatin1(what) + QStringLiteral(": ") +
           QString::fromLocal8Bit(std::strerror(errno));
}

ifreq requestFor(const char *device)
{
    ifreq request{};
    std::strncpy(request.ifr_name, device, IFNAMSIZ - 1);
    return request;
}

/// Settings of a network card of the network that the calling thread is in.
class Card
{
public:
    explicit Card(const char *name)
        : m_name(name), m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
    }
    ~Card()
    {
        if (m_socket >= 0)
            ::close(m_socket);
    }
    Q_DISABLE_COPY(Card)

    /// Empty: none.
    bool setAddress(const char *address) const
    {
        if (!set(SIOCSIFADDR, *address ? address : "0.0.0.0"))
            return false;
        return !*address || set(SIOCSIFNETMASK, kNetmask);
    }
    bool setUp(bool up) const
    {
        ifreq request = requestFor(m_name);
        if (::ioctl(m_socket, SIOCGIFFLAGS, &request) != 0)
            return false;
        request.ifr_flags = short(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
        return ::ioctl(m_socket, SIOCSIFFLAGS, &request) == 0;
    }

private:
    bool set(unsigned long what, const char *address) const
    {
        ifreq request = requestFor(m_name);
        sockaddr_in in{};
        in.sin_family = AF_INET;
        ::inet_pton(AF_INET, address, &in.sin_addr);
        std::memcpy(&request.ifr_addr, &in, sizeof in);
        return ::ioctl(m_socket, what, &request) == 0;
    }

    const char *const m_name;
    const int m_socket;
};

/// A card whose packets are read and written here, in the network that the calling thread is in; -1
/// on failure.
int makeTun()
{
    const int fd = ::open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return -1;
    ifreq request = requestFor(kDevice);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (::ioctl(fd, TUNSETIFF, &request) == 0)
        return fd;
    ::close(fd);
    return -1;
}

qint64 nowUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

struct ImpairedLink::Worker
{
    enum Side { Host, Camera, kSides };

    ~Worker()
    {
        if (thread.joinable()) {
            stop = true;
            wake();
            thread.join();
        }
        for (const int fd : {tun[Host], tun[Camera], network[Host], network[Camera], event}) {
            if (fd >= 0)
                ::close(fd);
        }
    }

    QString makeSide(Side side, const char *address)
    {
        network[side] = ::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        tun[side] = makeTun();
        if (tun[side] < 0)
            return failed("tun device");
        const Card card(kDevice);
        if (network[side] < 0 || !Card("lo").setUp(true) || !card.setUp(true) ||
            !card.setAddress(address))
            return failed("network card");
        return {};
    }

    void wake() const
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(event, &one, sizeof one);
    }

    void run()
    {
        std::array<char, kLongestPacket> buffer;
        while (!stop) {
            const qint64 next = deliver();
            timespec patience{next / 1000000, next % 1000000 * 1000};
            pollfd fds[] = {{tun[Host], POLLIN, 0}, {tun[Camera], POLLIN, 0}, {event, POLLIN, 0}};
            ::ppoll(fds, std::size(fds), next < 0 ? nullptr : &patience, nullptr);
            if (fds[2].revents != 0) [[maybe_unused]]
                const auto read = ::read(event, buffer.data(), 8);
            for (const Side side : {Host, Camera}) {
                ssize_t size = 0;
                while ((size = ::read(tun[side], buffer.data(), buffer.size())) > 0)
                    take(side, buffer.data(), int(size));
            }
        }
    }

    /// By the header of IPv4 (RFC 791).
    static bool isUdp(const QByteArray &packet)
    {
        constexpr int kProtocolAt = 9;
        return packet.size() > kProtocolAt && packet.at(kProtocolAt) == IPPROTO_UDP;
    }

    /// A packet that `from` has sent.
    void take(Side from, const char *packet, int size)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto due = models[from].pass(nowUs(), size);
        if (due)
            underWay[from].emplace(*due, QByteArray(packet, size));
        else
            ++lost;
    }

    /// Hands over what is due; microseconds until the next packet is, -1: there is none.
    qint64 deliver()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const qint64 now = nowUs();
        qint64 wait = -1;
        for (const Side from : {Host, Camera}) {
            auto &packets = underWay[from];
            while (!packets.empty() && packets.begin()->first <= now) {
                const QByteArray packet = packets.begin()->second;
                packets.erase(packets.begin());
                // A card that is not up refuses it: lost, as on a real line.
                const Side to = from == Host ? Camera : Host;
                const bool ok = ::write(tun[to], packet.constData(), size_t(packet.size())) > 0;
                ++(ok ? carried : lost);
                carriedUdp += ok && isUdp(packet);
            }
            if (!packets.empty()) {
                const qint64 left = packets.begin()->first - now;
                wait = wait < 0 ? left : std::min(wait, left);
            }
        }
        return wait;
    }

    int network[kSides] = {-1, -1};
    int tun[kSides] = {-1, -1};
    int event = -1;
    std::atomic<bool> stop{false};
    std::atomic<qint64> carried{0};
    std::atomic<qint64> carriedUdp{0};
    std::atomic<qint64> lost{0};

    std::mutex mutex; // guards what follows
    std::array<LinkModel, kSides> models{LinkModel(0), LinkModel(0)};
    std::multimap<qint64, QByteArray> underWay[kSides]; // by when it is due

    std::thread thread; // the last: it uses all the others
};

ImpairedLink::ImpairedLink() : m_worker(std::make_unique<Worker>()) {}

ImpairedLink::~ImpairedLink() = default;

QString ImpairedLink::enter(unsigned seed)
{
    Worker &worker = *m_worker;
    QString reason = enterPrivateSpace(CLONE_NEWNET);
    if (reason.isEmpty())
        reason = worker.makeSide(Worker::Host, kHostAddress);
    if (reason.isEmpty() && ::unshare(CLONE_NEWNET) != 0)
        reason = failed("unshare");
    if (reason.isEmpty())
        reason = worker.makeSide(Worker::Camera, kCameraAddress);
    if (reason.isEmpty() && ::setns(worker.network[Worker::Host], CLONE_NEWNET) != 0)
        reason = failed("setns");
    worker.event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (!reason.isEmpty() || worker.event < 0)
        return reason.isEmpty() ? failed("eventfd") : reason;
    worker.models = {LinkModel(seed), LinkModel(seed + 1)};
    worker.thread = std::thread([&worker] { worker.run(); });
    return {};
}

int ImpairedLink::cameraNetwork() const
{
    return m_worker->network[Worker::Camera];
}

void ImpairedLink::setQuality(const LinkQuality &quality)
{
    const std::lock_guard<std::mutex> lock(m_worker->mutex);
    for (const auto side : {Worker::Host, Worker::Camera}) {
        m_worker->models[side].setQuality(quality);
        if (quality.isCut) {
            m_worker->lost += qint64(m_worker->underWay[side].size());
            m_worker->underWay[side].clear();
        }
    }
}

bool ImpairedLink::setCameraAddress(const char *address)
{
    bool ok = false;
    // A thread can be in another network than its process.
    std::thread([&] {
        ok = ::setns(m_worker->network[Worker::Camera], CLONE_NEWNET) == 0 &&
             Card(kDevice).setAddress(address);
    }).join();
    return ok;
}

bool ImpairedLink::setHostUp(bool up)
{
    return Card(kDevice).setUp(up);
}

qint64 ImpairedLink::carried() const
{
    return m_worker->carried;
}

qint64 ImpairedLink::carriedUdp() const
{
    return m_worker->carriedUdp;
}

qint64 ImpairedLink::lost() const
{
    return m_worker->lost;
}

} // namespace vantratest
