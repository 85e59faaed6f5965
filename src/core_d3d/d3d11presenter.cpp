// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_d3d/d3d11presenter_p.h"

#include "core_d3d/shaders/nv12shaders_p.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

using Microsoft::WRL::ComPtr;

namespace {

struct Vertex
{
    float x, y, z, u, v;
};

// The whole window, clockwise from the top left, with the whole picture on it.
constexpr Vertex kVertices[] = {
    {-1, 1, 0, 0, 0}, {1, 1, 0, 1, 0}, {1, -1, 0, 1, 1}, {-1, -1, 0, 0, 1}};
static_assert(sizeof(kVertices) == 80, "four vertices of five floats");
constexpr uint16_t kIndices[] = {0, 1, 2, 0, 2, 3};
constexpr UINT kIndexCount = sizeof(kIndices) / sizeof(kIndices[0]);
constexpr float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr float kBlack[4] = {0, 0, 0, 1};
constexpr UINT kAnisotropy = 16;

// Ten bits per colour, also for pictures with eight: this is intended.
constexpr DXGI_FORMAT kBackBufferFormat = DXGI_FORMAT_R10G10B10A2_UNORM;
constexpr UINT kBackBufferCount = 2;

ComPtr<ID3D11Buffer> createBuffer(ID3D11Device *device, const D3D11_BUFFER_DESC &desc,
                                  const void *content)
{
    D3D11_SUBRESOURCE_DATA data = {};
    data.pSysMem = content;
    ComPtr<ID3D11Buffer> buffer;
    device->CreateBuffer(&desc, &data, &buffer);
    return buffer;
}

} // namespace

D3D11Presenter::D3D11Presenter()
{
    D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION,
                      &device, nullptr, &context);
}

D3D11Presenter::D3D11Presenter(ID3D11Device *device, ID3D11DeviceContext *context)
    : device(device), context(context)
{
}

void D3D11Presenter::updateFrame(HWND window, int newWidth, int newHeight, ID3D11Texture2D *data,
                                 int newIndex, bool codecChanged)
{
    if (!data)
        return; // before the size: what is shared has the size that was told with the last picture
    if (width != newWidth || height != newHeight) {
        width = newWidth;
        height = newHeight;
        codecChanged = true;
    }
    updateTextures(window, data, newIndex, codecChanged);
}

void D3D11Presenter::updateTextures(HWND window, ID3D11Texture2D *data, int newIndex,
                                    bool codecChanged)
{
    if (!device || !context || !data)
        return;
    if (codecChanged || !isComplete())
        build(window);
    texture = data;
    index = newIndex;
    // The opened texture is held until the draw is over, as is the context that wrote to it.
    ComPtr<ID3D11DeviceContext> decoderContext;
    const ComPtr<ID3D11Texture2D> opened = copyPicture(&decoderContext);
    if (opened)
        draw();
}

void D3D11Presenter::clear()
{
    width = 0;
    height = 0;
    texture = nullptr;
    swapChain.Reset();
}

// The constant buffer and the context of the copy do not count: this is intended.
bool D3D11Presenter::isComplete() const
{
    return swapChain && vertexBuffer && indexBuffer && inputLayout && vertexShader &&
           sharedTexture && yView && uvView && sampler && pixelShader;
}

void D3D11Presenter::build(HWND window)
{
    createSwapChain(window);
    createBuffers();
    createVertexStage();
    createSharedTexture();
    createViews();
    createPixelStage();
}

void D3D11Presenter::createSwapChain(HWND window)
{
    swapChain.Reset();
    ComPtr<IDXGIDevice2> dxgiDevice;
    ComPtr<IDXGIAdapter3> adapter;
    ComPtr<IDXGIFactory4> factory;
    if (FAILED(device.As(&dxgiDevice)) ||
        FAILED(dxgiDevice->GetParent(IID_PPV_ARGS(adapter.GetAddressOf()))) ||
        FAILED(adapter->GetParent(IID_PPV_ARGS(factory.GetAddressOf()))))
        return;
    DXGI_SWAP_CHAIN_DESC1 desc = {};
    desc.Width = static_cast<UINT>(width);
    desc.Height = static_cast<UINT>(height);
    desc.Format = kBackBufferFormat;
    desc.SampleDesc.Count = 1;
    desc.BufferUsage = DXGI_USAGE_RENDER_TARGET_OUTPUT;
    desc.BufferCount = kBackBufferCount;
    desc.SwapEffect = DXGI_SWAP_EFFECT_FLIP_SEQUENTIAL;
    desc.Flags = 0;
    ComPtr<IDXGISwapChain1> created;
    if (SUCCEEDED(factory->CreateSwapChainForHwnd(device.Get(), window, &desc, nullptr, nullptr,
                                                  &created)))
        created.As(&swapChain);
}

