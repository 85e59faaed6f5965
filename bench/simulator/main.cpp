// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

// What simulated streams cost to produce: CPU time of this process, which does nothing but read
// them, in percent of one core. The loops are encoded before the clock starts.

#include "simulator/devicecontrol.h"

#include "devicelink/hframeheader.h"
#include "devicelink/hnetdevice.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

using namespace vantrasim;

namespace {

struct Cell
{
    const char *name;
    int streams;
    int width;
    int height;
    bool h264;
    bool h265;
};

constexpr Cell kCells[] = {
    {"1 x 640x360 H.264", 1, 640, 360, true, false},
    {"32 x 640x360 H.264", 32, 640, 360, true, false},
    {"1 x 640x360 H.265", 1, 640, 360, false, true},
    {"32 x 640x360 H.265", 32, 640, 360, false, true},
    {"32 x 640x360 both", 32, 640, 360, true, true},
    {"64 x 640x360 both", 64, 640, 360, true, true},
    {"4 x 1920x1080 H.264", 4, 1920, 1080, true, false},
    {"4 x 1920x1080 H.265", 4, 1920, 1080, false, true},
};

double cpuSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

void measure(const Cell &cell, int seconds)
{
    DeviceConfig config = DeviceConfig::simple(cell.streams, 1);
    for (int i = 0; i < cell.streams; ++i) {
        VideoFormat &video = config.channels[i].streams[0].video;
        video.codec = cell.h264 && (!cell.h265 || i % 2 == 0) ? HCodecH264 : HCodecH265;
        video.width = cell.width;
        video.height = cell.height;
    }
    const Simulation sim = simulateDevice(config);
    std::atomic<int> waiting{cell.streams};
    std::atomic<bool> stop{false};
    std::atomic<long long> bytes{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < cell.streams; ++i) {
        readers.emplace_back([&, i] {
            std::vector<unsigned char> buffer(kHFrameBufferSize);
            auto *frame = reinterpret_cast<HFrameHeader *>(buffer.data());
            sim.device->enableMediaTransmit(i, 0, true);
            // Two rounds of the loop: all of it has been encoded then.
            for (int pictures = 0; pictures < 100 && !stop;)
                pictures += sim.device->readFrame(i, 0, frame, 200) == HRetOk ? 1 : 0;
            --waiting;
            while (!stop) {
                if (sim.device->readFrame(i, 0, frame, 200) == HRetOk)
                    bytes += frame->frameSize;
            }
        });
    }
    while (waiting > 0)
        std::this_thread::sleep_for(Milliseconds(50));
    const qint64 before = sim.control->counts(0, 0).pictures;
    const double cpu = cpuSeconds();
    const auto begun = SteadyClock::now();
    bytes = 0;
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double used = cpuSeconds() - cpu;
    const double wall = std::chrono::duration<double>(SteadyClock::now() - begun).count();
    const double rate = double(sim.control->counts(0, 0).pictures - before) / wall;
    const double kbps = double(bytes) * 8 / 1000 / wall / cell.streams;
    stop = true;
    for (std::thread &reader : readers)
        reader.join();
    std::printf("%-22s %8.1f %10.1f %10.0f\n", cell.name, 100 * used / wall, rate, kbps);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    const int seconds = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 10;
    std::printf("%-22s %8s %10s %10s\n", "streams", "% core", "pictures/s", "kbit/s");
    for (const Cell &cell : kCells)
        measure(cell, seconds);
    return 0;
}
