// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/bits.h"

namespace vantrasim {

/// One context of the arithmetic coder (ITU-T H.265, clause 9.3.2.2).
struct CabacContext
{
    /// As a slice of quantiser `qp` begins, by the table value of its syntax element.
    CabacContext(int initValue, int qp);

    int state;
    bool mps;
};

/// The arithmetic encoder of ITU-T H.265, clause 9.3.5.
class CabacEncoder
{
public:
    void encode(CabacContext *context, bool bin);
    void bypass(bool bin);
    /// `count` of them, the highest of `value` first.
    void bypass(unsigned value, int count);
    /// end_of_slice_segment_flag. After the last one the slice is complete, its stop bit included.
    void terminate(bool last);

    const Bytes &bytes() const { return m_out.bytes(); }

private:
    void renormalise();
    void put(bool bit);

    BitWriter m_out;
    unsigned m_low = 0;
    unsigned m_range = 510;
    int m_outstanding = 0;
    bool m_first = true;
};

} // namespace vantrasim
