// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "aac_transcoder/g7ring_p.h"

#include <algorithm>

int G7Ring::Write(const unsigned char *data, int len)
{
    if (len < 1)
        return 0;
    if (!data || kCapacity - static_cast<int>(bytes.size()) < len)
        return -1;
    bytes.insert(bytes.end(), data, data + len);
    return len;
}

int G7Ring::Read(unsigned char *out, int n)
{
    if (n < 1 || static_cast<int>(bytes.size()) < n)
        return 0;
    std::copy_n(bytes.begin(), n, out);
    bytes.erase(bytes.begin(), bytes.begin() + n);
    return n;
}
