// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/sendlog.h"

#include <cinttypes>
#include <ctime>

namespace vantrasim {

std::shared_ptr<SendLog> SendLog::open(const std::string &file)
{
    std::FILE *opened = std::fopen(file.c_str(), "ae");
    if (opened == nullptr)
        return nullptr;
    std::setvbuf(opened, nullptr, _IOLBF, BUFSIZ); // whoever kills the server has the lines
    return std::shared_ptr<SendLog>(new SendLog(opened));
}

SendLog::~SendLog()
{
    std::fclose(m_file);
}

void SendLog::note(const std::string &name, std::uint64_t number)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t time = std::int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::fprintf(m_file, "%s %" PRIu64 " %" PRId64 "\n", name.c_str(), number, time);
}

} // namespace vantrasim
