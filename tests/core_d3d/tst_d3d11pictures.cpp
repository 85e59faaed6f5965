// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What the presenter shows: textures as a decoder has them in, pixels of the window out. Wine's own
// Direct3D 11 has neither NV12 textures with views nor the newer swap chain, so that there only the
// shaders are seen at work; `./test --full` runs all with the second backend, with the sharing of
// textures between devices made up. tst_d3d11presenter looks at the calls.

#include "core_d3d/d3d11presenter_p.h"

#include "core_d3d/shaders/nv12shaders_p.h"
#include "core_d3d/sharedtextures.h"
#include "core_d3d/windowpixels.h"

#include <algorithm>
#include <memory>

using Microsoft::WRL::ComPtr;
using vantratest::kPictureForms;
using vantratest::PictureForm;
using vantratest::Yuv;
using windowpixels::Conversion;
using windowpixels::difference;
using windowpixels::isSecondBackend;
using windowpixels::Rgb;
using windowpixels::Window;

namespace {

constexpr int kAlignment = 16; // of decoders' textures, in pixels
constexpr int kTolerance = 1;
// Between two samples of chroma the anisotropic filter of the rasteriser is exact only in textures
// whose sides are powers of two.
constexpr int kAnisotropicTolerance = 12;

// ITU-R BT.601, limited range, whatever the driver thinks.
const Conversion kLimited601 = {16, 1.164383, 1.596027, -0.391762, -0.812968, 2.017232};

using Color = std::function<Yuv(int x, int y)>;

void needSecondBackend()
{
    if (!isSecondBackend())
        winetest::skip("Wine's own Direct3D has no NV12 textures with views");
}

// A picture of NV12 in memory, as `stride` bytes per line and `rows` lines of luma, then chroma. It
// repeats its edges beyond its size.
std::vector<BYTE> nv12(int width, int height, int stride, int rows, const Color &color)
{
    std::vector<BYTE> bytes(static_cast<size_t>(stride) * static_cast<size_t>(rows) * 3 / 2);
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < stride; ++x) {
            const Yuv value = color(std::min(x, width - 1), std::min(y, height - 1));
            bytes[static_cast<size_t>(y * stride + x)] = static_cast<BYTE>(value.y);
            if (x % 2 != 0 || y % 2 != 0)
                continue;
            const auto at = static_cast<size_t>((rows + y / 2) * stride + x);
            bytes[at] = static_cast<BYTE>(value.u);
            bytes[at + 1] = static_cast<BYTE>(value.v);
        }
    }
    return bytes;
}

int aligned(int length)
{
    return (length + kAlignment - 1) / kAlignment * kAlignment;
}

// A device as a decoder makes it, with an array of textures.
class Decoder
{
public:
    Decoder(int width, int height, int slices = 4) : width(width), height(height)
    {
        CHECK_EQ(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                   D3D11_SDK_VERSION, &device, nullptr, &context),
                 S_OK);
        D3D11_TEXTURE2D_DESC desc = textureDesc();
        desc.ArraySize = static_cast<UINT>(slices);
        desc.BindFlags = D3D11_BIND_DECODER;
        CHECK_EQ(device->CreateTexture2D(&desc, nullptr, &texture), S_OK);
        sharedtextures::install(device.Get(), context.Get());
    }
    ~Decoder() { sharedtextures::forget(); }

    void decode(int slice, const Color &color)
    {
        D3D11_TEXTURE2D_DESC desc = textureDesc();
        desc.Usage = D3D11_USAGE_STAGING;
        desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
        ComPtr<ID3D11Texture2D> staging;
        CHECK_EQ(device->CreateTexture2D(&desc, nullptr, &staging), S_OK);
        D3D11_MAPPED_SUBRESOURCE mapped;
        CHECK_EQ(context->Map(staging.Get(), 0, D3D11_MAP_WRITE, 0, &mapped), S_OK);
        const auto bytes = nv12(width, height, static_cast<int>(mapped.RowPitch),
                                static_cast<int>(desc.Height), color);
        std::copy(bytes.begin(), bytes.end(), static_cast<BYTE *>(mapped.pData));
        context->Unmap(staging.Get(), 0);
        context->CopySubresourceRegion(texture.Get(), static_cast<UINT>(slice), 0, 0, 0,
                                       staging.Get(), 0, nullptr);
    }

    const int width;
    const int height;
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    ComPtr<ID3D11Texture2D> texture;

