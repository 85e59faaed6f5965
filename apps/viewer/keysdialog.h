// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "pagetabs.h"

/// Tells the keys of a page, and waits until the dialog is closed.
void showKeys(PageTabs::Page page, QWidget *parent);
