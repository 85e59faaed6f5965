// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What the presenter shows with the Direct3D 9 of Wine: surfaces as a decoder has them in, pixels
// of the window out. tst_d3d9presenter looks at the calls.

#include "core_d3d/d3d9presenter_p.h"

#include "core_d3d/windowpixels.h"

#include <algorithm>
#include <memory>

using Microsoft::WRL::ComPtr;
using vantratest::kPictureForms;
using vantratest::PictureForm;
using vantratest::Yuv;
using windowpixels::Conversion;
using windowpixels::difference;
using windowpixels::Rgb;
using windowpixels::Window;

namespace {

const auto kNv12 = static_cast<D3DFORMAT>(MAKEFOURCC('N', 'V', '1', '2'));
constexpr int kAlignment = 16; // of decoders' surfaces, in pixels
constexpr int kTolerance = 1;
// Where drivers filter: between lines of chroma, and at the edge of what is stretched.
constexpr int kFilterTolerance = 6;
constexpr int kBlur = 8; // pixels on each side of an edge that is scaled

// The driver converts by what it thinks right: Wine's own by the primaries of BT.601 and the full
// range, the second backend by BT.709 and the limited one.
const Conversion kFullRange601 = {0, 1, 1.403, -0.344, -0.714, 1.770};
const Conversion kLimited709 = {16, 1.164383, 1.792741, -0.213249, -0.532909, 2.112402};

Rgb toRgb(const Yuv &color)
{
    return (windowpixels::isSecondBackend() ? kLimited709 : kFullRange601)(color);
}

// A device as a decoder makes it, with a window of its own.
class Decoder
{
public:
    Decoder()
    {
        direct3D.Attach(Direct3DCreate9(D3D_SDK_VERSION));
        CHECK(direct3D != nullptr);
        D3DPRESENT_PARAMETERS parameters = presentParameters();
        CHECK_EQ(direct3D->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, window.handle,
                                        D3DCREATE_HARDWARE_VERTEXPROCESSING |
                                            D3DCREATE_MULTITHREADED | D3DCREATE_FPU_PRESERVE,
                                        &parameters, &device),
                 D3D_OK);
    }

    D3DPRESENT_PARAMETERS presentParameters() const
    {
        D3DPRESENT_PARAMETERS parameters = {};
        parameters.Windowed = TRUE;
        parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
        parameters.BackBufferFormat = D3DFMT_X8R8G8B8;
        parameters.BackBufferWidth = window.width;
        parameters.BackBufferHeight = window.height;
        parameters.hDeviceWindow = window.handle;
        parameters.Flags = D3DPRESENTFLAG_VIDEO;
        parameters.PresentationInterval = D3DPRESENT_INTERVAL_IMMEDIATE;
        return parameters;
    }

    // An NV12 surface, larger than the picture as decoders need it, which repeat its edges there.
    template<typename Color>
    ComPtr<IDirect3DSurface9> picture(int width, int height, const Color &color)
    {
        const auto aligned = [](int length) {
            return static_cast<UINT>((length + kAlignment - 1) / kAlignment * kAlignment);
        };
        ComPtr<IDirect3DSurface9> surface;
        CHECK_EQ(device->CreateOffscreenPlainSurface(aligned(width), aligned(height), kNv12,
                                                     D3DPOOL_DEFAULT, &surface, nullptr),
                 D3D_OK);
        fill(surface.Get(), width, height, color);
        return surface;
    }

    template<typename Color>
    static void fill(IDirect3DSurface9 *surface, int width, int height, const Color &color)
    {
        D3DSURFACE_DESC desc;
        CHECK_EQ(surface->GetDesc(&desc), D3D_OK);
        D3DLOCKED_RECT locked;
        CHECK_EQ(surface->LockRect(&locked, nullptr, 0), D3D_OK);
        auto *luma = static_cast<BYTE *>(locked.pBits);
        BYTE *chroma = luma + static_cast<size_t>(locked.Pitch) * desc.Height;
        for (int y = 0; y < static_cast<int>(desc.Height); ++y) {
            for (int x = 0; x < static_cast<int>(desc.Width); ++x) {
                const Yuv value = color(std::min(x, width - 1), std::min(y, height - 1));
                luma[y * locked.Pitch + x] = static_cast<BYTE>(value.y);
                if (x % 2 != 0 || y % 2 != 0)
                    continue;
                chroma[y / 2 * locked.Pitch + x] = static_cast<BYTE>(value.u);
                chroma[y / 2 * locked.Pitch + x + 1] = static_cast<BYTE>(value.v);
            }
        }
        surface->UnlockRect();
    }

