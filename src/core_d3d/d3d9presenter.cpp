// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_d3d/d3d9presenter_p.h"

#include <cmath>

using Microsoft::WRL::ComPtr;

namespace {

// No picture is as large; keeps what is not a number, and what no LONG holds, out of a RECT.
constexpr double kLargestEdge = 1 << 24; // pixels

std::string failure(const char *what, HRESULT code)
{
    return what + std::to_string(code);
}

LONG evenEdge(double value)
{
    const double pair = std::floor(value * 0.5) * 2;
    if (!(std::fabs(pair) <= kLargestEdge))
        return pair > 0 ? static_cast<LONG>(kLargestEdge) : 0;
    return static_cast<LONG>(pair);
}

} // namespace

std::string D3D9Presenter::updateFrame(HWND window, int newWidth, int newHeight,
                                       IDirect3DSurface9 *data, bool codecChanged)
{
    if (width != newWidth || height != newHeight) {
        width = newWidth;
        height = newHeight;
        codecChanged = true;
    }
    return updateTextures(window, data, codecChanged);
}

std::string D3D9Presenter::updateTextures(HWND window, IDirect3DSurface9 *data, bool codecChanged)
{
    if (!data)
        return {};
    surface = data;
    ComPtr<IDirect3DDevice9> device;
    const HRESULT result = surface->GetDevice(&device);
    if (FAILED(result))
        return failure("d3d9 get device err", result);
    if (swapChain && codecChanged)
        swapChain.Reset();
    if (!swapChain) {
        const std::string error = createSwapChain(window, device.Get());
        if (!error.empty())
            return error;
    }
    return stretch(device.Get());
}

std::string D3D9Presenter::createSwapChain(HWND window, IDirect3DDevice9 *device)
{
    ComPtr<IDirect3DSwapChain9> implicitChain;
    HRESULT result = device->GetSwapChain(0, &implicitChain);
    if (FAILED(result))
        return failure("d3d9 get swap chain err", result);
    D3DPRESENT_PARAMETERS parameters = {};
    result = implicitChain->GetPresentParameters(&parameters);
    if (FAILED(result))
        return failure("d3d9 get present param err", result);
    parameters.BackBufferWidth = static_cast<UINT>(width);
    parameters.BackBufferHeight = static_cast<UINT>(height);
    parameters.BackBufferCount = 1;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.hDeviceWindow = window;
    parameters.Windowed = TRUE;
    parameters.Flags = 0;
    result = device->CreateAdditionalSwapChain(&parameters, &swapChain);
    if (FAILED(result)) {
        swapChain.Reset();
        return "create additional swap chain err "; // without the code: this is intended
    }
    return {};
}

std::string D3D9Presenter::stretch(IDirect3DDevice9 *device)
{
    device->BeginScene();
    ComPtr<IDirect3DSurface9> backBuffer;
    HRESULT result = swapChain->GetBackBuffer(0, D3DBACKBUFFER_TYPE_MONO, &backBuffer);
    if (FAILED(result)) {
        device->EndScene();
        return failure("d3d9 get back buffer err", result);
    }
    const RECT source = sourceRect();
    result = device->StretchRect(surface, &source, backBuffer.Get(), nullptr, D3DTEXF_LINEAR);
    device->EndScene();
    if (FAILED(result))
        return failure("d3d9 stretch rect err", result);
    result = swapChain->Present(nullptr, nullptr, nullptr, nullptr, 0);
    if (FAILED(result))
        return failure("d3d9 present err", result);
    return {};
}

void D3D9Presenter::clear()
{
    width = 0;
    height = 0;
    surface = nullptr;
    swapChain.Reset();
}

void D3D9Presenter::setDigitalZoomRect(double left, double top, double right, double bottom)
{
    zoomRect = {evenEdge(left), evenEdge(top), evenEdge(right), evenEdge(bottom)};
}

RECT D3D9Presenter::sourceRect() const
{
    if (digitalZoom)
        return zoomRect;
    return {0, 0, width & ~1, height & ~1};
}
