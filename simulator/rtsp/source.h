// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <gst/gst.h>

#include <utility>

namespace vantrasim {

/// Owns one reference to a GstSample.
class SamplePtr
{
public:
    SamplePtr() = default;
    explicit SamplePtr(GstSample *sample) : m_sample(sample) {}
    SamplePtr(SamplePtr &&other) noexcept : m_sample(std::exchange(other.m_sample, nullptr)) {}
    SamplePtr &operator=(SamplePtr &&other) noexcept
    {
        std::swap(m_sample, other.m_sample);
        return *this;
    }
    ~SamplePtr()
    {
        if (m_sample != nullptr)
            gst_sample_unref(m_sample);
    }
    GstSample *get() const { return m_sample; }

private:
    GstSample *m_sample = nullptr;
};

/// One picture or one packet of sound, with its form (caps) and times on the source's own clock.
struct Unit
{
    bool audio = false;
    GstClockTime due = 0; ///< when it is to be sent; never falls from one unit to the next
    SamplePtr sample;     ///< empty: the source has ended
};

/// Delivers what one media plays, in the order of sending, from time 0 on. The first unit of each
/// kind is due at 0. Used by one thread at a time.
class Source
{
public:
    virtual ~Source() = default;
    virtual Unit next() = 0;
};

} // namespace vantrasim
