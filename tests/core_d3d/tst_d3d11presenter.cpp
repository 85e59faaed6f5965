// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What the presenter asks of Direct3D 11 and DXGI, in which order and with what, and what it does
// when a call fails: over made-up objects. tst_d3d11pictures looks at the pictures.

#include "core_d3d/d3d11presenter_p.h"

#include "core_d3d/d3d11fakes.h"

namespace {

const HWND kWindow = reinterpret_cast<HWND>(4711);

const char kBuild[] =
    "device.QueryInterface(device)\n"
    "dxgiDevice.GetParent(adapter)\n"
    "adapter.GetParent(factory)\n"
    "factory.CreateSwapChainForHwnd(device window 4711 size 64 48 format 24 stereo 0 samples 1 0 "
    "usage 32 count 2 scaling 0 effect 3 alpha 0 flags 0 windowed on any output)\n"
    "chain.QueryInterface(chain)\n"
    "device.CreateBuffer(vertex 80 usage 0 bind 1 access 0 misc 0 stride 20 content "
    "-1 1 0 0 0 1 1 0 1 0 1 -1 0 1 1 -1 -1 0 0 1)\n"
    "device.CreateBuffer(index 12 usage 0 bind 2 access 0 misc 0 stride 0 content 0 1 2 0 2 3)\n"
    "device.CreateBuffer(constant 64 usage 2 bind 4 access 65536 misc 0 stride 0 content "
    "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1)\n"
    "device.CreateInputLayout(2 POSITION 0 format 6 slot 0 byte 0 class 0 0 "
    "TEXCOORD 0 format 16 slot 0 byte 12 class 0 0)\n"
    "device.CreateVertexShader\n"
    "device.CreateTexture2D(size 64 48 mips 1 slices 1 format 103 samples 1 0 usage 0 bind 8 "
    "access 0 misc 2 empty)\n"
    "sharedTexture.QueryInterface(sharedTexture)\n"
    "resource.GetSharedHandle\n"
    "sharedTexture.GetDesc\n"
    "device.CreateShaderResourceView(y sharedTexture format 61 dimension 4 mips 0 1)\n"
    "device.CreateShaderResourceView(uv sharedTexture format 49 dimension 4 mips 0 1)\n"
    "device.CreateSamplerState(filter 85 wrap 1 1 1 bias 0 anisotropy 16 comparison 0 "
    "border 0 0 0 0 lod 0 0)\n"
    "device.CreatePixelShader\n";

std::string copying(uintptr_t handle, int slice, const std::string &part = "whole")
{
    return "texture.GetDesc\n"
           "texture.GetDevice\n"
           "decoderDevice.GetImmediateContext\n"
           "decoderDevice.OpenSharedResource(" +
           std::to_string(handle) +
           ")\n"
           "decoderContext.CopySubresourceRegion(opened 0 at 0 0 0 texture " +
           std::to_string(slice) + " " + part +
           ")\n"
           "decoderContext.Flush\n";
}

const char kPipeline[] = "context.IASetVertexBuffers(0 1 vertexBuffer stride 20 offset 0)\n"
                         "context.IASetIndexBuffer(indexBuffer format 57 offset 0)\n"
                         "context.IASetPrimitiveTopology(4)\n"
                         "context.IASetInputLayout(inputLayout)\n"
                         "context.Map(constantBuffer 0 4 0)\n"
                         "context.Unmap(constantBuffer 0 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1)\n"
                         "context.VSSetConstantBuffers(0 1 constantBuffer)\n"
                         "context.VSSetShader(vertexShader 0)\n"
                         "context.RSSetViewports(1 0 0 64 48 depth 0 1)\n"
                         "context.PSSetShader(pixelShader 0)\n"
                         "context.PSSetShaderResources(0 2 yView uvView)\n"
                         "context.PSSetSamplers(0 1 sampler)\n";

const char kDrawing[] = "chain.GetBuffer(0)\n"
                        "backBuffer.GetDesc\n"
                        "device.CreateRenderTargetView(backBuffer format 24 dimension 4 mip 0)\n"
                        "context.OMSetRenderTargets(1 target null)\n"
                        "context.ClearRenderTargetView(target 0 0 0 1)\n"
                        "context.DrawIndexed(6 0 0)\n"
                        "chain.Present(0 0)\n";

const std::string kDraw = std::string(kPipeline) + "chain.GetDesc\n" + kDrawing;

// Everything that a built presenter holds: 11 objects of its own, the device and its context.
constexpr int kBuiltReferences = 13;
constexpr int kIdleReferences = 2;

struct Stage
{
    void show(int width = 64, int height = 48, bool codecChanged = false)
    {
        presenter.updateFrame(kWindow, width, height, texture, slice, codecChanged);
    }
    // The calls since the last time, without what was let go of.
    std::string calls()
    {
        direct3D.journal.takeReleases();
        return direct3D.journal.take();
    }
    void showOne()
    {
        show();
        calls();
    }

