// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

namespace vantrasim {

/// Writes for each picture that is sent when that was: a line "NAME NUMBER NANOSECONDS", where the
/// number counts from 0 for each client of a clip, and the time is that of CLOCK_MONOTONIC. So
/// another program on the machine can tell how long a picture was on its way. Any thread.
class SendLog
{
public:
    /// Appends to `file`; null if it cannot be written.
    static std::shared_ptr<SendLog> open(const std::string &file);
    ~SendLog();
    SendLog(const SendLog &) = delete;
    SendLog &operator=(const SendLog &) = delete;

    /// Picture `number` of `name` is sent now.
    void note(const std::string &name, std::uint64_t number);

private:
    explicit SendLog(std::FILE *file) : m_file(file) {}

    std::mutex m_mutex; // keeps lines whole
    std::FILE *m_file;
};

} // namespace vantrasim
