// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <d3d9.h>
#include <wrl/client.h>

#include <string>

/// Shows pictures that lie in Direct3D 9 surfaces of a decoder in a window. Windows only, and
/// without Qt, so that it also runs where Qt does not.
///
/// The driver converts the colours and scales: StretchRect() puts the picture on the back buffer of
/// a swap chain that belongs to the window, of the picture's size, and Present() scales that to the
/// window. All on the device that owns the surface; this class creates none.
///
/// Not thread-safe: one thread, which is that of the window. The decoder must hold the surface, and
/// leave its device alone, until a call with it has returned.
///
/// A call that fails ends that picture and is told as a line for the log; nothing is tried again,
/// and the next picture starts over. A lost device is not treated: it shows as the line of the call
/// that it fails, for as long as it is lost.
class D3D9Presenter
{
public:
    D3D9Presenter() = default;
    D3D9Presenter(const D3D9Presenter &) = delete;
    D3D9Presenter &operator=(const D3D9Presenter &) = delete;

    /// Shows a picture of `width` by `height` pixels in `window`. A new size makes the swap chain
    /// anew, and so does `codecChanged`. Returns the line for the log, empty if all went well.
    std::string updateFrame(HWND window, int width, int height, IDirect3DSurface9 *data,
                            bool codecChanged);
    /// The same, of the size that is known. Null changes nothing.
    std::string updateTextures(HWND window, IDirect3DSurface9 *data, bool codecChanged);
    /// Shows the last surface again, which by then may hold another picture of its decoder.
    std::string presentAgain(HWND window) { return updateTextures(window, surface, false); }
    /// Forgets the surface and its size, and releases the swap chain. The window keeps its picture.
    void clear();

    /// Whether only the part set by setDigitalZoomRect() is shown, from the next picture on.
    void setDigitalZoom(bool enable) { digitalZoom = enable; }
    /// Edges of that part in pixels of the picture, each rounded down to an even one: NV12 has one
    /// pair of chroma samples per two columns and rows.
    void setDigitalZoomRect(double left, double top, double right, double bottom);

    /// What of the picture the next StretchRect() takes: the whole but an odd last column or row,
    /// or the part that is zoomed to.
    RECT sourceRect() const;
    IDirect3DSurface9 *lastSurface() const { return surface; }
    IDirect3DSwapChain9 *currentSwapChain() const { return swapChain.Get(); }

private:
    std::string createSwapChain(HWND window, IDirect3DDevice9 *device);
    std::string stretch(IDirect3DDevice9 *device);

    int width = 0;
    int height = 0;
    IDirect3DSurface9 *surface = nullptr; ///< the decoder's; no reference is taken
    Microsoft::WRL::ComPtr<IDirect3DSwapChain9> swapChain;
    bool digitalZoom = false;
    RECT zoomRect = {};
};
