// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#define CINTERFACE
#include <windows.h>

#include <initguid.h>

#include <d3d11.h>
#include <dxgi1_4.h>

#include "core_d3d/d3d11fakes.h"

using comfake::Object;

namespace {

FakeDirect3D11 *fakes = nullptr; // of the running case

std::string nameOf(void *object)
{
    return object ? Object::of(object).name : "null";
}

template<typename... Items>
std::string text(const Items &...items)
{
    std::ostringstream out;
    ((out << items << ' '), ...);
    std::string all = out.str();
    all.pop_back();
    return all;
}

template<typename Value>
std::string list(const Value *values, size_t count)
{
    std::ostringstream out;
    for (size_t i = 0; i < count; ++i)
        out << (i ? " " : "") << values[i];
    return out.str();
}

HRESULT note(void *self, const char *function, const std::string &details = std::string())
{
    Object &from = Object::of(self);
    return from.journal.note(from.name, function, details);
}

// Notes a call that gives an object out, and does so if it is to succeed.
template<typename Interface>
HRESULT give(void *self, const char *function, const std::string &details, Object &object,
             Interface **out)
{
    *out = nullptr;
    const HRESULT answer = note(self, function, details);
    if (SUCCEEDED(answer))
        object.giveTo(out);
    return answer;
}

// --- DXGI
// -----------------------------------------------------------------------------------------

HRESULT WINAPI parentOfDevice(IDXGIDevice2 *self, REFIID iid, void **out)
{
    if (!IsEqualGUID(iid, IID_IDXGIAdapter3))
        return E_NOINTERFACE;
    return give(self, "GetParent", "adapter", fakes->adapter, out);
}

HRESULT WINAPI parentOfAdapter(IDXGIAdapter3 *self, REFIID iid, void **out)
{
    if (!IsEqualGUID(iid, IID_IDXGIFactory4))
        return E_NOINTERFACE;
    return give(self, "GetParent", "factory", fakes->factory, out);
}

HRESULT WINAPI createSwapChain(IDXGIFactory4 *self, IUnknown *device, HWND window,
                               const DXGI_SWAP_CHAIN_DESC1 *desc,
                               const DXGI_SWAP_CHAIN_FULLSCREEN_DESC *fullscreen,
                               IDXGIOutput *output, IDXGISwapChain1 **out)
{
    fakes->bufferWidth = desc->Width;
    fakes->bufferHeight = desc->Height;
    const std::string details =
        text(nameOf(device), "window", reinterpret_cast<uintptr_t>(window), "size", desc->Width,
             desc->Height, "format", desc->Format, "stereo", desc->Stereo, "samples",
             desc->SampleDesc.Count, desc->SampleDesc.Quality, "usage", desc->BufferUsage, "count",
             desc->BufferCount, "scaling", desc->Scaling, "effect", desc->SwapEffect, "alpha",
             desc->AlphaMode, "flags", desc->Flags, fullscreen ? "fullscreen" : "windowed",
             output ? "on an output" : "on any output");
    return give(self, "CreateSwapChainForHwnd", details, fakes->chain, out);
}

HRESULT WINAPI chainDesc(IDXGISwapChain3 *self, DXGI_SWAP_CHAIN_DESC *desc)
{
    *desc = {};
    desc->BufferDesc.Width = fakes->bufferWidth;
    desc->BufferDesc.Height = fakes->bufferHeight;
    desc->BufferDesc.Format = DXGI_FORMAT_R10G10B10A2_UNORM;
    desc->BufferCount = 2;
    desc->Flags = 8;
    return note(self, "GetDesc");
}

HRESULT WINAPI resizeBuffers(IDXGISwapChain3 *self, UINT count, UINT width, UINT height,
                             DXGI_FORMAT format, UINT flags)
{
    fakes->bufferWidth = width;
    fakes->bufferHeight = height;
    return note(self, "ResizeBuffers", text(count, width, height, format, flags));
}

HRESULT WINAPI chainBuffer(IDXGISwapChain3 *self, UINT number, REFIID iid, void **out)
{
    if (!IsEqualGUID(iid, IID_ID3D11Texture2D))
        return E_NOINTERFACE;
    return give(self, "GetBuffer", text(number), fakes->backBuffer, out);
}

HRESULT WINAPI present(IDXGISwapChain3 *self, UINT interval, UINT flags)
{
    return note(self, "Present", text(interval, flags));
}

HRESULT WINAPI getSharedHandle(IDXGIResource *self, HANDLE *handle)
{
    const HRESULT answer = note(self, "GetSharedHandle");
    *handle = SUCCEEDED(answer) ? reinterpret_cast<HANDLE>(++fakes->sharedHandle) : nullptr;
    return answer;
}

// --- What the device makes
// ------------------------------------------------------------------------

HRESULT WINAPI createBuffer(ID3D11Device *self, const D3D11_BUFFER_DESC *desc,
                            const D3D11_SUBRESOURCE_DATA *data, ID3D11Buffer **out)
{
    const void *content = data ? data->pSysMem : nullptr;
    std::string values = "none";
    Object *object = &fakes->constantBuffer;
    const char *kind = "constant";
    if (desc->BindFlags == D3D11_BIND_VERTEX_BUFFER) {
        object = &fakes->vertexBuffer;
        kind = "vertex";
    } else if (desc->BindFlags == D3D11_BIND_INDEX_BUFFER) {
        object = &fakes->indexBuffer;
        kind = "index";
        if (content)
            values = list(static_cast<const WORD *>(content), desc->ByteWidth / sizeof(WORD));
    }
    if (content && object != &fakes->indexBuffer)
        values = list(static_cast<const float *>(content), desc->ByteWidth / sizeof(float));
    return give(self, "CreateBuffer",
                text(kind, desc->ByteWidth, "usage", desc->Usage, "bind", desc->BindFlags, "access",
                     desc->CPUAccessFlags, "misc", desc->MiscFlags, "stride",
                     desc->StructureByteStride, "content", values),
                *object, out);
}

HRESULT WINAPI createInputLayout(ID3D11Device *self, const D3D11_INPUT_ELEMENT_DESC *elements,
                                 UINT count, const void *code, SIZE_T size, ID3D11InputLayout **out)
{
    std::string details = text(count);
    for (UINT i = 0; i < count; ++i)
        details += text("", elements[i].SemanticName, elements[i].SemanticIndex, "format",
                        elements[i].Format, "slot", elements[i].InputSlot, "byte",
                        elements[i].AlignedByteOffset, "class", elements[i].InputSlotClass,
                        elements[i].InstanceDataStepRate);
    const bool isCode = size > 4 && std::memcmp(code, "DXBC", 4) == 0;
    return give(self, "CreateInputLayout", details + (isCode ? "" : " no code"), fakes->inputLayout,
                out);
}

HRESULT WINAPI createVertexShader(ID3D11Device *self, const void *code, SIZE_T size,
                                  ID3D11ClassLinkage *linkage, ID3D11VertexShader **out)
{
    const bool isCode = size > 4 && std::memcmp(code, "DXBC", 4) == 0 && !linkage;
    return give(self, "CreateVertexShader", isCode ? "" : "no code", fakes->vertexShader, out);
}

HRESULT WINAPI createPixelShader(ID3D11Device *self, const void *code, SIZE_T size,
                                 ID3D11ClassLinkage *linkage, ID3D11PixelShader **out)
{
    const bool isCode = size > 4 && std::memcmp(code, "DXBC", 4) == 0 && !linkage;
    return give(self, "CreatePixelShader", isCode ? "" : "no code", fakes->pixelShader, out);
}

HRESULT WINAPI createTexture(ID3D11Device *self, const D3D11_TEXTURE2D_DESC *desc,
                             const D3D11_SUBRESOURCE_DATA *data, ID3D11Texture2D **out)
{
    return give(self, "CreateTexture2D",
                text("size", desc->Width, desc->Height, "mips", desc->MipLevels, "slices",
                     desc->ArraySize, "format", desc->Format, "samples", desc->SampleDesc.Count,
                     desc->SampleDesc.Quality, "usage", desc->Usage, "bind", desc->BindFlags,
                     "access", desc->CPUAccessFlags, "misc", desc->MiscFlags,
                     data ? "with data" : "empty"),
                fakes->sharedTexture, out);
}

void WINAPI sharedDesc(ID3D11Texture2D *self, D3D11_TEXTURE2D_DESC *desc)
{
    *desc = {};
    desc->MipLevels = 1;
    note(self, "GetDesc");
}

HRESULT WINAPI createView(ID3D11Device *self, ID3D11Resource *resource,
                          const D3D11_SHADER_RESOURCE_VIEW_DESC *desc,
                          ID3D11ShaderResourceView **out)
{
    const bool isLuma = desc->Format == DXGI_FORMAT_R8_UNORM;
    return give(self, "CreateShaderResourceView",
                text(isLuma ? "y" : "uv", nameOf(resource), "format", desc->Format, "dimension",
                     desc->ViewDimension, "mips", desc->Texture2D.MostDetailedMip,
                     desc->Texture2D.MipLevels),
                isLuma ? fakes->yView : fakes->uvView, out);
}

HRESULT WINAPI createSampler(ID3D11Device *self, const D3D11_SAMPLER_DESC *desc,
                             ID3D11SamplerState **out)
{
    return give(self, "CreateSamplerState",
                text("filter", desc->Filter, "wrap", desc->AddressU, desc->AddressV, desc->AddressW,
                     "bias", desc->MipLODBias, "anisotropy", desc->MaxAnisotropy, "comparison",
                     desc->ComparisonFunc, "border", list(desc->BorderColor, 4), "lod",
                     desc->MinLOD, desc->MaxLOD),
                fakes->sampler, out);
}

HRESULT WINAPI createTarget(ID3D11Device *self, ID3D11Resource *resource,
                            const D3D11_RENDER_TARGET_VIEW_DESC *desc, ID3D11RenderTargetView **out)
{
    return give(self, "CreateRenderTargetView",
                text(nameOf(resource), "format", desc->Format, "dimension", desc->ViewDimension,
                     "mip", desc->Texture2D.MipSlice),
                fakes->target, out);
}

void WINAPI bufferDesc(ID3D11Texture2D *self, D3D11_TEXTURE2D_DESC *desc)
{
    *desc = {};
    desc->Format = DXGI_FORMAT_R10G10B10A2_UNORM;
    note(self, "GetDesc");
}

// --- The pipeline
// ---------------------------------------------------------------------------------

void WINAPI setVertexBuffers(ID3D11DeviceContext *self, UINT start, UINT count,
                             ID3D11Buffer *const *buffers, const UINT *strides, const UINT *offsets)
{
    note(self, "IASetVertexBuffers",
         text(start, count, nameOf(buffers[0]), "stride", strides[0], "offset", offsets[0]));
}

void WINAPI setIndexBuffer(ID3D11DeviceContext *self, ID3D11Buffer *buffer, DXGI_FORMAT format,
                           UINT offset)
{
    note(self, "IASetIndexBuffer", text(nameOf(buffer), "format", format, "offset", offset));
}

void WINAPI setTopology(ID3D11DeviceContext *self, D3D11_PRIMITIVE_TOPOLOGY topology)
{
    note(self, "IASetPrimitiveTopology", text(topology));
}

void WINAPI setInputLayout(ID3D11DeviceContext *self, ID3D11InputLayout *layout)
{
    note(self, "IASetInputLayout", nameOf(layout));
}

HRESULT WINAPI map(ID3D11DeviceContext *self, ID3D11Resource *resource, UINT subresource,
                   D3D11_MAP type, UINT flags, D3D11_MAPPED_SUBRESOURCE *out)
{
    const HRESULT answer = note(self, "Map", text(nameOf(resource), subresource, type, flags));
    if (SUCCEEDED(answer))
        out->pData = fakes->mapped;
    return answer;
}

void WINAPI unmap(ID3D11DeviceContext *self, ID3D11Resource *resource, UINT subresource)
{
    note(self, "Unmap", text(nameOf(resource), subresource, list(fakes->mapped, 16)));
}

void WINAPI setConstantBuffers(ID3D11DeviceContext *self, UINT start, UINT count,
                               ID3D11Buffer *const *buffers)
{
    note(self, "VSSetConstantBuffers", text(start, count, nameOf(buffers[0])));
}

void WINAPI setVertexShader(ID3D11DeviceContext *self, ID3D11VertexShader *shader,
                            ID3D11ClassInstance *const *, UINT instances)
{
    note(self, "VSSetShader", text(nameOf(shader), instances));
}

void WINAPI setPixelShader(ID3D11DeviceContext *self, ID3D11PixelShader *shader,
                           ID3D11ClassInstance *const *, UINT instances)
{
    note(self, "PSSetShader", text(nameOf(shader), instances));
}

void WINAPI setViewports(ID3D11DeviceContext *self, UINT count, const D3D11_VIEWPORT *viewports)
{
    const D3D11_VIEWPORT &v = viewports[0];
    note(self, "RSSetViewports",
         text(count, v.TopLeftX, v.TopLeftY, v.Width, v.Height, "depth", v.MinDepth, v.MaxDepth));
}

void WINAPI setResources(ID3D11DeviceContext *self, UINT start, UINT count,
                         ID3D11ShaderResourceView *const *views)
{
    note(self, "PSSetShaderResources",
         text(start, count, nameOf(views[0]), count > 1 ? nameOf(views[1]) : ""));
}

void WINAPI setSamplers(ID3D11DeviceContext *self, UINT start, UINT count,
                        ID3D11SamplerState *const *samplers)
{
    note(self, "PSSetSamplers", text(start, count, nameOf(samplers[0])));
}

void WINAPI setTargets(ID3D11DeviceContext *self, UINT count, ID3D11RenderTargetView *const *views,
                       ID3D11DepthStencilView *depth)
{
    note(self, "OMSetRenderTargets", text(count, nameOf(views[0]), nameOf(depth)));
}

void WINAPI clearTarget(ID3D11DeviceContext *self, ID3D11RenderTargetView *view, const FLOAT *color)
{
    note(self, "ClearRenderTargetView", text(nameOf(view), list(color, 4)));
}

void WINAPI drawIndexed(ID3D11DeviceContext *self, UINT count, UINT start, INT base)
{
    note(self, "DrawIndexed", text(count, start, base));
}

// --- The decoder
// ----------------------------------------------------------------------------------

void WINAPI decoderDesc(ID3D11Texture2D *self, D3D11_TEXTURE2D_DESC *desc)
{
    *desc = {};
    desc->Width = fakes->textureWidth;
    desc->Height = fakes->textureHeight;
    desc->MipLevels = 1;
    desc->ArraySize = fakes->textureSlices;
    desc->Format = static_cast<DXGI_FORMAT>(fakes->textureFormat);
    note(self, "GetDesc");
}

void WINAPI deviceOfTexture(ID3D11Texture2D *self, ID3D11Device **out)
{
    give(self, "GetDevice", "", fakes->decoderDevice, out);
}

void WINAPI immediateContext(ID3D11Device *self, ID3D11DeviceContext **out)
{
    give(self, "GetImmediateContext", "", fakes->decoderContext, out);
}

HRESULT WINAPI openShared(ID3D11Device *self, HANDLE handle, REFIID iid, void **out)
{
    if (!IsEqualGUID(iid, IID_ID3D11Texture2D))
        return E_NOINTERFACE;
    return give(self, "OpenSharedResource", text(reinterpret_cast<uintptr_t>(handle)),
                fakes->opened, out);
}

void WINAPI copyRegion(ID3D11DeviceContext *self, ID3D11Resource *target, UINT targetSubresource,
                       UINT x, UINT y, UINT z, ID3D11Resource *source, UINT sourceSubresource,
                       const D3D11_BOX *box)
{
    const std::string part =
        box ? text("box", box->left, box->top, box->front, box->right, box->bottom, box->back)
            : "whole";
    note(self, "CopySubresourceRegion",
         text(nameOf(target), targetSubresource, "at", x, y, z, nameOf(source), sourceSubresource,
              part));
}

void WINAPI flush(ID3D11DeviceContext *self)
{
    note(self, "Flush");
}

} // namespace

