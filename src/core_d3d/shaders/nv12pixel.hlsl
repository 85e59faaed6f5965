// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// NV12 to RGB by ITU-R BT.601, limited range (luma 16 to 235, chroma 16 to 240), whatever the stream
// says of its colours. The OpenGL surfaces use another matrix; both are meant to stay as they are.
// Profile ps_5_0, entry main_PS. See README.md for how it becomes byte code.

Texture2D<float> yChannel : register(t0);
Texture2D<float2> uvChannel : register(t1);
SamplerState splr : register(s0);

float4 main_PS(float2 tex : TEXCOORD) : SV_TARGET
{
    const float3 offset = float3(0.062745f, 0.501960f, 0.501960f); // 16/255, 128/255, 128/255
    const float3x3 toRgb = float3x3(1.164383f, 1.164383f, 1.164383f,  // Y to R, G, B
                                    0.000000f, -0.391762f, 2.017232f, // U
                                    1.596027f, -0.812968f, 0.000000f); // V
    float y = yChannel.Sample(splr, tex);
    float2 uv = uvChannel.Sample(splr, tex);
    float3 yuv = float3(y, uv.x, uv.y) - offset;
    return float4(saturate(mul(yuv, toRgb)), 1.0f);
}