private:
    D3D11_TEXTURE2D_DESC textureDesc() const
    {
        D3D11_TEXTURE2D_DESC desc = {};
        desc.Width = static_cast<UINT>(aligned(width));
        desc.Height = static_cast<UINT>(aligned(height));
        desc.MipLevels = 1;
        desc.ArraySize = 1;
        desc.Format = DXGI_FORMAT_NV12;
        desc.SampleDesc.Count = 1;
        return desc;
    }
};

// The picture pixel by pixel as the sampler sees it: luma as it is, chroma between its samples,
// those beyond an edge from the other one.
std::function<Rgb(int, int)> pixels(int width, int height, const Color &color)
{
    return [=](int x, int y) {
        const auto wrap = [](int value, int count) { return (value + count) % count; };
        double u = 0;
        double v = 0;
        for (int i = 0; i < 4; ++i) {
            const bool besideX = i & 1;
            const bool besideY = i & 2;
            const int column = wrap(x / 2 + (besideX ? (x % 2 ? 1 : -1) : 0), width / 2);
            const int row = wrap(y / 2 + (besideY ? (y % 2 ? 1 : -1) : 0), height / 2);
            const Yuv sample = color(column * 2, row * 2);
            const double share = (besideX ? 0.25 : 0.75) * (besideY ? 0.25 : 0.75);
            u += share * sample.u;
            v += share * sample.v;
        }
        const Conversion &c = kLimited601;
        const double luma = c.y * (color(x, y).y - c.lumaOffset);
        const auto clamp = [](double value) {
            return static_cast<int>(std::max(0.0, std::min(255.0, value)) + 0.5);
        };
        return Rgb{clamp(luma + c.redV * (v - 128)),
                   clamp(luma + c.greenU * (u - 128) + c.greenV * (v - 128)),
                   clamp(luma + c.blueU * (u - 128))};
    };
}

std::function<Rgb(int, int)> uniform(const Yuv &color)
{
    return [color](int, int) { return kLimited601(color); };
}

Color plain(const Yuv &color)
{
    return [color](int, int) { return color; };
}

const Yuv kFirst = {80, 100, 150};
const Yuv kSecond = {160, 150, 100};

// Shows the slice until it is seen, or not within the time.
std::string shown(D3D11Presenter &presenter, Window &window, const Decoder &decoder, int slice,
                  const std::function<Rgb(int, int)> &expected, int tolerance = kTolerance)
{
    return difference(
        window,
        [&] {
            presenter.updateFrame(window.handle, decoder.width, decoder.height,
                                  decoder.texture.Get(), slice, false);
        },
        expected, tolerance);
}

ULONG references(IUnknown *object)
{
    object->AddRef();
    return object->Release();
}

} // namespace

// --- With either backend
// --------------------------------------------------------------------------

namespace {

// What the shaders make of a picture, in eight bits, without the presenter around them.
class ShaderBench
{
public:
    ShaderBench()
    {
        CHECK_EQ(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                   D3D11_SDK_VERSION, &device, nullptr, &context),
                 S_OK);
    }

    ComPtr<ID3D11ShaderResourceView> plane(int width, int height, DXGI_FORMAT format,
                                           const std::vector<BYTE> &bytes, int stride)
    {
        D3D11_SUBRESOURCE_DATA data = {bytes.data(), static_cast<UINT>(stride), 0};
        const ComPtr<ID3D11Texture2D> texture =
            createTexture(width, height, format, D3D11_BIND_SHADER_RESOURCE, &data);
        ComPtr<ID3D11ShaderResourceView> view;
        CHECK_EQ(device->CreateShaderResourceView(texture.Get(), nullptr, &view), S_OK);
        return view;
    }

