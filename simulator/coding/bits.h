// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Bits of H.264 and H.265 as ITU-T H.264 and H.265, clauses 7.2 and 9, write them.
namespace vantrasim {

using Bytes = std::vector<std::uint8_t>;

/// Reads bits from the left. Past the end it gives zeros and isOk() turns false.
class BitReader
{
public:
    /// `data` must live longer.
    explicit BitReader(const Bytes &data, std::size_t firstByte = 0)
        : m_data(data), m_at(firstByte * 8)
    {
    }

    bool flag() { return bits(1) != 0; }
    std::uint32_t bits(int count);
    std::uint32_t ue(); ///< Exp-Golomb, unsigned
    std::int32_t se();  ///< Exp-Golomb, signed
    void skip(int count) { m_at += static_cast<std::size_t>(count); }
    std::size_t position() const { return m_at; } ///< in bits, from the first byte of the data
    bool isOk() const { return m_ok && m_at <= m_data.size() * 8; }

private:
    const Bytes &m_data;
    std::size_t m_at;
    bool m_ok = true;
};

/// Writes bits from the left.
class BitWriter
{
public:
    void flag(bool value) { bits(value ? 1 : 0, 1); }
    void bits(std::uint32_t value, int count);
    void ue(std::uint32_t value);
    void se(std::int32_t value);
    /// The bits from `begin` to `end` of `data`.
    void copy(const Bytes &data, std::size_t begin, std::size_t end);
    /// Fills the last byte: with ones, or with a one and zeros.
    void alignWithOnes();
    void alignWithStop();

    const Bytes &bytes() const { return m_bytes; }

private:
    Bytes m_bytes;
    int m_used = 8; // bits of the last byte
};

/// The NAL units of a byte stream with start codes, headers included, escapes taken out.
std::vector<Bytes> splitUnits(const std::uint8_t *data, std::size_t size);

/// Appends `unit` with a start code and with escapes to `stream`.
void appendUnit(const Bytes &unit, Bytes *stream);

} // namespace vantrasim
