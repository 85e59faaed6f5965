// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <string>

/// Presenters that write down what the widgets ask of them, in the place of those of Windows.

constexpr bool kHasDirect3D = true;

struct HWND__;
typedef HWND__ *HWND;
struct IDirect3DSurface9;
struct ID3D11Texture2D;

struct PresenterRecord
{
    QStringList calls;
    HWND window = nullptr;
    void *data = nullptr;
    std::string answer; ///< the line for the log
};

inline PresenterRecord &presenterRecord()
{
    static PresenterRecord record;
    return record;
}

inline std::string notePicture(const QString &call, HWND window, void *data)
{
    PresenterRecord &record = presenterRecord();
    record.calls << call;
    record.window = window;
    record.data = data;
    return record.answer;
}

class D3D9Presenter
{
public:
    std::string updateFrame(HWND window, int width, int height, IDirect3DSurface9 *data,
                            bool codecChanged)
    {
        return notePicture(
            QStringLiteral("updateFrame %1x%2 %3").arg(width).arg(height).arg(codecChanged), window,
            data);
    }
    std::string updateTextures(HWND window, IDirect3DSurface9 *data, bool codecChanged)
    {
        return notePicture(QStringLiteral("updateTextures %1").arg(codecChanged), window, data);
    }
    std::string presentAgain(HWND window)
    {
        return notePicture(QStringLiteral("presentAgain"), window, presenterRecord().data);
    }
    void clear() { presenterRecord().calls << QStringLiteral("clear"); }
    void setDigitalZoom(bool enable)
    {
        presenterRecord().calls << QStringLiteral("zoom %1").arg(enable);
    }
    void setDigitalZoomRect(double left, double top, double right, double bottom)
    {
        presenterRecord().calls
            << QStringLiteral("zoomRect %1 %2 %3 %4").arg(left).arg(top).arg(right).arg(bottom);
    }
    IDirect3DSurface9 *lastSurface() const
    {
        return static_cast<IDirect3DSurface9 *>(presenterRecord().data);
    }
};

class D3D11Presenter
{
public:
    void updateFrame(HWND window, int width, int height, ID3D11Texture2D *data, int index,
                     bool codecChanged)
    {
        notePicture(QStringLiteral("updateFrame %1x%2 [%3] %4")
                        .arg(width)
                        .arg(height)
                        .arg(index)
                        .arg(codecChanged),
                    window, data);
    }
    void updateTextures(HWND window, ID3D11Texture2D *data, int index, bool codecChanged)
    {
        notePicture(QStringLiteral("updateTextures [%1] %2").arg(index).arg(codecChanged), window,
                    data);
    }
    void clear() { presenterRecord().calls << QStringLiteral("clear"); }
};
