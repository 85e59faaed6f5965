// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <functional>

/// Runs the event loop of an application that exists, and carries out commands from standard input,
/// one a line, on the GUI thread. Prints READY first; each command is answered with what `obey`
/// returns for it, which begins with the command. "quit", also said by the end of the input, ends
/// the loop after that. The process ends with its parent. Returns the exit code.
int runCommands(const std::function<QByteArray(const QByteArray &command)> &obey);
