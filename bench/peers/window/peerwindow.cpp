// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "window/peerwindow.h"

#include "window/commands.h"

#include <QApplication>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kPauseBeforeReopenMs = 500;

class PeerWindow : public QWidget
{
public:
    PeerWindow(int columns, const QSize &tile, const QStringList &addresses, PeerViewMaker make)
        : m_make(std::move(make)), m_views(std::size_t(addresses.size()))
    {
        setWindowFlags(Qt::FramelessWindowHint);
        for (int i = 0; i < addresses.size(); ++i) {
            const QStringList streams = addresses[i].split(QLatin1Char(','));
            m_sources.push_back({streams.value(0), streams.value(1)});
            auto *place = new QWidget(this);
            place->setGeometry(
                QRect(QPoint(i % columns * tile.width(), i / columns * tile.height()), tile));
            m_tiles.push_back(place);
        }
        const int rows = (addresses.size() + columns - 1) / columns;
        setFixedSize(columns * tile.width(), rows * tile.height());
        move(0, 0);
    }

    QByteArray obey(const QByteArray &command)
    {
        if (command == "sub" || command == "main") {
            m_sub = command == "sub";
            for (const auto &view : m_views) {
                if (view)
                    view->open(m_sub);
            }
        } else if (command.startsWith("start")) {
            const int wanted = command.mid(6).toInt();
            const std::size_t end = wanted > 0 ? std::size_t(wanted) : m_views.size();
            for (std::size_t i = 0; i < std::min(end, m_views.size()); ++i)
                start(i);
        } else if (command == "stop" || command == "quit") {
            stop();
        }
        return command;
    }

    void stop()
    {
        for (auto &view : m_views)
            view.reset();
    }

private:
    void start(std::size_t i)
    {
        if (m_views[i])
            return;
        m_views[i] = m_make(m_tiles[i], m_sources[i]);
        PeerView *view = m_views[i].get();
        QObject::connect(view, &PeerView::ended, view, [this, view] {
            QTimer::singleShot(kPauseBeforeReopenMs, view, [this, view] { view->open(m_sub); });
        });
        view->open(m_sub);
    }

    const PeerViewMaker m_make;
    std::vector<PeerSource> m_sources;
    std::vector<QWidget *> m_tiles;
    std::vector<std::unique_ptr<PeerView>> m_views;
    bool m_sub = false;
};

} // namespace

int runPeer(int argc, char **argv, const PeerViewMaker &make, const std::function<void()> &prepare,
            const std::function<void()> &cleanUp)
{
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    const QStringList form = arguments.value(1).split(QLatin1Char('x'));
    const int columns = form.value(0).toInt();
    const QSize tile(form.value(1).toInt(), form.value(2).toInt());
    if (columns < 1 || tile.isEmpty() || arguments.size() < 3) {
        std::fprintf(stderr, "usage: %s COLUMNSxWIDTHxHEIGHT MAIN[,SUB]...\n", argv[0]);
        return 2;
    }
    if (prepare)
        prepare();
    int result = 0;
    {
        PeerWindow window(columns, tile, arguments.mid(2), make);
        window.show();
        result = runCommands([&window](const QByteArray &command) { return window.obey(command); });
    }
    if (cleanUp)
        cleanUp();
    return result;
}
