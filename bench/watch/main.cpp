// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// bench-watch FILE COLUMNS WIDTH HEIGHT TILES MICROSECONDS
//
// Watches the screen of an Xvfb through the file of its option -fbdir: the X server has it mapped
// anyway, so looking costs the server and the player nothing. Every so many microseconds it reads
// the picture counter of each tile, and writes a line "TILE COUNTER NANOSECONDS" when that has
// changed, by CLOCK_MONOTONIC. A number of microseconds on its standard input is the new pause
// between two looks. It ends with that input.
#include "simulator/scene/counterrow.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace {

constexpr std::uint8_t kHalf = 128;  ///< of a colour
constexpr long kMostMicros = 999999; ///< of a pause

/// The mapped screen, 32 bits per pixel, as XWD lays it out: a header in big-endian words, the
/// colour map, the lines.
class Screen
{
public:
    explicit Screen(const char *file)
    {
        const int fd = ::open(file, O_RDONLY | O_CLOEXEC);
        struct stat info = {};
        if (fd < 0 || ::fstat(fd, &info) != 0)
            return;
        const auto size = static_cast<std::size_t>(info.st_size);
        void *memory = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
        ::close(fd);
        if (memory == MAP_FAILED || size < kHeaderWords * 4)
            return;
        const auto *words = static_cast<const std::uint32_t *>(memory);
        const auto word = [words](int at) { return std::size_t(ntohl(words[at])); };
        const std::size_t begin = word(kHeaderSize) + word(kColours) * kColourBytes;
        m_lineBytes = word(kBytesPerLine);
        m_width = word(kWidth);
        m_height = word(kHeight);
        if (word(kBitsPerPixel) == 32 && begin + m_lineBytes * m_height <= size &&
            m_width * 4 <= m_lineBytes)
            m_pixels = static_cast<const std::uint8_t *>(memory) + begin;
    }

    bool contains(std::size_t width, std::size_t height) const
    {
        return m_pixels != nullptr && width <= m_width && height <= m_height;
    }
    /// Whether the pixel is a light one, by its green.
    bool isLight(std::size_t x, std::size_t y) const
    {
        return static_cast<const volatile std::uint8_t *>(m_pixels)[y * m_lineBytes + x * 4 + 1] >=
               kHalf;
    }

private:
    static constexpr std::size_t kHeaderWords = 25;
    static constexpr int kHeaderSize = 0;
    static constexpr int kWidth = 4;
    static constexpr int kHeight = 5;
    static constexpr int kBitsPerPixel = 11;
    static constexpr int kBytesPerLine = 12;
    static constexpr int kColours = 19;
    static constexpr std::size_t kColourBytes = 12;

    const std::uint8_t *m_pixels = nullptr;
    std::size_t m_lineBytes = 0;
    std::size_t m_width = 0;
    std::size_t m_height = 0;
};

/// Where the cells of a tile's counter are looked at.
struct Tile
{
    std::array<std::size_t, vantrasim::kCounterCells> x{};
    std::size_t y = 0;
    std::int64_t last = -1;
};

Tile tileAt(std::size_t left, std::size_t top, std::size_t width, std::size_t height)
{
    Tile tile;
    tile.y = top + height / (2 * vantrasim::kCounterRowDivisor);
    for (std::size_t cell = 0; cell < tile.x.size(); ++cell)
        tile.x[cell] = left + (2 * cell + 1) * width / (2 * tile.x.size());
    return tile;
}

void look(const Screen &screen, std::vector<Tile> *tiles)
{
    for (std::size_t i = 0; i < tiles->size(); ++i) {
        Tile &tile = (*tiles)[i];
        vantrasim::CounterCells cells{};
        for (std::size_t cell = 0; cell < cells.size(); ++cell)
            cells[cell] = screen.isLight(tile.x[cell], tile.y);
        std::uint32_t counter = 0;
        if (!vantrasim::counterFromCells(cells, &counter) || counter == tile.last)
            continue;
        tile.last = counter;
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        std::printf("%zu %u %lld\n", i, counter,
                    static_cast<long long>(now.tv_sec) * 1000000000 + now.tv_nsec);
    }
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 7) {
        std::fputs("usage: bench-watch FILE COLUMNS WIDTH HEIGHT TILES MICROSECONDS\n", stderr);
        return 2;
    }
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    const auto number = [argv](int at) { return std::strtoul(argv[at], nullptr, 10); };
    const std::size_t columns = number(2);
    const std::size_t width = number(3);
    const std::size_t height = number(4);
    const std::size_t count = number(5);
    const Screen screen(argv[1]);
    if (columns == 0 || count == 0 ||
        !screen.contains(columns * width, (count + columns - 1) / columns * height)) {
        std::fprintf(stderr, "bench-watch: %s is no screen that holds these tiles\n", argv[1]);
        return 1;
    }
    std::vector<Tile> tiles;
    for (std::size_t i = 0; i < count; ++i)
        tiles.push_back(tileAt(i % columns * width, i / columns * height, width, height));
    timespec pause = {0, static_cast<long>(number(6)) * 1000};
    for (;;) {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        if (::ppoll(&input, 1, &pause, nullptr) > 0) {
            char line[32] = {};
            if (::read(STDIN_FILENO, line, sizeof line - 1) <= 0)
                return 0;
            pause.tv_nsec = std::clamp(std::atol(line), 1L, kMostMicros) * 1000;
        }
        look(screen, &tiles);
    }
}