    FakeDirect3D11 direct3D;
    ID3D11Texture2D *texture = direct3D.decoderTexture();
    int slice = 2;
    D3D11Presenter presenter{direct3D.ownDevice(), direct3D.ownContext()};
};

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_CASE(aFirstPicture_buildsAll_copies_andDraws)
{
    Stage stage;
    stage.show();
    CHECK_EQ(stage.calls(), kBuild + copying(101, 2) + kDraw);
    CHECK_EQ(stage.direct3D.foreignReferences(), kBuiltReferences);
    CHECK_EQ(stage.direct3D.texture.references, 1); // the decoder's things are only used
    CHECK_EQ(stage.direct3D.decoderDevice.references, 1);
    CHECK_EQ(stage.direct3D.decoderContext.references, 1);
    CHECK_EQ(stage.direct3D.opened.references, 1);
}

TEST_CASE(whatWasOpened_isReleasedAfterTheDraw)
{
    Stage stage;
    stage.showOne();
    stage.show();
    const std::string calls = stage.direct3D.journal.take();
    CHECK_TEXT(contains(calls, "chain.Present(0 0)\n"
                               "target.Release\n"
                               "backBuffer.Release\n"
                               "opened.Release\n"),
               calls);
}

TEST_CASE(aSecondPicture_isOnlyCopiedAndDrawn)
{
    Stage stage;
    stage.showOne();
    stage.slice = 3;
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 3) + kDraw);
    CHECK_EQ(stage.direct3D.foreignReferences(), kBuiltReferences);
}

TEST_CASE(anotherCodec_buildsAllAnew)
{
    Stage stage;
    stage.showOne();
    stage.show(64, 48, true);
    CHECK_EQ(stage.calls(), kBuild + copying(102, 2) + kDraw);
    CHECK_EQ(stage.direct3D.foreignReferences(), kBuiltReferences);
}

TEST_CASE(anotherSize_buildsAllAnew_withAnotherSharedHandle)
{
    for (const auto &other : {std::make_pair(64, 32), std::make_pair(32, 48)}) {
        Stage stage;
        stage.show(other.first, other.second);
        stage.calls();
        const HANDLE former = stage.presenter.currentSharedHandle();
        stage.show();
        CHECK_EQ(stage.calls(), kBuild + copying(102, 2) + kDraw);
        CHECK(stage.presenter.currentSharedHandle() != former);
    }
}

TEST_CASE(aRebuild_releasesEachOldObjectBeforeItsNewOne)
{
    Stage stage;
    stage.showOne();
    stage.show(64, 48, true);
    const std::string calls = stage.direct3D.journal.take();
    const std::pair<const char *, const char *> pairs[] = {
        {"chain.Release", "factory.CreateSwapChainForHwnd"},
        {"vertexBuffer.Release", "device.CreateBuffer(vertex"},
        {"indexBuffer.Release", "device.CreateBuffer(index"},
        {"constantBuffer.Release", "device.CreateBuffer(constant"},
        {"inputLayout.Release", "device.CreateInputLayout"},
        {"vertexShader.Release", "device.CreateVertexShader"},
        {"sharedTexture.Release", "device.CreateTexture2D"},
        {"yView.Release", "device.CreateShaderResourceView(y "},
        {"uvView.Release", "device.CreateShaderResourceView(uv "},
        {"sampler.Release", "device.CreateSamplerState"},
        {"pixelShader.Release", "device.CreatePixelShader"}};
    for (const auto &pair : pairs)
        CHECK_TEXT(calls.find(pair.first) < calls.find(pair.second),
                   std::string(pair.first) + " in\n" + calls);
}

TEST_CASE(clear_releasesTheSwapChainOnly_andTheNextPictureBuildsAll)
{
    Stage stage;
    stage.showOne();
    stage.presenter.clear();
    CHECK_EQ(stage.direct3D.journal.take(), "chain.Release\n");
    CHECK_EQ(stage.direct3D.foreignReferences(), kBuiltReferences - 1);
    CHECK(stage.presenter.currentSwapChain() == nullptr);
    stage.show();
    CHECK_EQ(stage.calls(), kBuild + copying(102, 2) + kDraw);

    // Also where the picture comes without its size, which is forgotten.
    stage.presenter.clear();
    stage.calls();
    stage.presenter.updateTextures(kWindow, stage.texture, 2, false);
    CHECK_TEXT(contains(stage.direct3D.journal.take(), "size 0 0"), "");
}

TEST_CASE(updateTextures_keepsTheSize)
{
    Stage stage;
    stage.showOne();
    stage.presenter.updateTextures(kWindow, stage.texture, 1, false);
    CHECK_EQ(stage.calls(), copying(101, 1) + kDraw);
    stage.presenter.updateTextures(kWindow, stage.texture, 1, true);
    CHECK_EQ(stage.calls(), kBuild + copying(102, 1) + kDraw);
}