    ComPtr<ID3D11Texture2D> createTexture(int width, int height, DXGI_FORMAT format, UINT bind,
                                          const D3D11_SUBRESOURCE_DATA *data)
    {
        D3D11_TEXTURE2D_DESC desc = {};
        desc.Width = static_cast<UINT>(width);
        desc.Height = static_cast<UINT>(height);
        desc.MipLevels = desc.ArraySize = desc.SampleDesc.Count = 1;
        desc.Format = format;
        desc.BindFlags = bind;
        if (bind == 0) {
            desc.Usage = D3D11_USAGE_STAGING;
            desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
        }
        ComPtr<ID3D11Texture2D> texture;
        CHECK_EQ(device->CreateTexture2D(&desc, data, &texture), S_OK);
        return texture;
    }

    ComPtr<ID3D11Buffer> buffer(UINT bind, const void *content, UINT size)
    {
        D3D11_BUFFER_DESC desc = {};
        desc.ByteWidth = size;
        desc.BindFlags = bind;
        const D3D11_SUBRESOURCE_DATA data = {content, 0, 0};
        ComPtr<ID3D11Buffer> made;
        CHECK_EQ(device->CreateBuffer(&desc, &data, &made), S_OK);
        return made;
    }

    // Draws over the whole of a target of this size, and returns its pixels.
    std::vector<DWORD> draw(int width, int height, ID3D11ShaderResourceView *y,
                            ID3D11ShaderResourceView *uv);

    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
};

std::vector<DWORD> ShaderBench::draw(int width, int height, ID3D11ShaderResourceView *y,
                                     ID3D11ShaderResourceView *uv)
{
    const float corners[] = {-1, 1, 0, 0, 0, 1, 1, 0, 1, 0, -1, -1, 0, 0, 1, 1, -1, 0, 1, 1};
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const UINT stride = 20;
    const UINT offset = 0;
    const auto vertices = buffer(D3D11_BIND_VERTEX_BUFFER, corners, sizeof(corners));
    const auto constants = buffer(D3D11_BIND_CONSTANT_BUFFER, identity, sizeof(identity));
    const D3D11_INPUT_ELEMENT_DESC elements[] = {
        {"POSITION", 0, DXGI_FORMAT_R32G32B32_FLOAT, 0, 0, D3D11_INPUT_PER_VERTEX_DATA, 0},
        {"TEXCOORD", 0, DXGI_FORMAT_R32G32_FLOAT, 0, 12, D3D11_INPUT_PER_VERTEX_DATA, 0}};
    ComPtr<ID3D11InputLayout> layout;
    CHECK_EQ(device->CreateInputLayout(elements, 2, kNv12VertexShader, sizeof(kNv12VertexShader),
                                       &layout),
             S_OK);
    ComPtr<ID3D11VertexShader> vertexShader;
    CHECK_EQ(device->CreateVertexShader(kNv12VertexShader, sizeof(kNv12VertexShader), nullptr,
                                        &vertexShader),
             S_OK);
    ComPtr<ID3D11PixelShader> pixelShader;
    CHECK_EQ(device->CreatePixelShader(kNv12PixelShader, sizeof(kNv12PixelShader), nullptr,
                                       &pixelShader),
             S_OK);
    D3D11_SAMPLER_DESC samplerDesc = {};
    samplerDesc.Filter = D3D11_FILTER_MIN_MAG_MIP_LINEAR;
    samplerDesc.AddressU = samplerDesc.AddressV = samplerDesc.AddressW = D3D11_TEXTURE_ADDRESS_WRAP;
    samplerDesc.ComparisonFunc = D3D11_COMPARISON_NEVER;
    ComPtr<ID3D11SamplerState> sampler;
    CHECK_EQ(device->CreateSamplerState(&samplerDesc, &sampler), S_OK);
    const DXGI_FORMAT format = DXGI_FORMAT_R8G8B8A8_UNORM;
    const auto texture = createTexture(width, height, format, D3D11_BIND_RENDER_TARGET, nullptr);
    ComPtr<ID3D11RenderTargetView> target;
    CHECK_EQ(device->CreateRenderTargetView(texture.Get(), nullptr, &target), S_OK);

    const D3D11_VIEWPORT viewport = {0, 0, static_cast<float>(width), static_cast<float>(height),
                                     0, 1};
    ID3D11ShaderResourceView *const views[] = {y, uv};
    context->IASetVertexBuffers(0, 1, vertices.GetAddressOf(), &stride, &offset);
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP);
    context->IASetInputLayout(layout.Get());
    context->VSSetConstantBuffers(0, 1, constants.GetAddressOf());
    context->VSSetShader(vertexShader.Get(), nullptr, 0);
    context->RSSetViewports(1, &viewport);
    context->PSSetShader(pixelShader.Get(), nullptr, 0);
    context->PSSetShaderResources(0, 2, views);
    context->PSSetSamplers(0, 1, sampler.GetAddressOf());
    context->OMSetRenderTargets(1, target.GetAddressOf(), nullptr);
    context->Draw(4, 0);

    const auto staging = createTexture(width, height, format, 0, nullptr);
    context->CopyResource(staging.Get(), texture.Get());
    D3D11_MAPPED_SUBRESOURCE mapped;
    CHECK_EQ(context->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
    std::vector<DWORD> result;
    for (int row = 0; row < height; ++row) {
        const auto *line = reinterpret_cast<const DWORD *>(static_cast<BYTE *>(mapped.pData) +
                                                           row * mapped.RowPitch);
        result.insert(result.end(), line, line + width);
    }
    context->Unmap(staging.Get(), 0);
    return result;
}

} // namespace

