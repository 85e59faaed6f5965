// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "download.h"
#include "downloadqueue.h"
#include "downloadrow.h"
#include "logger/logger.h"
#include "mainwindow.h"
#include "options.h"
#include "recordedfiles.h"
#include "theme.h"
#include "vantra.h"
#include "viewerlog.h"

#include <QApplication>
#include <QScreen>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

void print(FILE *file, const QString &text)
{
    QTextStream(file) << text << Qt::flush;
}

/// Without a display a run that ends by itself draws off the screen; any other cannot be.
bool chooseDisplay(const Options &options)
{
#ifdef Q_OS_LINUX
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        if (!options.isTimed())
            return false;
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
#else
    Q_UNUSED(options)
#endif
    return true;
}

/// Prints what has been recorded since the start, and whether every view has a file that plays.
bool tellRecordings(const QVector<ViewSummary> &views, const QDateTime &start)
{
    QVector<RecordedFile> files;
    int playable = 0;
    for (int i = 0; i < views.size(); ++i) {
        bool plays = false;
        for (const QString &path : views[i].files.recordingsSince(start)) {
            files.append(readRecordedFile(i + 1, path));
            plays |= files.last().seconds > 0;
        }
        playable += plays;
    }
    print(stdout, recordingsTable(files));
    return playable == views.size();
}

/// Prints what has become of the downloads, and whether all are done.
bool tellDownloads(const QList<Download *> &downloads)
{
    print(stdout, downloadsTable(downloads));
    return std::all_of(downloads.begin(), downloads.end(), [](const Download *download) {
        return download->state() == DownloadState::Done;
    });
}

/// Arranges the end of a run that ends by itself; `status` then holds how it went.
void endByItself(MainWindow *window, const Options &options, int *status)
{
    const auto summarise = [window, status] {
        if (window->page() == PageTabs::Downloads) {
            *status = tellDownloads(window->downloads()->downloads()) ? *status : 1;
            window->close();
            return;
        }
        const QVector<ViewSummary> summaries = window->summaries();
        print(stdout, summaryTable(summaries, window->cpuPercent()));
        for (const ViewSummary &summary : summaries)
            if (summary.pictures == 0)
                *status = 1;
        window->close();
    };
    const auto shoot = [window, options, status] {
        // What OpenGL draws is on the screen only.
        const QPixmap picture =
            options.opengl ? window->screen()->grabWindow(window->winId()) : window->grab();
        if (picture.save(options.screenshot)) {
            print(stdout, QStringLiteral("screenshot %1\n").arg(options.screenshot));
        } else {
            print(stderr,
                  QStringLiteral("vantra-viewer: %1 cannot be written\n").arg(options.screenshot));
            *status = 1;
        }
    };
    if (!options.screenshot.isEmpty())
        QTimer::singleShot(options.afterSeconds * 1000, window, shoot);
    const int seconds =
        qMax(options.seconds, options.screenshot.isEmpty() ? 0 : options.afterSeconds);
    QTimer::singleShot(seconds * 1000, window, summarise);
}

} // namespace

int main(int argc, char *argv[])
{
    const Options options = Options::parse(takeArguments(argc, argv));
    if (options.action != Options::Action::Run) {
        const bool refused = options.action == Options::Action::Refuse;
        print(refused ? stderr : stdout, options.message);
        return refused ? 2 : 0;
    }
    if (!chooseDisplay(options)) {
        print(stderr, QStringLiteral("vantra-viewer: there is no display. Use --screenshot FILE, "
                                     "or start it where there is one.\n"));
        return 1;
    }
    setUpLog(options.verbose);

    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    int qtArgc = 1; // the rest of the command line is ours
    QApplication application(qtArgc, argv);
    QApplication::setApplicationName(QStringLiteral("vantra-viewer"));
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    if (!Vantra::init()) {
        print(stderr, QStringLiteral("vantra-viewer: the library cannot start\n"));
        return 1;
    }

    int status = 0;
    {
        const QDateTime start = QDateTime::currentDateTime();
        MainWindow window(options.transport, options.folder);
        if (options.opengl && !window.setOpengl(true))
            print(stderr, QStringLiteral("vantra-viewer: there is no OpenGL; pictures are "
                                         "painted\n"));
        if (options.simulate)
            for (const Device &device : simulatedDevices())
                window.addDevice(device);
        for (const CameraOption &camera : options.cameras)
            window.addCamera(camera.main, camera.sub);
        if (options.record)
            window.toggleAllRecordings();
        window.showPage(options.page);
        window.show();
        if (options.isTimed()) {
            window.demonstrate();
            endByItself(&window, options, &status);
        }
        QApplication::exec();
        // The files are whole once the stream threads have ended.
        if (options.record && options.isTimed() && !tellRecordings(window.summaries(), start))
            status = 1;
        if (window.hasRunningThreads()) {
            // Somebody waits for the network beyond all patience; the process does not.
            std::fflush(nullptr);
            std::_Exit(status);
        }
    }
    Vantra::release();
    return status;
}