    Window window{8, 8, 1000, 800}; // over none of those with pictures
    ComPtr<IDirect3D9> direct3D;
    ComPtr<IDirect3DDevice9> device;
};

ULONG references(IUnknown *object)
{
    object->AddRef();
    return object->Release();
}

Yuv quadrants(int x, int y, int width, int height)
{
    const bool right = x >= width / 2;
    const bool lower = y >= height / 2;
    return {right ? 60 : 180, lower ? 80 : 160, right != lower ? 90 : 150};
}

// The quadrants over a window, but for the edges between them, which scaling blurs, and the ends,
// where one backend filters chroma with what lies behind it, and the other the picture with black.
std::function<Rgb(int, int)> quadrantPixels(const Window &window)
{
    return [&window](int x, int y) {
        const bool nearX = std::abs(x - window.width / 2) <= kBlur || x >= window.width - kBlur;
        const bool nearY = std::abs(y - window.height / 2) <= kBlur || y >= window.height - kBlur;
        return nearX || nearY ? window.pixel(x, y)
                              : toRgb(quadrants(x, y, window.width, window.height));
    };
}

// Pixel by pixel, luma as it is and one chroma per four of them.
template<typename Color>
std::function<Rgb(int, int)> pixels(const Color &color)
{
    return [color](int x, int y) {
        const Yuv own = color(x, y);
        const Yuv shared = color(x & ~1, y & ~1);
        return toRgb({own.y, shared.u, shared.v});
    };
}

std::function<Rgb(int, int)> uniform(const Yuv &color)
{
    return [color](int, int) { return toRgb(color); };
}

} // namespace

TEST_CASE(pictures_areShown_pixelByPixel)
{
    Decoder decoder;
    int shown = 0;
    for (const PictureForm &form : kPictureForms) {
        if (form.width % 2 != 0 || form.height % 2 != 0)
            continue; // those are stretched; see below
        Window window(form.width, form.height);
        const auto surface = decoder.picture(form.width, form.height, form.color);
        D3D9Presenter presenter;
        const auto show = [&] {
            CHECK_EQ(
                presenter.updateFrame(window.handle, form.width, form.height, surface.Get(), false),
                "");
        };
        const int tolerance =
            form.color == vantratest::chromaRampColor ? kFilterTolerance : kTolerance;
        const std::string wrong = difference(window, show, pixels(form.color), tolerance);
        CHECK_TEXT(wrong.empty(), std::string(form.name) + ": " + wrong);
        ++shown;
    }
    CHECK_EQ(shown, 10);
}

TEST_CASE(aPictureOfOddSize_isShownWithoutItsLastColumnAndRow)
{
    Decoder decoder;
    const std::pair<int, int> sizes[] = {{63, 48}, {64, 47}, {65, 33}};
    for (const auto &size : sizes) {
        const int width = size.first;
        const int height = size.second;
        const Yuv inside = {100, 90, 150};
        const auto surface = decoder.picture(width, height, [&](int x, int y) {
            const bool last = x == (width & ~1) || y == (height & ~1);
            return Yuv{last ? 235 : inside.y, inside.u, inside.v};
        });
        Window window(width, height);
        D3D9Presenter presenter;
        const auto show = [&] {
            CHECK_EQ(presenter.updateFrame(window.handle, width, height, surface.Get(), false), "");
        };
        CHECK_EQ(difference(window, show, uniform(inside), kFilterTolerance), "");
    }
}

TEST_CASE(aPictureOfOnePixelInADirection_isAFailingStretch)
{
    Decoder decoder;
    Window window(16, 16);
    D3D9Presenter presenter;
    const Yuv color = {100, 90, 150};
    const auto surface = decoder.picture(16, 16, [&](int, int) { return color; });
    std::vector<std::pair<int, int>> sizes = {{1, 1}, {14, 1}, {1, 14}};
    if (windowpixels::isSecondBackend())
        sizes.clear(); // it shows something instead
    for (const auto &size : sizes)
        CHECK_EQ(
            presenter.updateFrame(window.handle, size.first, size.second, surface.Get(), false),
            "d3d9 stretch rect err" + std::to_string(D3DERR_INVALIDCALL));
    const auto show = [&] { // the next one starts over
        CHECK_EQ(presenter.updateFrame(window.handle, 16, 16, surface.Get(), false), "");
    };
    CHECK_EQ(difference(window, show, uniform(color), kTolerance), "");
}

