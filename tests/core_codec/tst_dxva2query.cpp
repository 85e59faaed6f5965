// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The query of Windows: every call with its parameters, every profile, every step that can fail, on
// scripted objects of Direct3D and DXVA2; and once on what Wine has of them.

#include <initguid.h> // first: gives values to the names that DXVA's header declares

#include "core_codec/dxva2query_p.h"
#include "support/wine/winetest.h"

#include <objbase.h>

#include <map>

DEFINE_GUID(kMpeg2, 0xee27417f, 0x5e28, 0x4e65, 0xbe, 0xea, 0x1d, 0x26, 0xb5, 0x08, 0xad, 0xc9);
DEFINE_GUID(kH264E, 0x1b81be68, 0xa0c7, 0x11d3, 0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5);
DEFINE_GUID(kH264F, 0x1b81be69, 0xa0c7, 0x11d3, 0xb9, 0x84, 0x00, 0xc0, 0x4f, 0x2e, 0x73, 0xc5);
DEFINE_GUID(kHevc, 0x5b11d51b, 0x2f4c, 0x4452, 0xbc, 0xc3, 0x09, 0xf2, 0xa1, 0x16, 0x0c, 0xc0);
DEFINE_GUID(kDecoderService, 0xfc51a551, 0xd5e7, 0x11d9, 0xaf, 0x55, 0x00, 0x05, 0x4e, 0x43, 0xff,
            0x02);

using hwdecode::Outcome;
using hwdecode::Size;
using hwdecode::Step;

namespace {

constexpr UINT kToken = 77;
const HWND kDesktop = reinterpret_cast<HWND>(0x1234);
const HANDLE kHandle = reinterpret_cast<HANDLE>(0x5678);

// What the scripted system does, and what has been done with it.
struct Script
{
    // Results of the steps; a step that succeeds with `without` hands over nothing all the same.
    bool hasDirect3D = true;
    HRESULT createDevice = S_OK;
    HRESULT createManager = S_OK;
    HRESULT reset = S_OK;
    HRESULT open = S_OK;
    HRESULT service = S_OK;
    HRESULT guids = S_OK;
    Step without = Step::AskSizes;

    std::vector<GUID> profiles;
    UINT claimedProfiles = 0; // where there are none
    // Result and number of configurations by width; S_OK and one for others.
    std::map<UINT, std::pair<HRESULT, UINT>> configurations;

    std::vector<std::string> calls;
    int references = 0;      // to all objects together
    int outstanding = 0;     // blocks of memory handed over
    int wrongParameters = 0; // that are not spelt out in the calls
};

Script *script = nullptr;

void called(const std::string &call)
{
    script->calls.push_back(call);
}

void expectSame(bool same)
{
    if (!same)
        ++script->wrongParameters;
}

template<typename Value>
Value *allocate(size_t count)
{
    if (count == 0)
        return nullptr;
    ++script->outstanding;
    auto *memory = static_cast<Value *>(CoTaskMemAlloc(count * sizeof(Value)));
    ZeroMemory(memory, count * sizeof(Value));
    return memory;
}

// One object of each interface; all it knows stands in the script.
template<typename Interface>
class Fake : public Interface
{
public:
    explicit Fake(const char *name) : m_name(name) {}
    virtual ~Fake() = default;
    Interface *hand()
    {
        ++script->references;
        return this;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++script->references); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        called(std::string("Release ") + m_name);
        return static_cast<ULONG>(--script->references);
    }

private:
    const char *m_name;
};

// Of the device, the query calls what every object has.
Fake<IUnknown> device("device");

class FakeDirect3D : public Fake<IDirect3D9>
{
public:
    using Fake::Fake;

    HRESULT STDMETHODCALLTYPE CreateDevice(UINT adapter, D3DDEVTYPE type, HWND window, DWORD flags,
                                           D3DPRESENT_PARAMETERS *parameters,
                                           IDirect3DDevice9 **created) override
    {
        called("CreateDevice");
        expectSame(adapter == 0 && type == D3DDEVTYPE_HAL && window == kDesktop &&
                   flags == D3DCREATE_SOFTWARE_VERTEXPROCESSING);
        D3DPRESENT_PARAMETERS expected;
        ZeroMemory(&expected, sizeof(expected));
        expected.Windowed = 1;
        expected.SwapEffect = D3DSWAPEFFECT_DISCARD;
        expected.hDeviceWindow = kDesktop;
        expected.BackBufferFormat = D3DFMT_UNKNOWN;
        expectSame(std::memcmp(&expected, parameters, sizeof(expected)) == 0);
        if (SUCCEEDED(script->createDevice) && script->without != Step::CreateDevice)
            *created = reinterpret_cast<IDirect3DDevice9 *>(device.hand());
        return script->createDevice;
    }

