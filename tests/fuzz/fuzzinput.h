// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace vantrafuzz {

/// Takes an input apart from its front. What the input no longer has reads as 0.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size) : data(data), left(size) {}

    bool isEmpty() const { return left == 0; }

    template<typename T>
    T take()
    {
        static_assert(std::is_trivially_copyable<T>::value);
        T value{};
        const std::size_t bytes = std::min(left, sizeof value);
        std::memcpy(&value, data, bytes);
        skip(bytes);
        return value;
    }

    /// At most `bytes` of them; `*got` tells how many there are. Valid as long as the input.
    const std::uint8_t *takeBytes(std::size_t bytes, std::size_t *got)
    {
        const std::uint8_t *begin = data;
        *got = std::min(bytes, left);
        skip(*got);
        return begin;
    }

private:
    void skip(std::size_t bytes)
    {
        data += bytes;
        left -= bytes;
    }

    const std::uint8_t *data;
    std::size_t left;
};

/// Ends the process where something is not as it must be, so that the fuzzer keeps the input.
inline void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "fuzz: does not hold: %s\n", what);
    std::abort();
}

} // namespace vantrafuzz
