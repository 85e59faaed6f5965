// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/hretcodes.h"

class AbstractVideoThread;

/// Makes the idle thread, without a parent, that plays one stream of a device of this protocol;
/// null for a protocol that no thread plays. The caller owns it.
AbstractVideoThread *makeLiveThread(HTransportProtocol protocol);

/// Who makes the threads of new sets: makeLiveThread(), unless a test puts another in its place.
extern AbstractVideoThread *(*liveThreadMaker)(HTransportProtocol protocol);