FakeDirect3D11::FakeDirect3D11()
{
    fakes = this;
    setCreation();
    setPipeline();
    setSwapChain();
    setDecoder();
}

void FakeDirect3D11::setCreation()
{
    device.set(&ID3D11DeviceVtbl::CreateBuffer, createBuffer);
    device.set(&ID3D11DeviceVtbl::CreateInputLayout, createInputLayout);
    device.set(&ID3D11DeviceVtbl::CreateVertexShader, createVertexShader);
    device.set(&ID3D11DeviceVtbl::CreatePixelShader, createPixelShader);
    device.set(&ID3D11DeviceVtbl::CreateTexture2D, createTexture);
    device.set(&ID3D11DeviceVtbl::CreateShaderResourceView, createView);
    device.set(&ID3D11DeviceVtbl::CreateSamplerState, createSampler);
    device.set(&ID3D11DeviceVtbl::CreateRenderTargetView, createTarget);
    sharedTexture.set(&ID3D11Texture2DVtbl::GetDesc, sharedDesc);
    sharedTexture.answerQuery(IID_IDXGIResource, &resource);
    resource.set(&IDXGIResourceVtbl::GetSharedHandle, getSharedHandle);
}

void FakeDirect3D11::setPipeline()
{
    context.set(&ID3D11DeviceContextVtbl::IASetVertexBuffers, setVertexBuffers);
    context.set(&ID3D11DeviceContextVtbl::IASetIndexBuffer, setIndexBuffer);
    context.set(&ID3D11DeviceContextVtbl::IASetPrimitiveTopology, setTopology);
    context.set(&ID3D11DeviceContextVtbl::IASetInputLayout, setInputLayout);
    context.set(&ID3D11DeviceContextVtbl::Map, map);
    context.set(&ID3D11DeviceContextVtbl::Unmap, unmap);
    context.set(&ID3D11DeviceContextVtbl::VSSetConstantBuffers, setConstantBuffers);
    context.set(&ID3D11DeviceContextVtbl::VSSetShader, setVertexShader);
    context.set(&ID3D11DeviceContextVtbl::PSSetShader, setPixelShader);
    context.set(&ID3D11DeviceContextVtbl::RSSetViewports, setViewports);
    context.set(&ID3D11DeviceContextVtbl::PSSetShaderResources, setResources);
    context.set(&ID3D11DeviceContextVtbl::PSSetSamplers, setSamplers);
    context.set(&ID3D11DeviceContextVtbl::OMSetRenderTargets, setTargets);
    context.set(&ID3D11DeviceContextVtbl::ClearRenderTargetView, clearTarget);
    context.set(&ID3D11DeviceContextVtbl::DrawIndexed, drawIndexed);
}

