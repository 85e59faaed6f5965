// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/wine/comfake.h"

struct ID3D11Device;
struct ID3D11DeviceContext;
struct ID3D11Texture2D;

/// Direct3D 11 and DXGI as a presenter sees them, made up: its device with all that it makes there,
/// and a decoder's texture array with the device that it belongs to. All calls go to the journal.
class FakeDirect3D11
{
public:
    FakeDirect3D11();

    ID3D11Device *ownDevice() { return device.as<ID3D11Device>(); }
    ID3D11DeviceContext *ownContext() { return context.as<ID3D11DeviceContext>(); }
    ID3D11Texture2D *decoderTexture() { return texture.as<ID3D11Texture2D>(); }
    /// How many references somebody else holds to any of the objects.
    int foreignReferences() const;

    comfake::Journal journal;

    /// Of the decoder's texture: NV12, so many slices.
    unsigned textureWidth = 64;
    unsigned textureHeight = 48;
    unsigned textureSlices = 4;
    unsigned textureFormat = 103;
    /// Of the swap chain's buffers, as created or resized.
    unsigned bufferWidth = 0;
    unsigned bufferHeight = 0;
    uintptr_t sharedHandle = 100; ///< of the last shared texture; the next one's is one more
    float mapped[16] = {};        ///< what lies in the constant buffer

    comfake::Object device{journal, "device"};
    comfake::Object context{journal, "context"};
    comfake::Object dxgiDevice{journal, "dxgiDevice"};
    comfake::Object adapter{journal, "adapter"};
    comfake::Object factory{journal, "factory"};
    comfake::Object chain{journal, "chain"};
    comfake::Object vertexBuffer{journal, "vertexBuffer"};
    comfake::Object indexBuffer{journal, "indexBuffer"};
    comfake::Object constantBuffer{journal, "constantBuffer"};
    comfake::Object inputLayout{journal, "inputLayout"};
    comfake::Object vertexShader{journal, "vertexShader"};
    comfake::Object sharedTexture{journal, "sharedTexture"};
    comfake::Object resource{journal, "resource"};
    comfake::Object yView{journal, "yView"};
    comfake::Object uvView{journal, "uvView"};
    comfake::Object sampler{journal, "sampler"};
    comfake::Object pixelShader{journal, "pixelShader"};
    comfake::Object backBuffer{journal, "backBuffer"};
    comfake::Object target{journal, "target"};
    comfake::Object texture{journal, "texture"};
    comfake::Object decoderDevice{journal, "decoderDevice"};
    comfake::Object decoderContext{journal, "decoderContext"};
    comfake::Object opened{journal, "opened"};

private:
    void setCreation();
    void setPipeline();
    void setSwapChain();
    void setDecoder();
};