    // Nothing else of it is called.
    HRESULT STDMETHODCALLTYPE RegisterSoftwareDevice(void *) override { return E_NOTIMPL; }
    UINT STDMETHODCALLTYPE GetAdapterCount() override { return 0; }
    HRESULT STDMETHODCALLTYPE GetAdapterIdentifier(UINT, DWORD, D3DADAPTER_IDENTIFIER9 *) override
    {
        return E_NOTIMPL;
    }
    UINT STDMETHODCALLTYPE GetAdapterModeCount(UINT, D3DFORMAT) override { return 0; }
    HRESULT STDMETHODCALLTYPE EnumAdapterModes(UINT, D3DFORMAT, UINT, D3DDISPLAYMODE *) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetAdapterDisplayMode(UINT, D3DDISPLAYMODE *) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CheckDeviceType(UINT, D3DDEVTYPE, D3DFORMAT, D3DFORMAT, BOOL) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CheckDeviceFormat(UINT, D3DDEVTYPE, D3DFORMAT, DWORD, D3DRESOURCETYPE,
                                                D3DFORMAT) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CheckDeviceMultiSampleType(UINT, D3DDEVTYPE, D3DFORMAT, BOOL,
                                                         D3DMULTISAMPLE_TYPE, DWORD *) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CheckDepthStencilMatch(UINT, D3DDEVTYPE, D3DFORMAT, D3DFORMAT,
                                                     D3DFORMAT) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CheckDeviceFormatConversion(UINT, D3DDEVTYPE, D3DFORMAT,
                                                          D3DFORMAT) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDeviceCaps(UINT, D3DDEVTYPE, D3DCAPS9 *) override
    {
        return E_NOTIMPL;
    }
    HMONITOR STDMETHODCALLTYPE GetAdapterMonitor(UINT) override { return nullptr; }
};

class FakeService : public Fake<IDirectXVideoDecoderService>
{
public:
    using Fake::Fake;

    HRESULT STDMETHODCALLTYPE GetDecoderDeviceGuids(UINT *count, GUID **profiles) override
    {
        called("GetDecoderDeviceGuids");
        if (FAILED(script->guids))
            return script->guids;
        *count = static_cast<UINT>(script->profiles.size());
        *profiles = allocate<GUID>(script->profiles.size());
        for (UINT i = 0; i < *count; ++i)
            (*profiles)[i] = script->profiles[i];
        if (script->claimedProfiles > 0)
            *count = script->claimedProfiles;
        return script->guids;
    }
    HRESULT STDMETHODCALLTYPE GetDecoderConfigurations(
        REFGUID profile, const DXVA2_VideoDesc *description, IUnknown *reserved, UINT *count,
        DXVA2_ConfigPictureDecode **configurations) override
    {
        const std::string size = std::to_string(description->SampleWidth) + "x" +
                                 std::to_string(description->SampleHeight);
        called("GetDecoderConfigurations " + size);
        DXVA2_VideoDesc expected;
        ZeroMemory(&expected, sizeof(expected));
        expected.SampleWidth = description->SampleWidth;
        expected.SampleHeight = description->SampleHeight;
        expected.Format = static_cast<D3DFORMAT>(0x3231564e); // "NV12"
        expectSame(std::memcmp(&expected, description, sizeof(expected)) == 0 && !reserved);
        bool isOffered = false;
        for (const GUID &offered : script->profiles)
            isOffered = isOffered || IsEqualGUID(offered, profile);
        expectSame(isOffered);

        const auto row = script->configurations.find(description->SampleWidth);
        const auto answer =
            row == script->configurations.end() ? std::make_pair(S_OK, 1u) : row->second;
        if (SUCCEEDED(answer.first)) {
            *count = answer.second;
            // Also an empty list may come in a block of its own.
            *configurations = allocate<DXVA2_ConfigPictureDecode>(1 + answer.second);
        }
        return answer.first;
    }

    HRESULT STDMETHODCALLTYPE CreateSurface(UINT, UINT, UINT, D3DFORMAT, D3DPOOL, DWORD, DWORD,
                                            IDirect3DSurface9 **, HANDLE *) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDecoderRenderTargets(REFGUID, UINT *, D3DFORMAT **) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateVideoDecoder(REFGUID, const DXVA2_VideoDesc *,
                                                 DXVA2_ConfigPictureDecode *, IDirect3DSurface9 **,
                                                 UINT, IDirectXVideoDecoder **) override
    {
        return E_NOTIMPL;
    }
};

