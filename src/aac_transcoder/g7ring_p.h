// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

/// Bounded store of bytes, first in, first out. (Linear, despite its name.)
class G7Ring
{
public:
    static constexpr int kCapacity = 0x20000; ///< bytes

    /// Appends all of `data`, or nothing: -1 if less room is left. Returns the bytes stored.
    int Write(const unsigned char *data, int len);
    /// Takes `n` bytes off the front, or none: 0 if fewer are there. Returns the bytes taken.
    int Read(unsigned char *out, int n);

private:
    std::vector<unsigned char> bytes;
};
