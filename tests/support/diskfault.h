// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace vantratest {

/// A disk in trouble: what this process writes to files below a folder, through whatever library,
/// waits or is refused while this lives. A program that uses this has a write(), fsync(), open(),
/// mkdir() and rename() of its own in front of the system's. One at a time; usable on any thread.
class DiskFault
{
    Q_DISABLE_COPY(DiskFault)

public:
    explicit DiskFault(const QString &folder);
    ~DiskFault();

    /// From now on every write fails with that errno; 0: none does. EROFS refuses new files,
    /// folders and names as well, as a disk does that was mounted anew without the right to write.
    void refuse(int error);
    /// From now on every write lasts that much longer.
    void delay(int milliseconds);
    /// Writes and new names that have met the trouble so far.
    int struck() const;
    /// How often somebody has waited for the disk to have all bytes of such a file.
    int syncs() const;
};

} // namespace vantratest