TEST_CASE(theEnd_releasesAll_theDeviceAfterItsObjects_theSwapChainLast)
{
    FakeDirect3D11 direct3D;
    {
        D3D11Presenter presenter(direct3D.ownDevice(), direct3D.ownContext());
        presenter.updateFrame(kWindow, 64, 48, direct3D.decoderTexture(), 0, false);
        direct3D.journal.take();
    }
    CHECK_EQ(direct3D.journal.takeReleases(),
             "pixelShader sampler uvView yView sharedTexture vertexShader inputLayout "
             "constantBuffer indexBuffer vertexBuffer context device chain ");
    CHECK_EQ(direct3D.foreignReferences(), 0);
}

TEST_CASE(aSwapChainOfAnotherSize_isResized)
{
    Stage stage;
    stage.showOne();
    stage.direct3D.bufferWidth = 32;
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 2) + kPipeline + "chain.GetDesc\n" +
                                "chain.ResizeBuffers(2 64 48 24 8)\n" + kDrawing);
    stage.direct3D.bufferHeight = 32;
    stage.show();
    CHECK_TEXT(contains(stage.calls(), "chain.ResizeBuffers(2 64 48 24 8)\n"), "");
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 2) + kDraw);
}

TEST_CASE(withoutADevice_picturesAreIgnored)
{
    FakeDirect3D11 direct3D;
    D3D11Presenter neither(nullptr, nullptr);
    D3D11Presenter noContext(direct3D.ownDevice(), nullptr);
    D3D11Presenter noDevice(nullptr, direct3D.ownContext());
    for (D3D11Presenter *presenter : {&neither, &noContext, &noDevice}) {
        presenter->updateFrame(kWindow, 64, 48, direct3D.decoderTexture(), 0, true);
        presenter->updateTextures(kWindow, direct3D.decoderTexture(), 0, true);
        presenter->clear();
    }
    CHECK_EQ(direct3D.journal.take(), "");
}

TEST_CASE(aNullTexture_changesNothing)
{
    Stage stage;
    stage.presenter.updateTextures(kWindow, nullptr, 0, true);
    CHECK_EQ(stage.direct3D.journal.take(), "");
    stage.showOne();
    stage.presenter.updateTextures(kWindow, nullptr, 0, true);
    CHECK_EQ(stage.direct3D.journal.take(), "");

    // Its size does not count either: what is shared has to be as large as what is copied into it.
    stage.presenter.updateFrame(kWindow, 128, 96, nullptr, 0, false);
    CHECK_EQ(stage.direct3D.journal.take(), "");
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 2) + kDraw);
    stage.presenter.updateFrame(kWindow, 128, 96, nullptr, 0, false);
    stage.show(128, 96);
    CHECK_TEXT(contains(stage.calls(), "device.CreateTexture2D(size 128 96 "), "");
}

// --- What a hostile stream or driver brings
// -------------------------------------------------------

TEST_CASE(aPaddedTexture_isCopiedByTheSizeOfThePicture)
{
    Stage stage;
    stage.direct3D.textureHeight = 64; // as a decoder aligns it
    stage.show();
    CHECK_EQ(stage.calls(), kBuild + copying(101, 2, "box 0 0 0 64 48 1") + kDraw);
    stage.direct3D.textureHeight = 48;
    stage.direct3D.textureWidth = 128;
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 2, "box 0 0 0 64 48 1") + kDraw);
    stage.direct3D.textureWidth = 32; // smaller than the picture: all of it fits
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 2) + kDraw);
    stage.direct3D.textureWidth = 128; // larger in one direction, smaller in the other
    stage.direct3D.textureHeight = 32;
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 2, "box 0 0 0 64 32 1") + kDraw);
    stage.direct3D.textureWidth = 32;
    stage.direct3D.textureHeight = 64;
    stage.show();
    CHECK_EQ(stage.calls(), copying(101, 2, "box 0 0 0 32 48 1") + kDraw);
}

TEST_CASE(aSliceBeyondTheArray_isNeitherCopiedNorDrawn)
{
    for (const int slice : {-1, 4, 1000}) {
        Stage stage;
        stage.showOne();
        stage.slice = slice;
        stage.show();
        const std::string calls = stage.calls();
        CHECK_TEXT(!contains(calls, "CopySubresourceRegion"), calls);
        CHECK_TEXT(!contains(calls, "Present"), calls);
        stage.slice = 3;
        stage.show();
        CHECK_EQ(stage.calls(), copying(101, 3) + kDraw);
    }
}