FakeService service("service");

class FakeManager : public Fake<IDirect3DDeviceManager9>
{
public:
    using Fake::Fake;

    HRESULT STDMETHODCALLTYPE ResetDevice(IDirect3DDevice9 *given, UINT token) override
    {
        called("ResetDevice");
        expectSame(token == kToken && given == reinterpret_cast<IDirect3DDevice9 *>(&device));
        return script->reset;
    }
    HRESULT STDMETHODCALLTYPE OpenDeviceHandle(HANDLE *handle) override
    {
        called("OpenDeviceHandle");
        if (SUCCEEDED(script->open))
            *handle = kHandle;
        return script->open;
    }
    HRESULT STDMETHODCALLTYPE GetVideoService(HANDLE handle, REFIID id, void **created) override
    {
        called("GetVideoService");
        expectSame(handle == kHandle && IsEqualGUID(id, kDecoderService));
        if (SUCCEEDED(script->service) && script->without != Step::GetService)
            *created = service.hand();
        return script->service;
    }
    HRESULT STDMETHODCALLTYPE CloseDeviceHandle(HANDLE) override
    {
        called("CloseDeviceHandle");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE TestDevice(HANDLE) override
    {
        called("TestDevice");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE LockDevice(HANDLE, IDirect3DDevice9 **, BOOL) override
    {
        called("LockDevice");
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UnlockDevice(HANDLE, BOOL) override
    {
        called("UnlockDevice");
        return E_NOTIMPL;
    }
};

FakeDirect3D direct3D("Direct3D");
FakeManager manager("manager");

IDirect3D9 *WINAPI createDirect3D(UINT version)
{
    called("Direct3DCreate9 " + std::to_string(version));
    return script->hasDirect3D ? direct3D.hand() : nullptr;
}

HRESULT WINAPI createManager(UINT *token, IDirect3DDeviceManager9 **created)
{
    called("DXVA2CreateDirect3DDeviceManager9");
    if (FAILED(script->createManager))
        return script->createManager;
    *token = kToken;
    if (script->without != Step::CreateManager)
        *created = manager.hand();
    return script->createManager;
}

HWND WINAPI desktopWindow()
{
    return kDesktop;
}

void WINAPI freeMemory(void *memory)
{
    called("CoTaskMemFree");
    if (memory)
        --script->outstanding;
    CoTaskMemFree(memory);
}

struct Result
{
    Outcome outcome;
    std::vector<std::string> found; // "H264 640x360", in the order told
};

// Runs the query on the script, which has lost nothing when this returns.
Result run(Script *given, const std::vector<Size> &sizes)
{
    script = given;
    Result result;
    const hwdecode::Dxva2Api api = {createDirect3D, createManager, desktopWindow, freeMemory};
    result.outcome = hwdecode::queryDxva2(api, sizes, [&](const char *codec, Size size) {
        result.found.push_back(std::string(codec) + " " + std::to_string(size.width) + "x" +
                               std::to_string(size.height));
    });
    CHECK_EQ(given->references, 0);
    CHECK_EQ(given->outstanding, 0);
    CHECK_EQ(given->wrongParameters, 0);
    return result;
}

std::string joined(const std::vector<std::string> &list)
{
    std::string text;
    for (const std::string &item : list)
        text += (text.empty() ? "" : ", ") + item;
    return text;
}

GUID guid(const char *text)
{
    const std::wstring wide(text, text + std::strlen(text));
    GUID value = {};
    CHECK(SUCCEEDED(CLSIDFromString((L"{" + wide + L"}").c_str(), &value)));
    return value;
}

const char kUpToReset[] = "Direct3DCreate9 32, CreateDevice, DXVA2CreateDirect3DDeviceManager9, "
                          "ResetDevice";

} // namespace

TEST_CASE(query_makesItsCallsInOrder_andReleasesTheLastFirst)
{
    Script system;
    system.profiles = {kH264E};
    const Result result = run(&system, {{640, 360}, {1920, 1080}});
    CHECK(!result.outcome.isFailure());
    CHECK_EQ(joined(system.calls),
             std::string(kUpToReset) +
                 ", OpenDeviceHandle, GetVideoService, GetDecoderDeviceGuids, "
                 "GetDecoderConfigurations 640x360, CoTaskMemFree, "
                 "GetDecoderConfigurations 1920x1080, CoTaskMemFree, CoTaskMemFree, "
                 "Release service, Release manager, Release device, Release Direct3D");
    CHECK_EQ(joined(result.found), "H264 640x360, H264 1920x1080");
}

TEST_CASE(everyProfileThatCounts_givesItsCodec)
{
    const struct
    {
        const char *profile;
        const char *codec;
    } rows[] = {{"1b81be64-a0c7-11d3-b984-00c04f2e73c5", "H264"},
                {"1b81be65-a0c7-11d3-b984-00c04f2e73c5", "H264"},
                {"1b81be66-a0c7-11d3-b984-00c04f2e73c5", "H264"},
                {"1b81be67-a0c7-11d3-b984-00c04f2e73c5", "H264"},
                {"1b81be68-a0c7-11d3-b984-00c04f2e73c5", "H264"},
                {"1b81be69-a0c7-11d3-b984-00c04f2e73c5", "H264"},
                {"d5f04ff9-3418-45d8-9561-32a76aae2ddd", "H264"},
                {"d79be8da-0cf1-4c81-b82a-69a4e236f43d", "H264"},
                {"f9aaccbb-c2b6-4cfc-8779-5707b1760552", "H264"},
                {"705b9d82-76cf-49d6-b7e6-ac8872db013c", "H264"},
                {"5b11d51b-2f4c-4452-bcc3-09f2a1160cc0", "H265"},
                {"107af0e0-ef1a-4d19-aba8-67a163073d13", "H265"}};
    for (const auto &row : rows) {
        Script system;
        system.profiles = {guid(row.profile)};
        const Result result = run(&system, {{1280, 720}});
        CHECK_TEXT(joined(result.found) == std::string(row.codec) + " 1280x720", row.profile);
    }
}

TEST_CASE(namedProfiles_areThoseOfTheSystemHeader)
{
    const GUID *named[] = {&DXVA2_ModeH264_A, &DXVA2_ModeH264_B, &DXVA2_ModeH264_C,
                           &DXVA2_ModeH264_D, &DXVA2_ModeH264_E, &DXVA2_ModeH264_F};
    for (const GUID *profile : named) {
        Script system;
        system.profiles = {*profile};
        CHECK_EQ(joined(run(&system, {{1280, 720}}).found), "H264 1280x720");
    }
}

TEST_CASE(otherProfiles_areNotAsked)
{
    Script system;
    GUID nearly = kH264E;
    nearly.Data4[7] ^= 1;
    GUID alike = kHevc;
    alike.Data1 ^= 0x80000000u;
    system.profiles = {kMpeg2, nearly, alike, GUID{}};
    const Result result = run(&system, {{1280, 720}});
    CHECK(!result.outcome.isFailure());
    CHECK_EQ(joined(result.found), "");
    CHECK_EQ(joined(system.calls),
             std::string(kUpToReset) +
                 ", OpenDeviceHandle, GetVideoService, GetDecoderDeviceGuids, CoTaskMemFree, "
                 "Release service, Release manager, Release device, Release Direct3D");
}

TEST_CASE(eachProfile_isAskedForEachSize)
{
    Script system;
    system.profiles = {kH264E, kMpeg2, kHevc, kH264F};
    const Result result = run(&system, {{640, 360}, {704, 576}});
    CHECK_EQ(joined(result.found), "H264 640x360, H264 704x576, H265 640x360, H265 704x576, "
                                   "H264 640x360, H264 704x576");
}

TEST_CASE(size_isRefused_withoutAConfiguration)
{
    Script system;
    system.profiles = {kH264E};
    system.configurations[640] = {S_OK, 0};     // freed all the same
    system.configurations[704] = {E_FAIL, 1};   // no failure of the query
    system.configurations[1280] = {S_FALSE, 3}; // a success
    const Result result = run(&system, {{640, 360}, {704, 576}, {1280, 720}, {1920, 1080}});
    CHECK(!result.outcome.isFailure());
    CHECK_EQ(joined(result.found), "H264 1280x720, H264 1920x1080");
    int freed = 0;
    for (const std::string &call : system.calls)
        freed += call == "CoTaskMemFree";
    CHECK_EQ(freed, 3 + 1); // for each success, and for the profiles
}

TEST_CASE(impossibleSize_isNotAskedFor)
{
    Script system;
    system.profiles = {kH264E};
    CHECK_EQ(joined(run(&system, {{0, 0}, {-1, 360}, {640, 0}, {640, 360}}).found), "H264 640x360");
}

TEST_CASE(cardWithoutDecoders_isNoFailure)
{
    for (const UINT claimed : {0u, 3u}) { // with a list, as promised or not
        Script system;
        system.claimedProfiles = claimed;
        const Result result = run(&system, {{640, 360}});
        CHECK(!result.outcome.isFailure());
        CHECK_EQ(joined(result.found), "");
    }
}

TEST_CASE(noSizes_areNoFailure)
{
    Script system;
    system.profiles = {kH264E};
    CHECK(!run(&system, {}).outcome.isFailure());
}

// Each step that can fail ends the query with its line; what has been made is released, so that a
// machine on which the query fails loses nothing at each new size.
TEST_CASE(failedStep_endsTheQuery_andReleasesWhatHasBeenMade)
{
    const std::string made[] = {"Release Direct3D", "Release device, Release Direct3D",
                                "Release manager, Release device, Release Direct3D",
                                "Release service, Release manager, Release device, "
                                "Release Direct3D"};
    const std::string upToReset = kUpToReset;
    const struct
    {
        void (*break_)(Script *);
        Step step;
        const char *line;
        std::string calls;
    } rows[] = {
        {[](Script *s) { s->hasDirect3D = false; }, Step::CreateDirect3D,
         "Failed to create Direct3D9.", "Direct3DCreate9 32"},
        {[](Script *s) { s->createDevice = D3DERR_NOTAVAILABLE; }, Step::CreateDevice,
         "Failed to create Direct3DDevice9. HRESULT=0x8876086a",
         "Direct3DCreate9 32, CreateDevice, " + made[0]},
        {[](Script *s) { s->without = Step::CreateDevice; }, Step::CreateDevice,
         "Failed to create Direct3DDevice9. HRESULT=0x0",
         "Direct3DCreate9 32, CreateDevice, " + made[0]},
        {[](Script *s) { s->createManager = E_FAIL; }, Step::CreateManager,
         "Failed to create Direct3D9 Manager9.",
         "Direct3DCreate9 32, CreateDevice, DXVA2CreateDirect3DDeviceManager9, " + made[1]},
        {[](Script *s) { s->without = Step::CreateManager; }, Step::CreateManager,
         "Failed to create Direct3D9 Manager9.",
         "Direct3DCreate9 32, CreateDevice, DXVA2CreateDirect3DDeviceManager9, " + made[1]},
        {[](Script *s) { s->reset = E_FAIL; }, Step::ResetManager,
         "Failed to reset Direct3D9 Manager9.", upToReset + ", " + made[2]},
        {[](Script *s) { s->open = E_FAIL; }, Step::OpenHandle,
         "Direct3D9 Manager9 failed to open device handle",
         upToReset + ", OpenDeviceHandle, " + made[2]},
        {[](Script *s) { s->service = E_NOINTERFACE; }, Step::GetService,
         "Direct3D9 Manager9 failed to get video service",
         upToReset + ", OpenDeviceHandle, GetVideoService, " + made[2]},
        {[](Script *s) { s->without = Step::GetService; }, Step::GetService,
         "Direct3D9 Manager9 failed to get video service",
         upToReset + ", OpenDeviceHandle, GetVideoService, " + made[2]},
        {[](Script *s) { s->guids = E_NOTIMPL; }, Step::GetDecoders,
         "Device Service failed to get decoder guids",
         upToReset + ", OpenDeviceHandle, GetVideoService, GetDecoderDeviceGuids, " + made[3]},
    };
    for (const auto &row : rows) {
        Script system;
        system.profiles = {kH264E};
        row.break_(&system);
        const Result result = run(&system, {{640, 360}});
        CHECK_TEXT(result.outcome.reached == row.step, row.line);
        CHECK_EQ(hwdecode::failureText(result.outcome), row.line);
        CHECK_EQ(joined(system.calls), row.calls);
        CHECK_EQ(joined(result.found), "");
    }
}

// Wine makes the device and the manager; what it says of decoders depends on what it runs on.
TEST_CASE(query_getsToTheDecoders_onARealDirect3D)
{
    std::vector<std::string> found;
    for (int i = 0; i < 3; ++i) {
        const Outcome outcome =
            hwdecode::queryDxva2(hwdecode::systemDxva2(), {{1920, 1080}},
                                 [&](const char *codec, Size) { found.push_back(codec); });
        CHECK_TEXT(outcome.reached >= Step::GetDecoders, hwdecode::failureText(outcome));
        if (outcome.isFailure())
            CHECK(found.empty());
    }
}

WINETEST_MAIN()
