// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Places the corners of the picture in the window and hands its texture coordinates on.
// Profile vs_5_0, entry main_VS. See README.md for how it becomes byte code.

cbuffer CBuf : register(b0)
{
    matrix transform;
};

struct VSOut
{
    float2 tex : TEXCOORD;
    float4 pos : SV_POSITION;
};

VSOut main_VS(float3 pos : POSITION, float2 tex : TEXCOORD)
{
    VSOut vsout;
    vsout.pos = mul(float4(pos.x, pos.y, pos.z, 1.0f), transform);
    vsout.tex = tex;
    return vsout;
}
