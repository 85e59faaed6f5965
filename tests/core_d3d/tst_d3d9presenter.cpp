// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What the presenter asks of Direct3D 9, in which order and with what, and what it says when a call
// fails: over made-up objects. tst_d3d9pictures looks at the pictures.

#include "core_d3d/d3d9presenter_p.h"

#include "core_d3d/d3d9fakes.h"

#include <limits>

namespace {

const HWND kWindow = reinterpret_cast<HWND>(4711);

struct Stage
{
    // A picture that goes well; the calls are then forgotten.
    void showOne(int width, int height)
    {
        CHECK_EQ(presenter.updateFrame(kWindow, width, height, surface, false), "");
        direct3D.journal.take();
    }

    FakeDirect3D9 direct3D;
    IDirect3DSurface9 *surface = direct3D.decoderSurface();
    D3D9Presenter presenter;
};

const char kMakeChain[] =
    "device.GetSwapChain(0)\n"
    "implicitChain.GetPresentParameters\n"
    "device.CreateAdditionalSwapChain(64x48 format 22 count 1 samples 4/5 effect 1 window 4711 "
    "windowed 1 depth 1/80 flags 0 rate 7 interval 2)\n"
    "implicitChain.Release\n";

std::string drawing(const std::string &source)
{
    return "device.BeginScene\n"
           "chain.GetBackBuffer(0 type 0)\n"
           "device.StretchRect(surface " +
           source +
           ", backBuffer whole, filter 2)\n"
           "device.EndScene\n"
           "chain.Present\n"
           "backBuffer.Release\n"
           "device.Release\n";
}

std::string line(const char *text, HRESULT code)
{
    return text + std::to_string(code);
}

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

// What a failing call is answered, the calls that follow it, and what is said.
void checkFailure(const char *function, bool chainExists, const std::string &error,
                  const std::string &calls)
{
    Stage stage;
    if (chainExists)
        stage.showOne(64, 48);
    stage.direct3D.journal.answers[function] = D3DERR_DEVICELOST;
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, false), error);
    CHECK_EQ(stage.direct3D.journal.take(), calls);
    CHECK_EQ(stage.direct3D.foreignReferences(), stage.presenter.currentSwapChain() ? 1 : 0);

    // Nothing is kept of the failure: the next picture starts over.
    stage.direct3D.journal.answers.clear();
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, false), "");
    CHECK_EQ(stage.direct3D.journal.take().find(drawing("0 0 64 48")) != std::string::npos, true);
}

} // namespace

TEST_CASE(aFirstPicture_makesTheSwapChain_stretches_andPresents)
{
    Stage stage;
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, false), "");
    CHECK_EQ(stage.direct3D.journal.take(),
             std::string("surface.GetDevice\n") + kMakeChain + drawing("0 0 64 48"));
    CHECK_EQ(stage.direct3D.surface.references, 1); // none is taken
    CHECK_EQ(stage.direct3D.chain.references, 2);   // the only thing that is kept
    CHECK_EQ(stage.direct3D.foreignReferences(), 1);
    CHECK(stage.presenter.lastSurface() == stage.surface);
}

TEST_CASE(aSecondPicture_usesTheSameSwapChain)
{
    Stage stage;
    stage.showOne(64, 48);
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, false), "");
    CHECK_EQ(stage.direct3D.journal.take(), "surface.GetDevice\n" + drawing("0 0 64 48"));
}

TEST_CASE(anotherCodec_makesTheSwapChainAnew)
{
    Stage stage;
    stage.showOne(64, 48);
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, true), "");
    CHECK_EQ(stage.direct3D.journal.take(),
             std::string("surface.GetDevice\nchain.Release\n") + kMakeChain + drawing("0 0 64 48"));
    CHECK_EQ(stage.direct3D.foreignReferences(), 1);
}

TEST_CASE(anotherSize_makesTheSwapChainAnew)
{
    for (const auto &other : {std::make_pair(64, 32), std::make_pair(32, 48)}) {
        Stage stage;
        stage.showOne(other.first, other.second);
        CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, false), "");
        CHECK_EQ(stage.direct3D.journal.take(), std::string("surface.GetDevice\nchain.Release\n") +
                                                    kMakeChain + drawing("0 0 64 48"));
    }
}

