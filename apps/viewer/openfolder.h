// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Shows a folder in the file manager of the desktop. Without a desktop it prints the path on the
/// standard output and returns false. The folder is made if it is not there.
bool openFolder(const QString &folder);
/// Likewise a file, in the program of the desktop for its kind; nothing is made.
bool openFile(const QString &file);
