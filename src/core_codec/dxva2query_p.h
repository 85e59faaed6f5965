// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_codec/hwdecodequery_p.h"

#include <d3d9.h>
#include <dxva2api.h>

/// The query of Windows: asks the driver through DXVA2.
namespace hwdecode {

/// What the query calls of the system; everything else it is given by these.
struct Dxva2Api
{
    IDirect3D9 *(WINAPI *createDirect3D)(UINT sdkVersion);
    HRESULT(WINAPI *createDeviceManager)(UINT *resetToken, IDirect3DDeviceManager9 **manager);
    HWND(WINAPI *desktopWindow)();
    void(WINAPI *freeMemory)(void *memory); ///< that a driver has allocated for the caller
};

const Dxva2Api &systemDxva2();

/// Asks the first video card for each of the sizes, for H.264 and H.265 into NV12 surfaces.
Outcome queryDxva2(const Dxva2Api &api, const std::vector<Size> &sizes, const Found &found);

} // namespace hwdecode
