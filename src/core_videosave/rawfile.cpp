// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/rawfile_p.h"

bool vantra::writeAll(QFile &file, const QByteArray &bytes)
{
    return file.isOpen() && file.write(bytes) == bytes.size();
}

bool vantra::closeFile(QFile &file)
{
    if (!file.isOpen())
        return true;
    const bool flushed = file.flush();
    file.close();
    return flushed;
}
