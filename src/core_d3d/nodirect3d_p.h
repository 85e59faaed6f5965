// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// The presenters where there is no Direct3D: they ignore all pictures, and no decoder makes any
/// for them. The same functions as in d3d9presenter_p.h and d3d11presenter_p.h.

constexpr bool kHasDirect3D = false;

struct HWND__;
typedef HWND__ *HWND;
struct IDirect3DSurface9;
struct ID3D11Texture2D;

class D3D9Presenter
{
public:
    std::string updateFrame(HWND, int, int, IDirect3DSurface9 *, bool) { return {}; }
    std::string updateTextures(HWND, IDirect3DSurface9 *, bool) { return {}; }
    std::string presentAgain(HWND) { return {}; }
    void clear() {}
    void setDigitalZoom(bool) {}
    void setDigitalZoomRect(double, double, double, double) {}
    IDirect3DSurface9 *lastSurface() const { return nullptr; }
};

class D3D11Presenter
{
public:
    void updateFrame(HWND, int, int, ID3D11Texture2D *, int, bool) {}
    void updateTextures(HWND, ID3D11Texture2D *, int, bool) {}
    void clear() {}
};