TEST_CASE(theShaders_convertByBt601OfLimitedRange_pixelByPixel)
{
    ShaderBench bench;
    int count = 0;
    for (const PictureForm &form : kPictureForms) {
        const int width = form.width;
        const int height = form.height;
        if (width % 2 != 0 || height % 2 != 0)
            continue;
        const auto bytes = nv12(width, height, width, height, form.color);
        const std::vector<BYTE> chroma(bytes.begin() + width * height, bytes.end());
        const auto y = bench.plane(width, height, DXGI_FORMAT_R8_UNORM, bytes, width);
        const auto uv = bench.plane(width / 2, height / 2, DXGI_FORMAT_R8G8_UNORM, chroma, width);
        const auto result = bench.draw(width, height, y.Get(), uv.Get());
        const auto expected = pixels(width, height, form.color);
        for (int i = 0; i < width * height; ++i) {
            const DWORD value = result[static_cast<size_t>(i)];
            const Rgb is = {static_cast<int>(value & 255), static_cast<int>(value >> 8 & 255),
                            static_cast<int>(value >> 16 & 255)};
            const Rgb should = expected(i % width, i / width);
            CHECK_TEXT(std::abs(is.r - should.r) <= kTolerance &&
                           std::abs(is.g - should.g) <= kTolerance &&
                           std::abs(is.b - should.b) <= kTolerance,
                       std::string(form.name) + ": " + winetest::show(is) + " instead of " +
                           winetest::show(should) + " at " + std::to_string(i % width) + ", " +
                           std::to_string(i / width));
            CHECK_EQ(value >> 24, 255u);
        }
        ++count;
    }
    CHECK_EQ(count, 10);
}

TEST_CASE(whereNv12HasNoViews_nothingIsShown)
{
    if (isSecondBackend())
        winetest::skip("this backend has NV12 textures with views");
    Window window(32, 32);
    D3D11Presenter presenter;
    CHECK(presenter.ownDevice() != nullptr);
    ComPtr<ID3D11Device> device(presenter.ownDevice());
    D3D11_TEXTURE2D_DESC desc = {};
    desc.Width = desc.Height = 32;
    desc.MipLevels = desc.ArraySize = desc.SampleDesc.Count = 1;
    desc.Format = DXGI_FORMAT_R8_UNORM; // any, as it is never copied
    desc.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    ComPtr<ID3D11Texture2D> texture;
    CHECK_EQ(device->CreateTexture2D(&desc, nullptr, &texture), S_OK);
    for (int i = 0; i < 5; ++i) {
        presenter.updateFrame(window.handle, 32, 32, texture.Get(), 0, i == 3);
        if (i == 2)
            presenter.clear();
    }
    CHECK(presenter.currentSwapChain() == nullptr);
    CHECK_EQ(references(texture.Get()), 1u);
}

