// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/wine/comfake.h"

struct IDirect3DSurface9;

/// Direct3D 9 as a presenter sees it, made up: a decoder's surface, its device with the implicit
/// swap chain and one additional one, and the back buffer of that. All calls go to the journal.
class FakeDirect3D9
{
public:
    FakeDirect3D9();

    IDirect3DSurface9 *decoderSurface() { return surface.as<IDirect3DSurface9>(); }
    /// How many references somebody else holds to any of the objects.
    int foreignReferences() const;

    comfake::Journal journal;
    comfake::Object surface{journal, "surface"};
    comfake::Object device{journal, "device"};
    comfake::Object implicitChain{journal, "implicitChain"};
    comfake::Object chain{journal, "chain"};
    comfake::Object backBuffer{journal, "backBuffer"};
};