void FakeDirect3D11::setSwapChain()
{
    device.answerQuery(IID_IDXGIDevice2, &dxgiDevice);
    dxgiDevice.set(&IDXGIDevice2Vtbl::GetParent, parentOfDevice);
    adapter.set(&IDXGIAdapter3Vtbl::GetParent, parentOfAdapter);
    factory.set(&IDXGIFactory4Vtbl::CreateSwapChainForHwnd, createSwapChain);
    chain.answerQuery(IID_IDXGISwapChain3, &chain);
    chain.set(&IDXGISwapChain3Vtbl::GetDesc, chainDesc);
    chain.set(&IDXGISwapChain3Vtbl::ResizeBuffers, resizeBuffers);
    chain.set(&IDXGISwapChain3Vtbl::GetBuffer, chainBuffer);
    chain.set(&IDXGISwapChain3Vtbl::Present, present);
    backBuffer.set(&ID3D11Texture2DVtbl::GetDesc, bufferDesc);
}

void FakeDirect3D11::setDecoder()
{
    texture.set(&ID3D11Texture2DVtbl::GetDesc, decoderDesc);
    texture.set(&ID3D11Texture2DVtbl::GetDevice, deviceOfTexture);
    decoderDevice.set(&ID3D11DeviceVtbl::GetImmediateContext, immediateContext);
    decoderDevice.set(&ID3D11DeviceVtbl::OpenSharedResource, openShared);
    decoderContext.set(&ID3D11DeviceContextVtbl::CopySubresourceRegion, copyRegion);
    decoderContext.set(&ID3D11DeviceContextVtbl::Flush, flush);
}

int FakeDirect3D11::foreignReferences() const
{
    int count = 0;
    for (const Object *object :
         {&device,        &context,        &dxgiDevice,  &adapter,        &factory,
          &chain,         &vertexBuffer,   &indexBuffer, &constantBuffer, &inputLayout,
          &vertexShader,  &sharedTexture,  &resource,    &yView,          &uvView,
          &sampler,       &pixelShader,    &backBuffer,  &target,         &texture,
          &decoderDevice, &decoderContext, &opened})
        count += object->references - 1;
    return count;
}
