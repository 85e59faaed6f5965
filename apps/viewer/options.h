// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "cameraaddress.h"
#include "pagetabs.h"

#include <QStringList>
#include <QVector>

/// A camera by its addresses.
struct CameraOption
{
    CameraAddress main;
    CameraAddress sub; ///< of a smaller picture; not valid: there is none

    /// Reads "MAIN" or "MAIN,SUB". A comma parts the two only where an address follows it, for
    /// addresses may hold commas. As CameraAddress::parse().
    static CameraOption parse(const QString &text, QString *error);
};

/// What the command line asks for.
struct Options
{
    enum class Action {
        Run,
        ShowHelp,    ///< print `message` and end with 0
        ShowVersion, ///< likewise
        Refuse,      ///< print `message` as an error and end with 2
    };

    Action action = Action::Run;
    QString message;
    QVector<CameraOption> cameras;
    bool simulate = false;                ///< add devices that need not be there
    PageTabs::Page page = PageTabs::Live; ///< the one that is shown first
    QString transport = QStringLiteral("tcp");
    QString screenshot;   ///< file; empty: none
    int afterSeconds = 8; ///< the screenshot is taken then
    int seconds = 0;      ///< end after so long; 0: when the window is closed
    QString folder;       ///< of recordings and pictures, with a folder for each camera
    bool record = false;  ///< all cameras, from the start
    bool opengl = false;  ///< pictures go through OpenGL, else they are painted
    bool verbose = false;

    /// Ends by itself and prints the summary.
    bool isTimed() const { return seconds > 0 || !screenshot.isEmpty(); }

    /// `arguments`: with the program's name first.
    static Options parse(const QStringList &arguments);
};
