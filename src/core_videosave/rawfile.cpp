// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/rawfile_p.h"

#include "log.h"

namespace {
constexpr char kLogTag[] = "(raw)";
}

bool vantra::writeAll(QFile &file, const QByteArray &bytes)
{
    if (!file.isOpen()) {
        VANTRA_LOG(Logger::Error) << "write err: file not open";
        return false;
    }
    if (file.write(bytes) != bytes.size()) {
        VANTRA_LOG(Logger::Error) << "write err:" << file.fileName() << file.errorString();
        return false;
    }
    return true;
}

bool vantra::closeFile(QFile &file)
{
    if (!file.isOpen())
        return true;
    const bool flushed = file.flush();
    if (!flushed)
        VANTRA_LOG(Logger::Error) << "flush err:" << file.fileName() << file.errorString();
    file.close();
    return flushed;
}
