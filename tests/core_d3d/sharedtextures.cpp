// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_d3d/sharedtextures.h"

#include "support/wine/winetest.h"

#include <map>

#include <dxgi.h>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace sharedtextures {

namespace {

// Places of the functions in the tables of their interfaces.
constexpr int kGetSharedHandle = 8;
constexpr int kOpenSharedResource = 28;
constexpr int kFlush = 111;

struct Link
{
    ID3D11Texture2D *original = nullptr; // somebody else's
    ComPtr<ID3D11Texture2D> copy;        // on the other device, the last that was opened
};

std::map<HANDLE, Link> links;
uintptr_t nextHandle = 0x40000002;
bool flushEnabled = true;
int transferCount = 0;

using FlushFunction = void(STDMETHODCALLTYPE *)(ID3D11DeviceContext *);
FlushFunction realFlush = nullptr;

template<typename Function>
Function replace(IUnknown *object, int place, Function replacement)
{
    void **table = *reinterpret_cast<void ***>(object);
    const auto former = reinterpret_cast<Function>(table[place]);
    DWORD protection = 0;
    VirtualProtect(table + place, sizeof(void *), PAGE_READWRITE, &protection);
    table[place] = reinterpret_cast<void *>(replacement);
    VirtualProtect(table + place, sizeof(void *), protection, &protection);
    return former;
}

ComPtr<ID3D11Device> deviceOf(ID3D11DeviceChild *object)
{
    ComPtr<ID3D11Device> device;
    object->GetDevice(&device);
    return device;
}

HRESULT STDMETHODCALLTYPE getSharedHandle(IDXGIResource *resource, HANDLE *handle)
{
    ComPtr<ID3D11Texture2D> texture;
    if (FAILED(resource->QueryInterface(IID_PPV_ARGS(texture.GetAddressOf()))))
        return E_INVALIDARG;
    D3D11_TEXTURE2D_DESC desc;
    texture->GetDesc(&desc);
    if (!(desc.MiscFlags & D3D11_RESOURCE_MISC_SHARED))
        return E_INVALIDARG;
    *handle = reinterpret_cast<HANDLE>(nextHandle);
    nextHandle += 4;
    links[*handle].original = texture.Get();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE openSharedResource(ID3D11Device *device, HANDLE handle, REFIID iid,
                                             void **out)
{
    const auto link = links.find(handle);
    if (link == links.end())
        return E_INVALIDARG;
    D3D11_TEXTURE2D_DESC desc;
    link->second.original->GetDesc(&desc);
    desc.MiscFlags = 0;
    const HRESULT result =
        device->CreateTexture2D(&desc, nullptr, link->second.copy.ReleaseAndGetAddressOf());
    return FAILED(result) ? result : link->second.copy->QueryInterface(iid, out);
}

// By way of the CPU, which orders the two devices.
void carryOver(ID3D11DeviceContext *context, const Link &link)
{
    D3D11_TEXTURE2D_DESC desc;
    link.copy->GetDesc(&desc);
    desc.Usage = D3D11_USAGE_STAGING;
    desc.BindFlags = 0;
    desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    ComPtr<ID3D11Texture2D> staging;
    if (FAILED(deviceOf(link.copy.Get())->CreateTexture2D(&desc, nullptr, &staging)))
        return;
    context->CopyResource(staging.Get(), link.copy.Get());
    D3D11_MAPPED_SUBRESOURCE mapped;
    if (FAILED(context->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped)))
        return;
    ComPtr<ID3D11DeviceContext> target;
    deviceOf(link.original)->GetImmediateContext(&target);
    target->UpdateSubresource(link.original, 0, nullptr, mapped.pData, mapped.RowPitch, 0);
    context->Unmap(staging.Get(), 0);
    ++transferCount;
}

void STDMETHODCALLTYPE flush(ID3D11DeviceContext *context)
{
    realFlush(context);
    if (!flushEnabled)
        return;
    const ComPtr<ID3D11Device> device = deviceOf(context);
    for (auto &entry : links) {
        if (!entry.second.copy || deviceOf(entry.second.copy.Get()) != device)
            continue;
        carryOver(context, entry.second);
        entry.second.copy.Reset(); // each picture opens its own
    }
}

} // namespace

void install(ID3D11Device *device, ID3D11DeviceContext *context)
{
    if (realFlush)
        return;
    D3D11_TEXTURE2D_DESC desc = {};
    desc.Width = desc.Height = 16;
    desc.MipLevels = desc.ArraySize = 1;
    desc.Format = DXGI_FORMAT_R8_UNORM;
    desc.SampleDesc.Count = 1;
    desc.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    ComPtr<ID3D11Texture2D> texture;
    CHECK_EQ(device->CreateTexture2D(&desc, nullptr, &texture), S_OK);
    ComPtr<IDXGIResource> resource;
    CHECK_EQ(texture.As(&resource), S_OK);
    replace(resource.Get(), kGetSharedHandle, getSharedHandle);
    replace(device, kOpenSharedResource, openSharedResource);
    realFlush = replace(context, kFlush, flush);
}

void setFlushEnabled(bool enabled)
{
    flushEnabled = enabled;
}

int transfers()
{
    return transferCount;
}

void forget()
{
    links.clear();
}

} // namespace sharedtextures