TEST_CASE(aWindowOfAnotherSize_getsTheWholePicture)
{
    Decoder decoder;
    const auto color = [](int x, int y) { return quadrants(x, y, 64, 48); };
    const auto surface = decoder.picture(64, 48, color);
    std::vector<std::pair<int, int>> sizes = {{64, 48}, {128, 96}, {200, 150}, {100, 100}};
    // Wine's own scales twice where the window is the smaller one.
    if (windowpixels::isSecondBackend())
        sizes.insert(sizes.end(), {{32, 24}, {150, 40}});
    for (const auto &size : sizes) {
        Window window(size.first, size.second);
        D3D9Presenter presenter;
        const auto show = [&] {
            CHECK_EQ(presenter.updateFrame(window.handle, 64, 48, surface.Get(), false), "");
        };
        CHECK_EQ(difference(window, show, quadrantPixels(window), kFilterTolerance), "");
    }
}

TEST_CASE(zoom_showsThePart_untilItIsSwitchedOff)
{
    Decoder decoder;
    const auto color = [](int x, int y) { return quadrants(x, y, 64, 48); };
    const auto surface = decoder.picture(64, 48, color);
    Window window(64, 48);
    D3D9Presenter presenter;
    const auto show = [&] {
        CHECK_EQ(presenter.updateFrame(window.handle, 64, 48, surface.Get(), false), "");
    };
    CHECK_EQ(difference(window, show, quadrantPixels(window), kFilterTolerance), "");
    presenter.setDigitalZoomRect(37, 29, 57, 45); // within the lower right quadrant
    presenter.setDigitalZoom(true);
    CHECK_EQ(difference(window, show, uniform(color(63, 47)), kTolerance), "");
    presenter.setDigitalZoomRect(2, 2, 20, 20);
    CHECK_EQ(difference(window, show, uniform(color(0, 0)), kTolerance), "");
    presenter.setDigitalZoom(false);
    CHECK_EQ(difference(window, show, quadrantPixels(window), kFilterTolerance), "");

    // What no picture has is refused by Direct3D, and the next picture starts over.
    presenter.setDigitalZoom(true);
    presenter.setDigitalZoomRect(0, 0, 640, 480);
    CHECK_EQ(presenter.updateFrame(window.handle, 64, 48, surface.Get(), false),
             "d3d9 stretch rect err" + std::to_string(D3DERR_INVALIDCALL));
    presenter.setDigitalZoom(false);
    CHECK_EQ(difference(window, show, quadrantPixels(window), kFilterTolerance), "");
}

TEST_CASE(anotherSize_isShown_inTheSameWindow)
{
    Decoder decoder;
    Window window(128, 64);
    D3D9Presenter presenter;
    for (int round = 0; round < 3; ++round) {
        const int width = round == 1 ? 128 : 64;
        const int height = round == 1 ? 64 : 32;
        const Yuv value = {60 + 40 * round, 90, 150};
        const auto surface = decoder.picture(width, height, [&](int, int) { return value; });
        const auto show = [&] {
            CHECK_EQ(presenter.updateFrame(window.handle, width, height, surface.Get(), false), "");
        };
        CHECK_EQ(difference(window, show, uniform(value), kTolerance), "");
        ComPtr<IDirect3DSurface9> backBuffer;
        CHECK_EQ(
            presenter.currentSwapChain()->GetBackBuffer(0, D3DBACKBUFFER_TYPE_MONO, &backBuffer),
            D3D_OK);
        D3DSURFACE_DESC desc;
        backBuffer->GetDesc(&desc);
        CHECK_EQ(desc.Width, static_cast<UINT>(width));
        CHECK_EQ(desc.Height, static_cast<UINT>(height));
    }
}

TEST_CASE(anotherDecoder_isShown_andTheFormerDeviceIsLetGo)
{
    const Yuv first = {60, 90, 150};
    const Yuv second = {160, 150, 90};
    Window window(32, 32);
    D3D9Presenter presenter;
    auto former = std::make_unique<Decoder>();
    auto surface = former->picture(32, 32, [&](int, int) { return first; });
    bool codecChanged = false;
    const auto show = [&] {
        CHECK_EQ(presenter.updateFrame(window.handle, 32, 32, surface.Get(), codecChanged), "");
        codecChanged = false;
    };
    CHECK_EQ(difference(window, show, uniform(first), kTolerance), "");

    Decoder decoder;
    surface = decoder.picture(32, 32, [&](int, int) { return second; });
    codecChanged = true;
    CHECK_EQ(difference(window, show, uniform(second), kTolerance), "");
    CHECK_EQ(references(former->device.Get()), 1u);
    former.reset();
    CHECK_EQ(difference(window, show, uniform(second), kTolerance), "");
}