void D3D11Presenter::createBuffers()
{
    vertexBuffer.Reset();
    D3D11_BUFFER_DESC desc = {};
    desc.ByteWidth = sizeof(kVertices);
    desc.Usage = D3D11_USAGE_DEFAULT;
    desc.BindFlags = D3D11_BIND_VERTEX_BUFFER;
    desc.StructureByteStride = sizeof(Vertex);
    vertexBuffer = createBuffer(device.Get(), desc, kVertices);

    indexBuffer.Reset();
    desc = {};
    desc.ByteWidth = sizeof(kIndices);
    desc.Usage = D3D11_USAGE_DEFAULT;
    desc.BindFlags = D3D11_BIND_INDEX_BUFFER;
    indexBuffer = createBuffer(device.Get(), desc, kIndices);

    constantBuffer.Reset();
    desc = {};
    desc.ByteWidth = sizeof(kIdentity);
    desc.Usage = D3D11_USAGE_DYNAMIC;
    desc.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
    desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
    constantBuffer = createBuffer(device.Get(), desc, kIdentity);
}

void D3D11Presenter::createVertexStage()
{
    inputLayout.Reset();
    const D3D11_INPUT_ELEMENT_DESC elements[] = {
        {"POSITION", 0, DXGI_FORMAT_R32G32B32_FLOAT, 0, 0, D3D11_INPUT_PER_VERTEX_DATA, 0},
        {"TEXCOORD", 0, DXGI_FORMAT_R32G32_FLOAT, 0, 12, D3D11_INPUT_PER_VERTEX_DATA, 0}};
    device->CreateInputLayout(elements, sizeof(elements) / sizeof(elements[0]), kNv12VertexShader,
                              sizeof(kNv12VertexShader), &inputLayout);
    vertexShader.Reset();
    device->CreateVertexShader(kNv12VertexShader, sizeof(kNv12VertexShader), nullptr,
                               &vertexShader);
}

void D3D11Presenter::createSharedTexture()
{
    sharedTexture.Reset();
    sharedHandle = nullptr;
    D3D11_TEXTURE2D_DESC desc = {};
    desc.Width = static_cast<UINT>(width);
    desc.Height = static_cast<UINT>(height);
    desc.MipLevels = 1;
    desc.ArraySize = 1;
    desc.Format = DXGI_FORMAT_NV12;
    desc.SampleDesc.Count = 1;
    desc.Usage = D3D11_USAGE_DEFAULT;
    desc.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    desc.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
    if (FAILED(device->CreateTexture2D(&desc, nullptr, &sharedTexture)))
        return;
    ComPtr<IDXGIResource> resource;
    if (SUCCEEDED(sharedTexture.As(&resource)))
        resource->GetSharedHandle(&sharedHandle);
}

void D3D11Presenter::createViews()
{
    yView.Reset();
    uvView.Reset();
    if (!sharedTexture)
        return;
    D3D11_TEXTURE2D_DESC textureDesc = {};
    sharedTexture->GetDesc(&textureDesc);
    D3D11_SHADER_RESOURCE_VIEW_DESC desc = {};
    desc.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
    desc.Texture2D.MipLevels = textureDesc.MipLevels;
    desc.Format = DXGI_FORMAT_R8_UNORM;
    device->CreateShaderResourceView(sharedTexture.Get(), &desc, &yView);
    desc.Format = DXGI_FORMAT_R8G8_UNORM;
    device->CreateShaderResourceView(sharedTexture.Get(), &desc, &uvView);
}

void D3D11Presenter::createPixelStage()
{
    sampler.Reset();
    D3D11_SAMPLER_DESC desc = {};
    desc.Filter = D3D11_FILTER_ANISOTROPIC;
    desc.AddressU = D3D11_TEXTURE_ADDRESS_WRAP;
    desc.AddressV = D3D11_TEXTURE_ADDRESS_WRAP;
    desc.AddressW = D3D11_TEXTURE_ADDRESS_WRAP;
    desc.MaxAnisotropy = kAnisotropy;
    device->CreateSamplerState(&desc, &sampler);
    pixelShader.Reset();
    device->CreatePixelShader(kNv12PixelShader, sizeof(kNv12PixelShader), nullptr, &pixelShader);
}