// --- With the second backend
// ----------------------------------------------------------------------

TEST_CASE(pictures_areShown_pixelByPixel)
{
    needSecondBackend();
    int count = 0;
    for (const PictureForm &form : kPictureForms) {
        if (form.width % 2 != 0 || form.height % 2 != 0)
            continue;
        Decoder decoder(form.width, form.height);
        decoder.decode(2, form.color);
        Window window(form.width, form.height);
        D3D11Presenter presenter;
        const bool isPowerOfTwo = (form.width & (form.width - 1)) == 0;
        const std::string wrong =
            shown(presenter, window, decoder, 2, pixels(form.width, form.height, form.color),
                  isPowerOfTwo ? kTolerance : kAnisotropicTolerance);
        CHECK_TEXT(wrong.empty(), std::string(form.name) + ": " + wrong);
        ++count;
    }
    CHECK_EQ(count, 10);
}

TEST_CASE(eachSlice_isShownByItsIndex)
{
    needSecondBackend();
    Decoder decoder(32, 32);
    Window window(32, 32);
    D3D11Presenter presenter;
    const auto color = [](int slice) { return Yuv{60 + 40 * slice, 100, 150}; };
    for (int slice = 0; slice < 4; ++slice)
        decoder.decode(slice, plain(color(slice)));
    for (const int slice : {3, 0, 2, 1})
        CHECK_EQ(shown(presenter, window, decoder, slice, uniform(color(slice))), "");
}

TEST_CASE(withoutFlush_nothingArrives)
{
    needSecondBackend();
    Decoder decoder(32, 32);
    Window window(32, 32);
    D3D11Presenter presenter;
    decoder.decode(0, plain(kFirst));
    CHECK_EQ(shown(presenter, window, decoder, 0, uniform(kFirst)), "");
    decoder.decode(0, plain(kSecond));
    sharedtextures::setFlushEnabled(false);
    const int before = sharedtextures::transfers();
    for (int i = 0; i < 10; ++i) {
        presenter.updateFrame(window.handle, 32, 32, decoder.texture.Get(), 0, false);
        Sleep(10);
    }
    window.grab();
    const std::string kept = winetest::show(window.pixel(16, 16));
    sharedtextures::setFlushEnabled(true);
    CHECK_EQ(kept, winetest::show(kLimited601(kFirst)));
    CHECK_EQ(sharedtextures::transfers(), before);
    CHECK_EQ(shown(presenter, window, decoder, 0, uniform(kSecond)), "");
    CHECK(sharedtextures::transfers() > before); // the presenter's own
}

TEST_CASE(anotherSize_isShown_withAnotherSharedTexture)
{
    needSecondBackend();
    Window window(64, 64);
    D3D11Presenter presenter;
    HANDLE former = nullptr;
    for (int round = 0; round < 3; ++round) {
        Decoder decoder(round == 1 ? 64 : 32, round == 1 ? 48 : 32);
        const Yuv color = round == 1 ? kSecond : kFirst;
        decoder.decode(0, plain(color));
        const auto expected = [&](int x, int y) { // scaling mixes black in at the ends
            return std::max(x, y) >= 56 ? window.pixel(x, y) : kLimited601(color);
        };
        CHECK_EQ(shown(presenter, window, decoder, 0, expected), "");
        CHECK(presenter.currentSharedHandle() != former);
        former = presenter.currentSharedHandle();
        DXGI_SWAP_CHAIN_DESC desc;
        CHECK_EQ(presenter.currentSwapChain()->GetDesc(&desc), S_OK);
        CHECK_EQ(desc.BufferDesc.Width, static_cast<UINT>(decoder.width));
        CHECK_EQ(desc.BufferDesc.Height, static_cast<UINT>(decoder.height));
        CHECK_EQ(desc.BufferDesc.Format, DXGI_FORMAT_R10G10B10A2_UNORM);
    }
}

