// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/dxva2query_p.h"

#include <objbase.h>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace hwdecode {

namespace {

constexpr auto kNv12 = static_cast<D3DFORMAT>(MAKEFOURCC('N', 'V', '1', '2'));

struct Decoder
{
    GUID profile;
    const char *codec;
};

// The profiles of DXVA that FFmpeg and the presenter can work with. Written out, as the headers of
// older systems know only the first six by name.
constexpr Decoder kDecoders[] = {
    // DXVA2_ModeH264_A to F
    {{0x1b81be64, 0xa0c7, 0x11d3, {0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5}}, "H264"},
    {{0x1b81be65, 0xa0c7, 0x11d3, {0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5}}, "H264"},
    {{0x1b81be66, 0xa0c7, 0x11d3, {0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5}}, "H264"},
    {{0x1b81be67, 0xa0c7, 0x11d3, {0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5}}, "H264"},
    {{0x1b81be68, 0xa0c7, 0x11d3, {0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5}}, "H264"},
    {{0x1b81be69, 0xa0c7, 0x11d3, {0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5}}, "H264"},
    // with flexible macroblock order and arbitrary slice order, without film grain
    {{0xd5f04ff9, 0x3418, 0x45d8, {0x95, 0x61, 0x32, 0xa7, 0x6a, 0xae, 0x2d, 0xdd}}, "H264"},
    // stereo, progressive; stereo; multiview
    {{0xd79be8da, 0x0cf1, 0x4c81, {0xb8, 0x2a, 0x69, 0xa4, 0xe2, 0x36, 0xf4, 0x3d}}, "H264"},
    {{0xf9aaccbb, 0xc2b6, 0x4cfc, {0x87, 0x79, 0x57, 0x07, 0xb1, 0x76, 0x05, 0x52}}, "H264"},
    {{0x705b9d82, 0x76cf, 0x49d6, {0xb7, 0xe6, 0xac, 0x88, 0x72, 0xdb, 0x01, 0x3c}}, "H264"},
    // HEVC Main, Main 10
    {{0x5b11d51b, 0x2f4c, 0x4452, {0xbc, 0xc3, 0x09, 0xf2, 0xa1, 0x16, 0x0c, 0xc0}}, "H265"},
    {{0x107af0e0, 0xef1a, 0x4d19, {0xab, 0xa8, 0x67, 0xa1, 0x63, 0x07, 0x3d, 0x13}}, "H265"},
};

// Null: none that counts.
const char *codecOf(const GUID &profile)
{
    for (const Decoder &decoder : kDecoders) {
        if (IsEqualGUID(decoder.profile, profile))
            return decoder.codec;
    }
    return nullptr;
}

// What a driver hands over, given back at the end of the scope.
class Given
{
public:
    explicit Given(const Dxva2Api &api, void *memory) : m_api(api), m_memory(memory) {}
    ~Given() { m_api.freeMemory(m_memory); }
    Given(const Given &) = delete;
    Given &operator=(const Given &) = delete;

private:
    const Dxva2Api &m_api;
    void *m_memory;
};

HRESULT createDevice(const Dxva2Api &api, IDirect3D9 *direct3D, IDirect3DDevice9 **device)
{
    const HWND desktop = api.desktopWindow();
    D3DPRESENT_PARAMETERS parameters = {};
    parameters.Windowed = TRUE;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.hDeviceWindow = desktop;
    parameters.BackBufferFormat = D3DFMT_UNKNOWN;
    return direct3D->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, desktop,
                                  D3DCREATE_SOFTWARE_VERTEXPROCESSING, &parameters, device);
}

bool hasConfiguration(const Dxva2Api &api, IDirectXVideoDecoderService *service,
                      const GUID &profile, Size size)
{
    if (size.width < 1 || size.height < 1)
        return false; // a stream may claim anything; drivers are spared that
    DXVA2_VideoDesc description = {};
    description.SampleWidth = static_cast<UINT>(size.width);
    description.SampleHeight = static_cast<UINT>(size.height);
    description.Format = kNv12;
    UINT count = 0;
    DXVA2_ConfigPictureDecode *configurations = nullptr;
    if (FAILED(service->GetDecoderConfigurations(profile, &description, nullptr, &count,
                                                 &configurations)))
        return false; // of this decoder only
    const Given given(api, configurations);
    return count > 0;
}

} // namespace

const Dxva2Api &systemDxva2()
{
    static const Dxva2Api api = {Direct3DCreate9, DXVA2CreateDirect3DDeviceManager9,
                                 GetDesktopWindow, CoTaskMemFree};
    return api;
}

// The owners release what has been made, also where a step fails, the last first. The handle of the
// device is left open on purpose: the manager that it belongs to goes in the same breath.
Outcome queryDxva2(const Dxva2Api &api, const std::vector<Size> &sizes, const Found &found)
{
    ComPtr<IDirect3D9> direct3D;
    *direct3D.GetAddressOf() = api.createDirect3D(D3D_SDK_VERSION); // Attach() of mingw adds one
    if (!direct3D)
        return {Step::CreateDirect3D};

    ComPtr<IDirect3DDevice9> device;
    const HRESULT created = createDevice(api, direct3D.Get(), device.GetAddressOf());
    if (FAILED(created) || !device)
        return {Step::CreateDevice, static_cast<uint32_t>(created)};

    UINT resetToken = 0;
    ComPtr<IDirect3DDeviceManager9> manager;
    if (FAILED(api.createDeviceManager(&resetToken, manager.GetAddressOf())) || !manager)
        return {Step::CreateManager};
    if (FAILED(manager->ResetDevice(device.Get(), resetToken)))
        return {Step::ResetManager};
    HANDLE handle = nullptr;
    if (FAILED(manager->OpenDeviceHandle(&handle)))
        return {Step::OpenHandle};
    ComPtr<IDirectXVideoDecoderService> service;
    if (FAILED(manager->GetVideoService(handle, __uuidof(IDirectXVideoDecoderService),
                                        reinterpret_cast<void **>(service.GetAddressOf()))) ||
        !service)
        return {Step::GetService};

    UINT count = 0;
    GUID *profiles = nullptr;
    if (FAILED(service->GetDecoderDeviceGuids(&count, &profiles)))
        return {Step::GetDecoders};
    const Given given(api, profiles);
    for (UINT i = 0; profiles && i < count; ++i) {
        const char *codec = codecOf(profiles[i]);
        if (!codec)
            continue;
        for (const Size size : sizes) {
            if (hasConfiguration(api, service.Get(), profiles[i], size))
                found(codec, size);
        }
    }
    return {};
}

} // namespace hwdecode
