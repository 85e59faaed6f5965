// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <d3d11.h>
#include <dxgi1_4.h>
#include <wrl/client.h>

/// Shows pictures that lie in the NV12 texture array of a Direct3D 11 decoder in a window. Windows
/// only, and without Qt, so that it also runs where Qt does not.
///
/// It has a device of its own. The decoder's device copies the picture into an NV12 texture that
/// both share; the own one draws it with a pixel shader that converts by ITU-R BT.601, limited
/// range, into a swap chain of the picture's size with 10 bits per colour, which DXGI scales to the
/// window.
///
/// Not thread-safe: one thread, which is that of the window. During a call it uses the immediate
/// context of the decoder's device, so the decoder must stand still until the call has returned;
/// that context's Flush() is all that orders the two devices.
///
/// No result is reported. Without a device all pictures are ignored. What could not be made is
/// tried again with the next picture; a picture that cannot be copied is not drawn.
class D3D11Presenter
{
public:
    /// Creates the device: the default video card, by hardware.
    D3D11Presenter();
    /// Uses this device instead; either may be null.
    D3D11Presenter(ID3D11Device *device, ID3D11DeviceContext *context);
    D3D11Presenter(const D3D11Presenter &) = delete;
    D3D11Presenter &operator=(const D3D11Presenter &) = delete;

    /// Shows a picture of `width` by `height` pixels, slice `index` of the array `data`, in
    /// `window`. A new size makes all but the device anew, and so does `codecChanged`.
    void updateFrame(HWND window, int width, int height, ID3D11Texture2D *data, int index,
                     bool codecChanged);
    /// The same, of the size that is known. Null changes nothing.
    void updateTextures(HWND window, ID3D11Texture2D *data, int index, bool codecChanged);
    /// Forgets the picture and its size, and releases the swap chain; the next picture makes all
    /// but the device anew.
    void clear();

    ID3D11Device *ownDevice() const { return device.Get(); }
    IDXGISwapChain3 *currentSwapChain() const { return swapChain.Get(); }
    HANDLE currentSharedHandle() const { return sharedHandle; }

private:
    template<typename Interface>
    using Owner = Microsoft::WRL::ComPtr<Interface>;

    bool isComplete() const;
    void build(HWND window);
    void createSwapChain(HWND window);
    void createBuffers();
    void createVertexStage();
    void createSharedTexture();
    void createViews();
    void createPixelStage();
    Owner<ID3D11Texture2D> copyPicture(ID3D11DeviceContext **decoderContext);
    void draw();
    void bindPipeline();
    void drawOnBackBuffer();

    // Declared in this order so that they are released in the opposite one.
    int width = 0;
    int height = 0;
    ID3D11Texture2D *texture = nullptr; ///< the decoder's; no reference is taken
    int index = 0;
    Owner<IDXGISwapChain3> swapChain;
    Owner<ID3D11Device> device;
    Owner<ID3D11DeviceContext> context;
    Owner<ID3D11Buffer> vertexBuffer;
    Owner<ID3D11Buffer> indexBuffer;
    Owner<ID3D11Buffer> constantBuffer;
    Owner<ID3D11InputLayout> inputLayout;
    Owner<ID3D11VertexShader> vertexShader;
    Owner<ID3D11Texture2D> sharedTexture;
    Owner<ID3D11ShaderResourceView> yView;
    Owner<ID3D11ShaderResourceView> uvView;
    Owner<ID3D11SamplerState> sampler;
    Owner<ID3D11PixelShader> pixelShader;
    HANDLE sharedHandle = nullptr; ///< of sharedTexture; lives and goes with it
};
