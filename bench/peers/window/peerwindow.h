// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

#include <functional>
#include <memory>

/// The addresses of one camera.
struct PeerSource
{
    QString main;
    QString sub; ///< of a smaller picture; empty: there is none
};

/// One tile's player. Made when the tile starts and deleted when it stops, on the GUI thread.
class PeerView : public QObject
{
    Q_OBJECT

public:
    /// Plays the main or the sub stream into the whole tile, with the lowest delay that the player
    /// offers. Again: changes over.
    virtual void open(bool sub) = 0;

signals:
    /// The stream broke off or could not be opened, and the player leaves it at that. It is opened
    /// anew after a pause, as every host would.
    void ended();
};

/// Makes the player of a tile, whose window exists and has its final size.
using PeerViewMaker = std::function<std::unique_ptr<PeerView>(QWidget *tile, PeerSource source)>;

/// The main function of every peer with a window:
///     PEER COLUMNSxWIDTHxHEIGHT MAIN[,SUB]...
/// shows one tile per address in a window without a frame in the upper left corner of the screen.
/// It takes commands from standard input, see runCommands(): start, start NUMBER (as many views as
/// that in all), sub, main, stop, quit. Each is answered with itself when it has been carried out.
/// `prepare` runs with the application in place, before the window.
int runPeer(int argc, char **argv, const PeerViewMaker &make,
            const std::function<void()> &prepare = {}, const std::function<void()> &cleanUp = {});