TEST_CASE(presentAgain_showsWhatTheSurfaceHoldsByThen)
{
    Decoder decoder;
    const Yuv first = {60, 90, 150};
    const Yuv second = {160, 150, 90};
    Window window(32, 32);
    D3D9Presenter presenter;
    const auto surface = decoder.picture(32, 32, [&](int, int) { return first; });
    CHECK_EQ(presenter.updateFrame(window.handle, 32, 32, surface.Get(), false), "");
    const auto again = [&] { CHECK_EQ(presenter.presentAgain(window.handle), ""); };
    CHECK_EQ(difference(window, again, uniform(first), kTolerance), "");
    Decoder::fill(surface.Get(), 32, 32, [&](int, int) { return second; });
    CHECK_EQ(difference(window, again, uniform(second), kTolerance), "");
}

TEST_CASE(aLostDevice_isTold_untilItIsResetAfterClear)
{
    Decoder decoder;
    const Yuv value = {60, 90, 150};
    Window window(32, 32);
    D3D9Presenter presenter;
    auto surface = decoder.picture(32, 32, [&](int, int) { return value; });
    const auto show = [&] {
        CHECK_EQ(presenter.updateFrame(window.handle, 32, 32, surface.Get(), false), "");
    };
    CHECK_EQ(difference(window, show, uniform(value), kTolerance), "");

    // A reset fails while something of the device is alive, and leaves it as lost.
    D3DPRESENT_PARAMETERS parameters = decoder.presentParameters();
    CHECK_EQ(decoder.device->Reset(&parameters), D3DERR_INVALIDCALL);
    CHECK_EQ(decoder.device->TestCooperativeLevel(), D3DERR_DEVICENOTRESET);
    for (int i = 0; i < 3; ++i) {
        const std::string line = presenter.updateFrame(window.handle, 32, 32, surface.Get(), false);
        CHECK_EQ(line, "d3d9 present err" + std::to_string(D3DERR_DEVICELOST));
    }

    presenter.clear();
    surface.Reset();
    CHECK_EQ(decoder.device->Reset(&parameters), D3D_OK);
    surface = decoder.picture(32, 32, [&](int, int) { return value; });
    CHECK_EQ(difference(window, show, uniform(value), kTolerance), "");
}

TEST_CASE(sixteenWindows_showTheirOwnPictures)
{
    Decoder decoder;
    struct View
    {
        explicit View(int left) : window(32, 32, left) {}
        Window window;
        D3D9Presenter presenter;
        ComPtr<IDirect3DSurface9> surface;
    };
    std::vector<std::unique_ptr<View>> views;
    const auto color = [](size_t i) { return Yuv{40 + 10 * static_cast<int>(i), 90, 150}; };
    for (size_t i = 0; i < 16; ++i) {
        views.push_back(std::make_unique<View>(40 * static_cast<int>(i)));
        views[i]->surface = decoder.picture(32, 32, [&](int, int) { return color(i); });
    }
    const auto showAll = [&] {
        for (const auto &view : views)
            CHECK_EQ(view->presenter.updateFrame(view->window.handle, 32, 32, view->surface.Get(),
                                                 false),
                     "");
    };
    for (size_t i = 0; i < views.size(); ++i)
        CHECK_EQ(difference(views[i]->window, showAll, uniform(color(i)), kTolerance), "");
}

TEST_CASE(twoHundredPresenters_leaveNothingBehind)
{
    Decoder decoder;
    Window window(32, 32);
    const auto surface = decoder.picture(32, 32, [](int, int) { return Yuv{60, 90, 150}; });
    const ULONG before = references(decoder.device.Get());
    const ULONG surfaceBefore = references(surface.Get());
    for (int i = 0; i < 200; ++i) {
        D3D9Presenter presenter;
        CHECK_EQ(presenter.updateFrame(window.handle, 32, 32, surface.Get(), i % 2 == 0), "");
        if (i % 3 == 0)
            presenter.clear();
    }
    CHECK_EQ(references(decoder.device.Get()), before);
    CHECK_EQ(references(surface.Get()), surfaceBefore);
}

WINETEST_MAIN()