TEST_CASE(anOddSize_dropsTheLastColumnAndRow)
{
    Stage stage;
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 65, 49, stage.surface, false), "");
    const std::string calls = stage.direct3D.journal.take();
    CHECK_TEXT(calls.find("CreateAdditionalSwapChain(65x49 ") != std::string::npos, calls);
    CHECK_TEXT(calls.find(drawing("0 0 64 48")) != std::string::npos, calls);
}

TEST_CASE(aZoomRectangle_isRoundedDownToEvenEdges)
{
    D3D9Presenter presenter;
    presenter.setDigitalZoom(true);
    const auto edges = [&presenter](double left, double top, double right, double bottom) {
        presenter.setDigitalZoomRect(left, top, right, bottom);
        const RECT rect = presenter.sourceRect();
        return std::to_string(rect.left) + " " + std::to_string(rect.top) + " " +
               std::to_string(rect.right) + " " + std::to_string(rect.bottom);
    };
    CHECK_EQ(edges(11, 21, 101, 201), "10 20 100 200");
    CHECK_EQ(edges(10, 20, 100, 200), "10 20 100 200");
    CHECK_EQ(edges(11.999, 0.5, 99.99, 2), "10 0 98 2");
    CHECK_EQ(edges(-0.5, -1, -2, -3), "-2 -2 -2 -4"); // down, not towards nothing
    // What is no edge of any picture stays a number.
    const double none = std::numeric_limits<double>::quiet_NaN();
    const double endless = std::numeric_limits<double>::infinity();
    CHECK_EQ(edges(none, -endless, endless, 1e300), "0 0 16777216 16777216");
}

TEST_CASE(zoom_takesItsRectangle_untilItIsSwitchedOff)
{
    Stage stage;
    stage.showOne(640, 360);
    stage.presenter.setDigitalZoomRect(11, 21, 101, 201);
    CHECK_EQ(stage.direct3D.journal.take(), ""); // seen with the next picture
    stage.presenter.updateFrame(kWindow, 640, 360, stage.surface, false);
    CHECK_EQ(stage.direct3D.journal.take(), "surface.GetDevice\n" + drawing("0 0 640 360"));
    stage.presenter.setDigitalZoom(true);
    stage.presenter.updateFrame(kWindow, 640, 360, stage.surface, false);
    CHECK_EQ(stage.direct3D.journal.take(), "surface.GetDevice\n" + drawing("10 20 100 200"));
    stage.presenter.setDigitalZoom(false);
    stage.presenter.updateFrame(kWindow, 640, 360, stage.surface, false);
    CHECK_EQ(stage.direct3D.journal.take(), "surface.GetDevice\n" + drawing("0 0 640 360"));
}

TEST_CASE(aNullSurface_changesNothing)
{
    Stage stage;
    CHECK_EQ(stage.presenter.updateTextures(kWindow, nullptr, true), "");
    CHECK(stage.presenter.lastSurface() == nullptr);
    stage.showOne(64, 48);
    CHECK_EQ(stage.presenter.updateTextures(kWindow, nullptr, true), "");
    CHECK_EQ(stage.direct3D.journal.take(), "");
    CHECK(stage.presenter.lastSurface() == stage.surface);
    CHECK(stage.presenter.currentSwapChain() != nullptr);
}

TEST_CASE(presentAgain_showsTheLastSurface)
{
    Stage stage;
    CHECK_EQ(stage.presenter.presentAgain(kWindow), "");
    CHECK_EQ(stage.direct3D.journal.take(), ""); // there was none
    stage.showOne(64, 48);
    CHECK_EQ(stage.presenter.presentAgain(kWindow), "");
    CHECK_EQ(stage.direct3D.journal.take(), "surface.GetDevice\n" + drawing("0 0 64 48"));
    stage.presenter.clear();
    stage.direct3D.journal.take();
    CHECK_EQ(stage.presenter.presentAgain(kWindow), "");
    CHECK_EQ(stage.direct3D.journal.take(), "");
}

