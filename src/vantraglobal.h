// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Marks what the shared library exports; everything else is hidden.
#if defined(VANTRA_LIBRARY)
#define VANTRA_EXPORT Q_DECL_EXPORT
#else
#define VANTRA_EXPORT Q_DECL_IMPORT
#endif
