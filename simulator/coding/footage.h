// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/bits.h"

#include <string>

namespace vantrasim {

/// Coded pictures that are sent again and again. Any thread.
class Footage
{
public:
    Footage() = default;
    virtual ~Footage() = default;
    Footage(const Footage &) = delete;
    Footage &operator=(const Footage &) = delete;

    /// Pictures that can be had; 0 at first where they are still being made.
    virtual int size() const = 0;
    /// Whether no more will come.
    virtual bool isComplete() const = 0;
    /// Whether there will never be any.
    virtual bool isBroken() const = 0;
    /// `index` below size(). The first one is a key picture.
    virtual bool isKey(int index) const = 0;
    /// Writes picture `index` into *stream, which it empties first; where the footage can say it,
    /// with `counter` and `text`. A key picture comes without its parameter sets unless `withSets`.
    virtual bool compose(int index, std::uint32_t counter, const std::string &text, bool withSets,
                         Bytes *stream) const = 0;

    /// The first key picture from `index` on, round and round. 0 where there is none.
    int nextKey(int index) const
    {
        const int count = size();
        for (int i = 0; i < count; ++i) {
            if (isKey((index + i) % count))
                return (index + i) % count;
        }
        return 0;
    }
};

} // namespace vantrasim