// Copies the picture into the shared texture, on the decoder's device. Returns the texture as that
// device sees it, null if nothing was copied.
ComPtr<ID3D11Texture2D> D3D11Presenter::copyPicture(ID3D11DeviceContext **decoderContext)
{
    D3D11_TEXTURE2D_DESC desc = {};
    texture->GetDesc(&desc);
    ComPtr<ID3D11Device> decoderDevice;
    texture->GetDevice(&decoderDevice);
    if (!decoderDevice)
        return nullptr;
    decoderDevice->GetImmediateContext(decoderContext);
    ComPtr<ID3D11Texture2D> opened;
    if (!*decoderContext || FAILED(decoderDevice->OpenSharedResource(
                                sharedHandle, IID_PPV_ARGS(opened.GetAddressOf()))))
        return nullptr;
    // What a copy beyond either texture does is not defined, and drivers differ in it.
    if (index < 0 || static_cast<UINT>(index) >= desc.ArraySize || desc.Format != DXGI_FORMAT_NV12)
        return nullptr;
    const auto frameWidth = static_cast<UINT>(width);
    const auto frameHeight = static_cast<UINT>(height);
    const D3D11_BOX visible = {
        0, 0, 0, std::min(desc.Width, frameWidth), std::min(desc.Height, frameHeight), 1};
    const bool isPadded = desc.Width > frameWidth || desc.Height > frameHeight;
    (*decoderContext)
        ->CopySubresourceRegion(opened.Get(), 0, 0, 0, 0, texture, static_cast<UINT>(index),
                                isPadded ? &visible : nullptr);
    (*decoderContext)->Flush();
    return opened;
}

void D3D11Presenter::draw()
{
    bindPipeline();
    drawOnBackBuffer();
}

void D3D11Presenter::bindPipeline()
{
    const UINT stride = sizeof(Vertex);
    const UINT offset = 0;
    context->IASetVertexBuffers(0, 1, vertexBuffer.GetAddressOf(), &stride, &offset);
    context->IASetIndexBuffer(indexBuffer.Get(), DXGI_FORMAT_R16_UINT, 0);
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
    context->IASetInputLayout(inputLayout.Get());

    D3D11_MAPPED_SUBRESOURCE mapped = {};
    if (constantBuffer &&
        SUCCEEDED(context->Map(constantBuffer.Get(), 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped))) {
        std::memcpy(mapped.pData, kIdentity, sizeof(kIdentity));
        context->Unmap(constantBuffer.Get(), 0);
    }
    context->VSSetConstantBuffers(0, 1, constantBuffer.GetAddressOf());
    context->VSSetShader(vertexShader.Get(), nullptr, 0);

    const D3D11_VIEWPORT viewport = {0, 0, static_cast<float>(width), static_cast<float>(height),
                                     0, 1};
    context->RSSetViewports(1, &viewport);

    context->PSSetShader(pixelShader.Get(), nullptr, 0);
    ID3D11ShaderResourceView *const views[] = {yView.Get(), uvView.Get()};
    context->PSSetShaderResources(0, 2, views);
    context->PSSetSamplers(0, 1, sampler.GetAddressOf());
}

void D3D11Presenter::drawOnBackBuffer()
{
    if (!swapChain)
        return;
    DXGI_SWAP_CHAIN_DESC chain = {};
    swapChain->GetDesc(&chain);
    if (chain.BufferDesc.Width != static_cast<UINT>(width) ||
        chain.BufferDesc.Height != static_cast<UINT>(height))
        swapChain->ResizeBuffers(chain.BufferCount, static_cast<UINT>(width),
                                 static_cast<UINT>(height), chain.BufferDesc.Format, chain.Flags);
    ComPtr<ID3D11Texture2D> backBuffer;
    if (FAILED(swapChain->GetBuffer(0, IID_PPV_ARGS(backBuffer.GetAddressOf()))))
        return;
    D3D11_TEXTURE2D_DESC bufferDesc = {};
    backBuffer->GetDesc(&bufferDesc);
    D3D11_RENDER_TARGET_VIEW_DESC desc = {};
    desc.Format = bufferDesc.Format;
    desc.ViewDimension = D3D11_RTV_DIMENSION_TEXTURE2D;
    ComPtr<ID3D11RenderTargetView> target;
    if (FAILED(device->CreateRenderTargetView(backBuffer.Get(), &desc, &target)))
        return;
    context->OMSetRenderTargets(1, target.GetAddressOf(), nullptr);
    context->ClearRenderTargetView(target.Get(), kBlack);
    context->DrawIndexed(kIndexCount, 0, 0);
    swapChain->Present(0, 0);
}
