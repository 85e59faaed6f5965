// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/wine/winetest.h"
#include "support/yuvpictures.h"

#include <cstdlib>
#include <functional>

#include <windows.h>

/// Windows of tests, and what is seen on them.
namespace windowpixels {

struct Rgb
{
    int r = 0;
    int g = 0;
    int b = 0;
};

inline std::ostream &operator<<(std::ostream &out, const Rgb &color)
{
    return out << "(" << color.r << ", " << color.g << ", " << color.b << ")";
}

/// Red, green, blue by the coefficients of Y less `lumaOffset`, and of U and V less 128.
struct Conversion
{
    double lumaOffset;
    double y;
    double redV;
    double greenU;
    double greenV;
    double blueU;

    Rgb operator()(const vantratest::Yuv &color) const
    {
        const double luma = y * (color.y - lumaOffset);
        const double u = color.u - 128;
        const double v = color.v - 128;
        return {clamp(luma + redV * v), clamp(luma + greenU * u + greenV * v),
                clamp(luma + blueU * u)};
    }

private:
    static int clamp(double value)
    {
        return value < 0 ? 0 : value > 255 ? 255 : static_cast<int>(value + 0.5);
    }
};

/// Whether this runs with the second backend of Direct3D, which `./test --full` brings.
inline bool isSecondBackend()
{
    const char *backend = std::getenv("VANTRA_D3D_BACKEND");
    return backend && std::string(backend) == "vulkan";
}

/// A visible window without a frame.
class Window
{
public:
    Window(int width, int height, int left = 10, int top = 10)
        : width(width), height(height), left(left), top(top)
    {
        static const bool isRegistered = [] {
            WNDCLASSW windowClass = {};
            windowClass.lpfnWndProc = DefWindowProcW;
            windowClass.hInstance = GetModuleHandleW(nullptr);
            windowClass.lpszClassName = L"vantratest";
            return RegisterClassW(&windowClass) != 0;
        }();
        CHECK(isRegistered);
        handle =
            CreateWindowExW(0, L"vantratest", L"vantratest", WS_POPUP | WS_VISIBLE, left, top,
                            width, height, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        CHECK(handle != nullptr);
    }
    ~Window() { DestroyWindow(handle); }
    Window(const Window &) = delete;
    Window &operator=(const Window &) = delete;

    /// Reads what is on the screen where the window lies, whoever has painted it.
    void grab()
    {
        handleMessages();
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
        info.bmiHeader.biWidth = width;
        info.bmiHeader.biHeight = -height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        info.bmiHeader.biCompression = BI_RGB;
        HDC source = GetDC(nullptr);
        HDC target = CreateCompatibleDC(source);
        void *bits = nullptr;
        HBITMAP bitmap = CreateDIBSection(source, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        HGDIOBJ former = SelectObject(target, bitmap);
        BitBlt(target, 0, 0, width, height, source, left, top, SRCCOPY);
        GdiFlush();
        const auto *from = static_cast<const DWORD *>(bits);
        pixels.assign(from, from + static_cast<size_t>(width) * static_cast<size_t>(height));
        SelectObject(target, former);
        DeleteObject(bitmap);
        DeleteDC(target);
        ReleaseDC(nullptr, source);
    }
    Rgb pixel(int x, int y) const
    {
        const DWORD value =
            pixels.at(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x));
        return {static_cast<int>(value >> 16 & 255), static_cast<int>(value >> 8 & 255),
                static_cast<int>(value & 255)};
    }

    static void handleMessages()
    {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }

    const int width;
    const int height;
    const int left;
    const int top;
    HWND handle = nullptr;

private:
    std::vector<DWORD> pixels;
};

constexpr DWORD kDeadline = 30000; // ms

/// What differs on the window from the colours that `expected` has for each pixel by more than
/// `tolerance` steps; empty if nothing does. `show` presents the picture: again and again until it
/// is there, as what is presented to a window that the window system has not mapped yet is lost.
inline std::string difference(Window &window, const std::function<void()> &show,
                              const std::function<Rgb(int x, int y)> &expected, int tolerance)
{
    std::string text;
    for (const DWORD start = GetTickCount(); GetTickCount() - start < kDeadline; Sleep(2)) {
        show();
        window.grab();
        text.clear();
        for (int i = 0; i < window.width * window.height && text.empty(); ++i) {
            const int x = i % window.width;
            const int y = i / window.width;
            const Rgb is = window.pixel(x, y);
            const Rgb should = expected(x, y);
            if (std::abs(is.r - should.r) > tolerance || std::abs(is.g - should.g) > tolerance ||
                std::abs(is.b - should.b) > tolerance)
                text = winetest::show(is) + " instead of " + winetest::show(should) + " at " +
                       std::to_string(x) + ", " + std::to_string(y);
        }
        if (text.empty())
            break;
    }
    return text;
}

} // namespace windowpixels