TEST_CASE(clear_forgetsTheSurface_andReleasesTheSwapChain)
{
    Stage stage;
    stage.showOne(64, 48);
    stage.presenter.clear();
    CHECK_EQ(stage.direct3D.journal.take(), "chain.Release\n"); // nothing is presented
    CHECK(stage.presenter.lastSurface() == nullptr);
    CHECK_EQ(stage.direct3D.foreignReferences(), 0);
    stage.presenter.clear();
    CHECK_EQ(stage.direct3D.journal.take(), "");
    // The size is gone too, so that the next picture makes the swap chain of its own.
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, false), "");
    CHECK_EQ(stage.direct3D.journal.take(),
             std::string("surface.GetDevice\n") + kMakeChain + drawing("0 0 64 48"));

    // Also where the picture comes without its size: in both directions.
    stage.presenter.clear();
    stage.direct3D.journal.take();
    stage.presenter.updateTextures(kWindow, stage.surface, false);
    const std::string calls = stage.direct3D.journal.take();
    CHECK_TEXT(contains(calls, "device.CreateAdditionalSwapChain(0x0 "), calls);
    CHECK_TEXT(contains(calls, "device.StretchRect(surface 0 0 0 0,"), calls);
}

TEST_CASE(theEnd_releasesTheSwapChain)
{
    FakeDirect3D9 direct3D;
    {
        D3D9Presenter presenter;
        CHECK_EQ(presenter.updateFrame(kWindow, 64, 48, direct3D.decoderSurface(), false), "");
        CHECK_EQ(direct3D.chain.references, 2);
    }
    CHECK_EQ(direct3D.foreignReferences(), 0);
}

// --- Each call that can fail, here as on a lost device
// --------------------------------------------

TEST_CASE(noDevice_isTold)
{
    checkFailure("GetDevice", false, line("d3d9 get device err", D3DERR_DEVICELOST),
                 "surface.GetDevice\n");
}

TEST_CASE(noImplicitSwapChain_isTold)
{
    checkFailure("GetSwapChain", false, line("d3d9 get swap chain err", D3DERR_DEVICELOST),
                 "surface.GetDevice\ndevice.GetSwapChain(0)\ndevice.Release\n");
}

TEST_CASE(noPresentParameters_areTold)
{
    checkFailure("GetPresentParameters", false,
                 line("d3d9 get present param err", D3DERR_DEVICELOST),
                 "surface.GetDevice\ndevice.GetSwapChain(0)\nimplicitChain.GetPresentParameters\n"
                 "implicitChain.Release\ndevice.Release\n");
}

TEST_CASE(noAdditionalSwapChain_isTold_withoutTheCode)
{
    checkFailure("CreateAdditionalSwapChain", false, "create additional swap chain err ",
                 std::string("surface.GetDevice\n") + kMakeChain + "device.Release\n");
}

TEST_CASE(noBackBuffer_isTold_andEndsTheScene)
{
    checkFailure("GetBackBuffer", true, line("d3d9 get back buffer err", D3DERR_DEVICELOST),
                 "surface.GetDevice\ndevice.BeginScene\nchain.GetBackBuffer(0 type 0)\n"
                 "device.EndScene\ndevice.Release\n");
}

TEST_CASE(aFailingStretch_isTold_andNothingIsPresented)
{
    checkFailure("StretchRect", true, line("d3d9 stretch rect err", D3DERR_DEVICELOST),
                 "surface.GetDevice\ndevice.BeginScene\nchain.GetBackBuffer(0 type 0)\n"
                 "device.StretchRect(surface 0 0 64 48, backBuffer whole, filter 2)\n"
                 "device.EndScene\nbackBuffer.Release\ndevice.Release\n");
}

TEST_CASE(aFailingPresent_isTold)
{
    checkFailure("Present", true, line("d3d9 present err", D3DERR_DEVICELOST),
                 "surface.GetDevice\n" + drawing("0 0 64 48"));
}

TEST_CASE(aSceneThatDoesNotBegin_isNoFailure)
{
    Stage stage;
    stage.direct3D.journal.answers["BeginScene"] = D3DERR_INVALIDCALL;
    stage.direct3D.journal.answers["EndScene"] = D3DERR_INVALIDCALL;
    CHECK_EQ(stage.presenter.updateFrame(kWindow, 64, 48, stage.surface, false), "");
    CHECK_EQ(stage.direct3D.journal.take(),
             std::string("surface.GetDevice\n") + kMakeChain + drawing("0 0 64 48"));
}

TEST_CASE(theCodeInALine_isDecimal)
{
    FakeDirect3D9 direct3D;
    direct3D.journal.answers["GetDevice"] = E_FAIL;
    D3D9Presenter presenter;
    CHECK_EQ(presenter.updateFrame(kWindow, 64, 48, direct3D.decoderSurface(), false),
             "d3d9 get device err-2147467259");
    CHECK(presenter.lastSurface() == direct3D.decoderSurface()); // stored before the first call
}

WINETEST_MAIN()