TEST_CASE(anotherDecoder_isShown_andTheFormerIsLetGo)
{
    needSecondBackend();
    Window window(32, 32);
    D3D11Presenter presenter;
    auto former = std::make_unique<Decoder>(32, 32);
    former->decode(0, plain(kFirst));
    CHECK_EQ(shown(presenter, window, *former, 0, uniform(kFirst)), "");
    sharedtextures::forget();
    CHECK_EQ(references(former->texture.Get()), 1u);
    former.reset();
    Decoder decoder(32, 32);
    decoder.decode(1, plain(kSecond));
    presenter.updateFrame(window.handle, 32, 32, decoder.texture.Get(), 1, true);
    CHECK_EQ(shown(presenter, window, decoder, 1, uniform(kSecond)), "");
}

TEST_CASE(clear_letsGoOfTheSwapChain_andTheNextPictureIsShown)
{
    needSecondBackend();
    Decoder decoder(32, 32);
    Window window(32, 32);
    D3D11Presenter presenter;
    for (const Yuv &color : {kFirst, kSecond, kFirst}) {
        decoder.decode(0, plain(color));
        CHECK_EQ(shown(presenter, window, decoder, 0, uniform(color)), "");
        const HANDLE handle = presenter.currentSharedHandle();
        presenter.clear();
        CHECK(presenter.currentSwapChain() == nullptr);
        CHECK(presenter.currentSharedHandle() == handle);
    }
}

TEST_CASE(aPictureOfOddSize_doesNotKeepTheNextOneAway)
{
    needSecondBackend();
    Window window(32, 32);
    D3D11Presenter presenter;
    Decoder decoder(32, 32);
    decoder.decode(0, plain(kFirst));
    CHECK_EQ(shown(presenter, window, decoder, 0, uniform(kFirst)), "");
    for (int i = 0; i < 3; ++i) // Windows refuses such textures of NV12, this backend does not
        presenter.updateFrame(window.handle, 31, 31, decoder.texture.Get(), 0, false);
    decoder.decode(0, plain(kSecond));
    CHECK_EQ(shown(presenter, window, decoder, 0, uniform(kSecond)), "");
}

TEST_CASE(aWindowOfAnotherSize_getsTheWholePicture)
{
    needSecondBackend();
    Decoder decoder(64, 48);
    const auto quadrants = [](int x, int y, int width, int height) {
        const bool right = x >= width / 2;
        const bool lower = y >= height / 2;
        return Yuv{right ? 60 : 180, lower ? 100 : 150, right != lower ? 100 : 150};
    };
    decoder.decode(0, [&](int x, int y) { return quadrants(x, y, 64, 48); });
    const std::pair<int, int> sizes[] = {{128, 96}, {200, 150}, {40, 30}, {150, 40}};
    for (const auto &size : sizes) {
        Window window(size.first, size.second);
        D3D11Presenter presenter;
        const auto expected = [&](int x, int y) {
            const auto isNear = [](int at, int length) {
                return at < 8 || at >= length - 8 || std::abs(at - length / 2) <= 8;
            };
            return isNear(x, window.width) || isNear(y, window.height)
                       ? window.pixel(x, y)
                       : kLimited601(quadrants(x, y, window.width, window.height));
        };
        CHECK_EQ(shown(presenter, window, decoder, 0, expected), "");
    }
}

TEST_CASE(manyPresenters_leaveNothingBehind)
{
    needSecondBackend();
    Decoder decoder(32, 32);
    decoder.decode(0, plain(kFirst));
    Window window(32, 32);
    const ULONG before = references(decoder.texture.Get());
    for (int i = 0; i < 20; ++i) {
        D3D11Presenter presenter;
        presenter.updateFrame(window.handle, 32, 32, decoder.texture.Get(), 0, false);
        CHECK(presenter.currentSwapChain() != nullptr);
        if (i % 3 == 0)
            presenter.clear();
    }
    sharedtextures::forget();
    CHECK_EQ(references(decoder.texture.Get()), before);
}

WINETEST_MAIN()
