// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/hwdecodequery_p.h"

#include <cstdio>

namespace hwdecode {

std::string failureText(const Outcome &outcome)
{
    switch (outcome.reached) {
    case Step::CreateDirect3D:
        return "Failed to create Direct3D9.";
    case Step::CreateDevice: {
        char text[64];
        std::snprintf(text, sizeof text, "Failed to create Direct3DDevice9. HRESULT=0x%x",
                      static_cast<unsigned int>(outcome.code));
        return text;
    }
    case Step::CreateManager:
        return "Failed to create Direct3D9 Manager9.";
    case Step::ResetManager:
        return "Failed to reset Direct3D9 Manager9.";
    case Step::OpenHandle:
        return "Direct3D9 Manager9 failed to open device handle";
    case Step::GetService:
        return "Direct3D9 Manager9 failed to get video service";
    case Step::GetDecoders:
        return "Device Service failed to get decoder guids";
    case Step::AskSizes:
        break;
    }
    return {};
}

} // namespace hwdecode
