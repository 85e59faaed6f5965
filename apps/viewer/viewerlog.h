// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// Leads the messages of Qt and FFmpeg the road of the library's own lines, on which passwords are
/// masked, to the terminal. Without `verbose` nothing but what is fatal gets there: what matters to
/// the person is told in the window. Once, before anything else logs.
void setUpLog(bool verbose);
