// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <d3d11.h>

/// Textures that two Direct3D 11 devices share, for implementations of Direct3D that have devices
/// but cannot share between them. Three functions of all their objects are replaced:
/// GetSharedHandle() gives a handle, OpenSharedResource() gives the other device a texture of its
/// own, and Flush() of that device's context carries what was drawn there over to the first one. As
/// on a real system, nothing arrives without it.
namespace sharedtextures {

/// Replaces the functions, once per process. Any device does, and its immediate context.
void install(ID3D11Device *device, ID3D11DeviceContext *context);
/// Whether Flush() carries anything over; on at first.
void setFlushEnabled(bool enabled);
/// How often it did.
int transfers();
/// Lets go of what was opened. Before the devices end.
void forget();

} // namespace sharedtextures
