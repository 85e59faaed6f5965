// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// How HwDecodeSolution asks the machine what its video card decodes. Free of Qt, as is the query
/// behind it on Windows, which so can be built and run by itself.
namespace hwdecode {

/// Of a picture, in pixels.
struct Size
{
    int width;
    int height;
};

/// What a query does, in this order; each step needs all before it.
enum class Step {
    CreateDirect3D,
    CreateDevice,
    CreateManager,
    ResetManager,
    OpenHandle,
    GetService,
    GetDecoders,
    AskSizes ///< cannot fail: a size that is refused is not supported
};

/// How far a query came. A failed step ends it, and none of its sizes has been asked for.
struct Outcome
{
    Step reached = Step::AskSizes;
    uint32_t code = 0; ///< of a failed CreateDevice, the HRESULT; else unused

    bool isFailure() const { return reached != Step::AskSizes; }
};

/// The line of the log for a query that has failed.
std::string failureText(const Outcome &outcome);

/// Told, while the query runs and on its thread, that the card decodes `codec` ("H264" or "H265")
/// at this size; more than once if several of its decoders do.
using Found = std::function<void(const char *codec, Size size)>;

/// Asks the card for each of the sizes. May run on several threads at once.
using Query = std::function<Outcome(const std::vector<Size> &sizes, const Found &found)>;

/// Puts another query in force and returns the one before; for tests. An empty one stands for a
/// machine on which there is nothing to ask, as the machine's own does where there is no DXVA2. Any
/// thread; queries that are running end by themselves.
Query exchangeQuery(Query query);

} // namespace hwdecode
