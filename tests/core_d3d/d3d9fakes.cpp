// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#define CINTERFACE
#include <windows.h>

#include <d3d9.h>

#include "core_d3d/d3d9fakes.h"

using comfake::Object;

namespace {

FakeDirect3D9 *fakes = nullptr; // of the running case

std::string rectText(const RECT *rect)
{
    if (!rect)
        return "whole";
    return std::to_string(rect->left) + " " + std::to_string(rect->top) + " " +
           std::to_string(rect->right) + " " + std::to_string(rect->bottom);
}

std::string nameOf(void *object)
{
    return object ? Object::of(object).name : "null";
}

// Notes a call that gives an object out, and does so if it is to succeed.
template<typename Interface>
HRESULT give(void *self, const char *function, const std::string &details, Object &object,
             Interface **out)
{
    Object &from = Object::of(self);
    *out = nullptr;
    const HRESULT answer = from.journal.note(from.name, function, details);
    if (SUCCEEDED(answer))
        object.giveTo(out);
    return answer;
}

HRESULT WINAPI getDevice(IDirect3DSurface9 *self, IDirect3DDevice9 **out)
{
    return give(self, "GetDevice", "", fakes->device, out);
}

HRESULT WINAPI getSwapChain(IDirect3DDevice9 *self, UINT number, IDirect3DSwapChain9 **out)
{
    return give(self, "GetSwapChain", std::to_string(number), fakes->implicitChain, out);
}

// Every field has a value of its own, so that what is kept can be told from what is set.
HRESULT WINAPI getPresentParameters(IDirect3DSwapChain9 *self, D3DPRESENT_PARAMETERS *out)
{
    static const D3DPRESENT_PARAMETERS nothing = {};
    Object &from = Object::of(self);
    const bool zeroed = std::memcmp(out, &nothing, sizeof(nothing)) == 0;
    const HRESULT answer =
        from.journal.note(from.name, "GetPresentParameters", zeroed ? "" : "not zeroed");
    if (FAILED(answer))
        return answer;
    out->BackBufferWidth = 1;
    out->BackBufferHeight = 2;
    out->BackBufferFormat = D3DFMT_X8R8G8B8;
    out->BackBufferCount = 3;
    out->MultiSampleType = D3DMULTISAMPLE_4_SAMPLES;
    out->MultiSampleQuality = 5;
    out->SwapEffect = D3DSWAPEFFECT_COPY;
    out->hDeviceWindow = reinterpret_cast<HWND>(6);
    out->Windowed = FALSE;
    out->EnableAutoDepthStencil = TRUE;
    out->AutoDepthStencilFormat = D3DFMT_D16;
    out->Flags = D3DPRESENTFLAG_VIDEO;
    out->FullScreen_RefreshRateInHz = 7;
    out->PresentationInterval = D3DPRESENT_INTERVAL_TWO;
    return S_OK;
}

HRESULT WINAPI createAdditionalSwapChain(IDirect3DDevice9 *self, D3DPRESENT_PARAMETERS *parameters,
                                         IDirect3DSwapChain9 **out)
{
    const auto &p = *parameters;
    std::ostringstream text;
    text << p.BackBufferWidth << "x" << p.BackBufferHeight << " format " << p.BackBufferFormat
         << " count " << p.BackBufferCount << " samples " << p.MultiSampleType << "/"
         << p.MultiSampleQuality << " effect " << p.SwapEffect << " window "
         << reinterpret_cast<uintptr_t>(p.hDeviceWindow) << " windowed " << p.Windowed << " depth "
         << p.EnableAutoDepthStencil << "/" << p.AutoDepthStencilFormat << " flags " << p.Flags
         << " rate " << p.FullScreen_RefreshRateInHz << " interval " << p.PresentationInterval;
    return give(self, "CreateAdditionalSwapChain", text.str(), fakes->chain, out);
}

HRESULT WINAPI beginScene(IDirect3DDevice9 *self)
{
    return Object::of(self).journal.note(nameOf(self), "BeginScene");
}

HRESULT WINAPI endScene(IDirect3DDevice9 *self)
{
    return Object::of(self).journal.note(nameOf(self), "EndScene");
}

HRESULT WINAPI stretchRect(IDirect3DDevice9 *self, IDirect3DSurface9 *source, const RECT *from,
                           IDirect3DSurface9 *target, const RECT *to, D3DTEXTUREFILTERTYPE filter)
{
    return Object::of(self).journal.note(nameOf(self), "StretchRect",
                                         nameOf(source) + " " + rectText(from) + ", " +
                                             nameOf(target) + " " + rectText(to) + ", filter " +
                                             std::to_string(filter));
}

HRESULT WINAPI getBackBuffer(IDirect3DSwapChain9 *self, UINT number, D3DBACKBUFFER_TYPE type,
                             IDirect3DSurface9 **out)
{
    return give(self, "GetBackBuffer", std::to_string(number) + " type " + std::to_string(type),
                fakes->backBuffer, out);
}

HRESULT WINAPI present(IDirect3DSwapChain9 *self, const RECT *source, const RECT *target,
                       HWND window, const RGNDATA *region, DWORD flags)
{
    const bool plain = !source && !target && !window && !region && flags == 0;
    return Object::of(self).journal.note(nameOf(self), "Present", plain ? "" : "not plain");
}

} // namespace

FakeDirect3D9::FakeDirect3D9()
{
    fakes = this;
    surface.set(&IDirect3DSurface9Vtbl::GetDevice, getDevice);
    device.set(&IDirect3DDevice9Vtbl::GetSwapChain, getSwapChain);
    device.set(&IDirect3DDevice9Vtbl::CreateAdditionalSwapChain, createAdditionalSwapChain);
    device.set(&IDirect3DDevice9Vtbl::BeginScene, beginScene);
    device.set(&IDirect3DDevice9Vtbl::EndScene, endScene);
    device.set(&IDirect3DDevice9Vtbl::StretchRect, stretchRect);
    implicitChain.set(&IDirect3DSwapChain9Vtbl::GetPresentParameters, getPresentParameters);
    chain.set(&IDirect3DSwapChain9Vtbl::GetBackBuffer, getBackBuffer);
    chain.set(&IDirect3DSwapChain9Vtbl::Present, present);
}

int FakeDirect3D9::foreignReferences() const
{
    int count = 0;
    for (const Object *object : {&surface, &device, &implicitChain, &chain, &backBuffer})
        count += object->references - 1;
    return count;
}
