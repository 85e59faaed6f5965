// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>

#include <atomic>

/// The calendar by which recordings are cut at midnight. Tests put another one in its place.
extern std::atomic<QDate (*)()> pvProtoToday;