TEST_CASE(aTextureOfAnotherFormat_isNeitherCopiedNorDrawn)
{
    Stage stage;
    stage.direct3D.textureFormat = DXGI_FORMAT_P010;
    stage.show();
    const std::string calls = stage.calls();
    CHECK_TEXT(!contains(calls, "CopySubresourceRegion"), calls);
    CHECK_TEXT(!contains(calls, "Present"), calls);
}

// Nothing of it is told, and the next picture builds all that counts anew.
TEST_CASE(whatCannotBeMade_isMadeWithTheNextPicture)
{
    const char *const functions[] = {
        "QueryInterface device",  "GetParent adapter",          "GetParent factory",
        "CreateSwapChainForHwnd", "QueryInterface chain",       "CreateBuffer vertex",
        "CreateBuffer index",     "CreateInputLayout",          "CreateVertexShader",
        "CreateTexture2D",        "CreateShaderResourceView y", "CreateShaderResourceView uv",
        "CreateSamplerState",     "CreatePixelShader"};
    for (const char *function : functions) {
        Stage stage;
        stage.direct3D.journal.answers[function] = DXGI_ERROR_DEVICE_REMOVED;
        stage.show();
        stage.direct3D.journal.answers.clear();
        stage.calls();
        stage.show();
        const std::string calls = stage.calls();
        CHECK_TEXT(contains(calls, "device.CreatePixelShader\n"), std::string(function) + calls);
        CHECK_TEXT(contains(calls, kDraw), std::string(function) + calls);
        CHECK_EQ(stage.direct3D.foreignReferences(), kBuiltReferences);
    }
}

TEST_CASE(aConstantBufferThatCannotBeMade_isNotMadeAgain)
{
    Stage stage;
    stage.direct3D.journal.answers["CreateBuffer constant"] = E_OUTOFMEMORY;
    stage.show();
    stage.direct3D.journal.answers.clear();
    stage.calls();
    stage.show();
    const std::string calls = stage.calls();
    CHECK_TEXT(!contains(calls, "CreateBuffer"), calls);
    CHECK_TEXT(!contains(calls, "Map"), calls); // nothing to write to
    CHECK_TEXT(contains(calls, "VSSetConstantBuffers(0 1 null)"), calls);
    CHECK_TEXT(contains(calls, kDrawing), calls);
}

TEST_CASE(whatCannotBeShared_isNotDrawn)
{
    for (const char *function : {"GetSharedHandle", "QueryInterface sharedTexture",
                                 "OpenSharedResource", "GetDevice", "GetImmediateContext"}) {
        Stage stage;
        stage.showOne();
        stage.direct3D.journal.answers[function] = E_FAIL;
        // Without a handle nothing can be opened.
        if (std::string(function) == "GetSharedHandle" || function[0] == 'Q')
            stage.direct3D.journal.answers["OpenSharedResource 0"] = E_INVALIDARG;
        stage.show(64, 48, true);
        const std::string calls = stage.calls();
        CHECK_TEXT(!contains(calls, "CopySubresourceRegion"), calls);
        CHECK_TEXT(!contains(calls, "Present"), calls);
        CHECK_EQ(stage.direct3D.foreignReferences(), kBuiltReferences);
    }
}

TEST_CASE(aFailingDraw_leavesThePictureOut)
{
    for (const char *function : {"Map", "GetBuffer", "CreateRenderTargetView", "Present"}) {
        Stage stage;
        stage.showOne();
        stage.direct3D.journal.answers[function] = DXGI_ERROR_DEVICE_REMOVED;
        stage.show();
        stage.calls();
        CHECK_EQ(stage.direct3D.foreignReferences(), kBuiltReferences);
        stage.direct3D.journal.answers.clear();
        stage.show();
        CHECK_EQ(stage.calls(), copying(101, 2) + kDraw);
    }
}

TEST_CASE(aRemovedDevice_isTriedAgainWithEachPicture)
{
    Stage stage;
    stage.showOne();
    for (const char *function :
         {"QueryInterface device", "CreateBuffer", "CreateInputLayout", "CreateVertexShader",
          "CreateTexture2D", "CreateShaderResourceView", "CreateSamplerState", "CreatePixelShader",
          "CreateRenderTargetView", "GetBuffer", "Map", "Present"})
        stage.direct3D.journal.answers[function] = DXGI_ERROR_DEVICE_REMOVED;
    stage.direct3D.journal.answers["OpenSharedResource 0"] = E_INVALIDARG;
    for (int i = 0; i < 3; ++i) {
        stage.show(64, 48, i == 0);
        CHECK_TEXT(contains(stage.calls(), "device.QueryInterface"), "");
    }
    CHECK_EQ(stage.direct3D.foreignReferences(), kIdleReferences);
    stage.direct3D.journal.answers.clear();
    stage.show();
    CHECK_EQ(stage.calls(), kBuild + copying(102, 2) + kDraw);
}

WINETEST_MAIN()
