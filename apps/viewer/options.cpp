// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "options.h"

#include "logger/logger.h"

#include <QCommandLineParser>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {

const char kHelp[] = R"(usage: vantra-viewer [options] [ADDRESS[,SUB]]...

Shows cameras in one window. ADDRESS is rtsp://[user:password@]host[:port]/path of the main
stream, SUB the same of a smaller picture, shown while several cameras are.
Without an address the window asks for one.
A password is masked in the list of processes once the program has started; --cameras keeps it
from there, and out of what the shell remembers.

  --cameras FILE        read further cameras from FILE, each on a line of its own; lines that
                        begin with # are skipped. - is the standard input
  --simulate            add three simulated devices, one for each way of sending
  --page PAGE           the page to open: live, playback or downloads (live)
  --transport tcp|udp   how pictures travel (tcp)
  --seconds N           end after N seconds and print a summary
  --screenshot FILE     save the window as a picture, print a summary and end
  --after N             seconds until the screenshot is taken (8)
  --folder DIR          where recordings and pictures go, in a folder for each camera
                        (Vantra in the user's folder for videos)
  --render painter|opengl
                        how pictures come to the screen (painter)
  --record              record all cameras from the start
  --verbose             print what the library reports
  --help, --version

With --seconds or --screenshot the exit status is 0 if every camera gave pictures, and with
--record a file that can be played, and 1 if not; without a display these draw off the screen.
Then --page playback plays the first four cameras from yesterday 14:20 on, and --page downloads
copies a minute of each; the status is 0 if all have been played, or copied. Wrong usage ends
with 2.
Press F1 in the window for its keys.
)";
constexpr int kMaximumSeconds = 7 * 24 * 3600;
constexpr qint64 kMaximumFile = 1 << 20; ///< bytes, more than any list of cameras

/// Reads a number of seconds from 1 on.
bool readSeconds(const QString &text, int *seconds)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < 1 || value > kMaximumSeconds)
        return false;
    *seconds = value;
    return true;
}

bool readPage(const QString &text, PageTabs::Page *page)
{
    const QStringList names{"live", "playback", "downloads"}; // in the order of PageTabs::Page
    *page = PageTabs::Page(qMax(0, names.indexOf(text)));
    return names.contains(text);
}

Options refuse(const QString &why)
{
    Options options;
    options.action = Options::Action::Refuse;
    options.message = QStringLiteral("vantra-viewer: %1\nTry: vantra-viewer --help\n").arg(why);
    return options;
}

/// Adds the cameras of a file; says what is wrong with it, if anything is. What it holds is not
/// repeated: there are passwords.
QString readCameras(const QString &name, QVector<CameraOption> *cameras)
{
    QFile file(name);
    const bool isOpen = name == QLatin1String("-") ? file.open(stdin, QIODevice::ReadOnly)
                                                   : file.open(QIODevice::ReadOnly);
    if (!isOpen)
        return QStringLiteral("%1 cannot be read").arg(name);
    const QList<QByteArray> lines = file.read(kMaximumFile).split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        const QString text = QString::fromUtf8(lines[i]).trimmed();
        if (text.isEmpty() || text.startsWith(QLatin1Char('#')))
            continue;
        QString problem;
        const CameraOption camera = CameraOption::parse(text, &problem);
        if (!camera.main.isValid())
            return QStringLiteral("line %1 of %2: %3").arg(QString::number(i + 1), name, problem);
        cameras->append(camera);
    }
    return QString();
}

Options say(Options::Action action, const QString &message)
{
    Options options;
    options.action = action;
    options.message = message;
    return options;
}

} // namespace

CameraOption CameraOption::parse(const QString &text, QString *error)
{
    static const QRegularExpression comma(QStringLiteral(",(?=[a-zA-Z]+://)"));
    const QStringList parts = text.split(comma);
    if (parts.size() > 2) {
        *error = QStringLiteral("A camera has two addresses at most.");
        return CameraOption();
    }
    CameraOption camera;
    camera.main = CameraAddress::parse(parts[0], error);
    if (parts.size() == 2 && camera.main.isValid()) {
        camera.sub = CameraAddress::parse(parts[1], error);
        if (!camera.sub.isValid())
            return CameraOption();
    }
    return camera;
}

Options Options::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOptions({{"transport", QString(), "tcp|udp"},
                       {"seconds", QString(), "n"},
                       {"cameras", QString(), "file"},
                       {"page", QString(), "page"},
                       {"screenshot", QString(), "file"},
                       {"after", QString(), "n"},
                       {"folder", QString(), "dir"},
                       {"record", QString()},
                       {"simulate", QString()},
                       {"render", QString(), "painter|opengl"},
                       {"verbose", QString()},
                       {{"h", "help"}, QString()},
                       {{"v", "version"}, QString()}});
    if (!parser.parse(arguments))
        return refuse(maskUrlCredentials(parser.errorText()));
    if (parser.isSet("help"))
        return say(Action::ShowHelp, QString::fromLatin1(kHelp));
    if (parser.isSet("version"))
        return say(Action::ShowVersion, QStringLiteral("vantra-viewer " VANTRA_VERSION "\n"));

    Options options;
    options.verbose = parser.isSet("verbose");
    options.screenshot = parser.value("screenshot");
    if (parser.isSet("screenshot") && options.screenshot.isEmpty())
        return refuse("--screenshot needs the name of a file");
    options.record = parser.isSet("record");
    options.folder = parser.value("folder");
    if (parser.isSet("folder") && options.folder.isEmpty())
        return refuse("--folder needs the name of a folder");
    if (options.folder.isEmpty()) {
        options.folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) +
                         QStringLiteral("/Vantra");
    }
    if (parser.isSet("transport"))
        options.transport = parser.value("transport");
    if (options.transport != "tcp" && options.transport != "udp")
        return refuse("--transport is tcp or udp");
    if (parser.isSet("page") && !readPage(parser.value("page"), &options.page))
        return refuse("--page is live, playback or downloads");
    const QString render = parser.isSet("render") ? parser.value("render") : "painter";
    if (render != "painter" && render != "opengl")
        return refuse("--render is painter or opengl");
    options.opengl = render == "opengl";
    if (parser.isSet("seconds") && !readSeconds(parser.value("seconds"), &options.seconds))
        return refuse("--seconds needs a number of seconds, at least 1");
    if (parser.isSet("after") && !readSeconds(parser.value("after"), &options.afterSeconds))
        return refuse("--after needs a number of seconds, at least 1");

    options.simulate = parser.isSet("simulate");
    for (const QString &file : parser.values("cameras")) {
        const QString problem = readCameras(file, &options.cameras);
        if (!problem.isEmpty())
            return refuse(problem);
    }
    const QStringList texts = parser.positionalArguments();
    for (int i = 0; i < texts.size(); ++i) {
        QString problem;
        const CameraOption camera = CameraOption::parse(texts[i], &problem);
        // The text itself is not repeated: it may hold a password.
        if (!camera.main.isValid())
            return refuse(QStringLiteral("address %1: %2").arg(i + 1).arg(problem));
        options.cameras.append(camera);
    }
    return options;
}
