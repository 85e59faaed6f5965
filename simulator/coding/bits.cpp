// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/bits.h"

namespace vantrasim {

std::uint32_t BitReader::bits(int count)
{
    std::uint32_t value = 0;
    for (; count > 0; --count, ++m_at) {
        const std::size_t byte = m_at / 8;
        const bool bit = byte < m_data.size() && ((m_data[byte] >> (7 - m_at % 8)) & 1) != 0;
        value = (value << 1) | (bit ? 1U : 0U);
    }
    return value;
}

std::uint32_t BitReader::ue()
{
    int zeros = 0;
    while (zeros < 32 && isOk() && !flag())
        ++zeros;
    if (zeros == 32 || !isOk()) {
        m_ok = false;
        return 0;
    }
    return (1U << zeros) - 1 + bits(zeros);
}

std::int32_t BitReader::se()
{
    const std::uint32_t code = ue();
    const auto size = static_cast<std::int32_t>(code / 2 + code % 2);
    return code % 2 != 0 ? size : -size;
}

void BitWriter::bits(std::uint32_t value, int count)
{
    for (int bit = count - 1; bit >= 0; --bit) {
        if (m_used == 8) {
            m_bytes.push_back(0);
            m_used = 0;
        }
        if (((value >> bit) & 1U) != 0)
            m_bytes.back() = static_cast<std::uint8_t>(m_bytes.back() | (0x80U >> m_used));
        ++m_used;
    }
}

void BitWriter::ue(std::uint32_t value)
{
    const std::uint32_t code = value + 1;
    int length = 1;
    while ((code >> length) != 0)
        ++length;
    bits(0, length - 1);
    bits(code, length);
}

void BitWriter::se(std::int32_t value)
{
    ue(value > 0 ? static_cast<std::uint32_t>(value) * 2 - 1
                 : static_cast<std::uint32_t>(-value) * 2);
}

void BitWriter::copy(const Bytes &data, std::size_t begin, std::size_t end)
{
    for (std::size_t at = begin; at < end; ++at)
        flag(((data[at / 8] >> (7 - at % 8)) & 1) != 0);
}

void BitWriter::alignWithOnes()
{
    while (m_used != 8)
        flag(true);
}

void BitWriter::alignWithStop()
{
    flag(true);
    while (m_used != 8)
        flag(false);
}

std::vector<Bytes> splitUnits(const std::uint8_t *data, std::size_t size)
{
    std::vector<Bytes> units;
    std::size_t zeros = 0;
    Bytes *unit = nullptr;
    for (std::size_t i = 0; i < size; ++i) {
        if (zeros >= 2 && data[i] == 1) {
            if (unit != nullptr) { // zeros before a start code belong to nobody
                while (!unit->empty() && unit->back() == 0)
                    unit->pop_back();
            }
            units.emplace_back();
            unit = &units.back();
            zeros = 0;
            continue;
        }
        const bool escape = zeros >= 2 && data[i] == 3;
        zeros = data[i] == 0 ? zeros + 1 : 0;
        if (unit != nullptr && !escape)
            unit->push_back(data[i]);
    }
    return units;
}

void appendUnit(const Bytes &unit, Bytes *stream)
{
    constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
    stream->insert(stream->end(), std::begin(kStartCode), std::end(kStartCode));
    int zeros = 0;
    for (std::uint8_t byte : unit) {
        if (zeros >= 2 && byte <= 3) {
            stream->push_back(3);
            zeros = 0;
        }
        stream->push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
}

} // namespace vantrasim
