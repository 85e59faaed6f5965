// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What takes addresses apart, hides what is secret in them, and makes names of files of them. The
// first byte of an input says how the rest is read: see Form.
//
// What must hold besides memory: what is told about each function below. Above all a password shows
// up nowhere but where the library itself is given it.
#include "place.h"

#include "cameraaddress.h"
#include "camerafiles.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_live/livefilenames_p.h"
#include "core_videobase/abstractvideothread.h"
#include "core_vod/vodsnapnames_p.h"
#include "options.h"
#include "uitoolkit/quihelper.h"

#include <QDateTime>

#include <algorithm>
#include <vector>

using vantrafuzz::Input;
using vantrafuzz::Place;
using vantrafuzz::require;

namespace {

enum Form {
    Text,       ///< in UTF-8
    WideText,   ///< in UTF-16, proper or not
    Password,   ///< one, in UTF-8, put into an address with another secret in its middle
    CameraList, ///< a file of cameras
    Times,      ///< a time, a number and a text that become names of files
    Forms
};

const QString kSecret = QStringLiteral("GEHEIM");

/// Each user and password becomes percent signs and what needs none, with one colon in between.
void checkEncoded(const QString &url)
{
    const QString encoded = FFmpegHelper::encodeUrl(url);
    const int at = url.lastIndexOf(QLatin1Char('@'));
    if (at < 1) {
        require(encoded == url, "an address without a user stays as it is");
        return;
    }
    const QString scheme = QStringLiteral("rtsp://");
    const QString rest = url.mid(at);
    require(encoded.startsWith(scheme) && encoded.endsWith(rest),
            "all but user and password of an address stays");
    const QString user = encoded.mid(scheme.size(), encoded.size() - scheme.size() - rest.size());
    require(user.count(QLatin1Char(':')) == 1, "there is one colon");
    require(std::all_of(user.begin(), user.end(),
                        [](QChar c) {
                            const bool isPlain = c.unicode() < 0x80 && c.isLetterOrNumber();
                            return isPlain || QStringLiteral("%:-._~").contains(c);
                        }),
            "user and password are encoded");
}

void checkCamera(const QString &text)
{
    QString error;
    const CameraAddress address = CameraAddress::parse(text, &error);
    require(address.isValid() == error.isEmpty(), "what is refused is refused with a reason");
    const QString file = CameraFiles::nameFor(address.name());
    require(std::all_of(
                file.begin(), file.end(),
                [](QChar c) { return c.isLetterOrNumber() || QStringLiteral("._-").contains(c); }),
            "a camera's folder has the name of a file");
    if (!address.isValid())
        return;
    require(!file.isEmpty() && file != QLatin1String(".") && file != QLatin1String(".."),
            "a camera's folder lies in the folder of all");
    require(address.port() > 0 && address.port() <= 65535, "a port is one");
    require(!address.host().isEmpty() && address.path().startsWith(QLatin1Char('/')),
            "there is a host and a path");
    // The zone of an IPv6 address is written plainly for the library, which no URL may do.
    require(address.host().contains(QLatin1Char('%')) ||
                CameraAddress::parse(address.full(), &error).full() == address.full(),
            "what was read is read as the same again");
    require(!CameraAddress::parse(address.plain(), &error).hasUser(),
            "without its user an address has none");
}

void checkText(const QString &text)
{
    maskUrlCredentials(text);
    const int end = userInfoEnd(text);
    require(end < 0 || text.at(end) == QLatin1Char('@'), "user information ends at an @");
    checkEncoded(text);
    checkCamera(text);

    require(text.contains(QUIHelper::urlToIp(text)), "a host is a part of its address");
    FFmpegHelper::checkUrl(text, 0);
    FFmpegHelper::encodeUrlOfType(3, text);
    QString name;
    QString size;
    int rate = 0;
    AbstractVideoThread::checkCameraUrl(text, name, size, rate);
    require(text.startsWith(name), "a camera's name stands first");
    AbstractVideoThread thread;
    thread.setVideoSize(text);

    QByteArray argument = text.toLocal8Bit();
    argument.replace('\0', ' ');
    std::vector<char> room(argument.begin(), argument.end());
    room.push_back('\0');
    char program[] = "viewer";
    char *arguments[] = {program, room.data(), nullptr};
    require(takeArguments(2, arguments).size() == 2, "there are as many arguments as there were");
}

/// A password of any kind, as a person types it into an address.
void checkPassword(const QString &text)
{
    // These part addresses from each other, and are not for passwords.
    QString around = text;
    around.remove(QLatin1Char('\n')).remove(QLatin1Char('\r'));
    around.remove(QStringLiteral("://")).remove(kSecret);
    const int half = around.size() / 2;
    const QString password = around.left(half) + kSecret + around.mid(half);
    if (password.contains(QStringLiteral("://")) || password.startsWith(QStringLiteral("//")))
        return;
    // "a@b.c/d" may as well be the end of the password, the host and the begin of the path; so may
    // "a@b.c d" be an address, and what follows it in the text.
    if (password.contains(QLatin1Char('@')) &&
        std::any_of(password.begin(), password.end(),
                    [](QChar c) { return c.isSpace() || QStringLiteral("/?#").contains(c); }))
        return;
    const QString url =
        QStringLiteral("rtsp://admin:") + password + QStringLiteral("@192.0.2.1:554/live");
    require(!maskUrlCredentials(url).contains(kSecret), "no log shows a password");
    QString error;
    const CameraAddress address = CameraAddress::parse(url, &error);
    require(!error.contains(kSecret), "no refusal shows a password");
    for (const QString &shown : {address.name(), address.plain(), address.endpoint()})
        require(!shown.contains(kSecret), "no name shows a password");
    checkText(url);
}

void checkList(const std::uint8_t *data, std::size_t size, const Place &place)
{
    const QString name = place.file(QStringLiteral("cameras"));
    QFile file(name);
    require(file.open(QIODevice::WriteOnly), "there is a file of cameras");
    file.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    file.close();
    const Options options =
        Options::parse({QStringLiteral("vantra-viewer"), QStringLiteral("--cameras"), name});
    for (const CameraOption &camera : options.cameras)
        require(camera.main.isValid(), "each camera has an address");
}

void checkTimes(Input &input)
{
    const auto stamp = input.take<qint64>();
    const auto channel = input.take<int>();
    std::size_t size = 0;
    const auto *text = reinterpret_cast<const char *>(input.takeBytes(4000, &size));
    const QString path = QString::fromUtf8(text, static_cast<int>(size));
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(stamp);
    const QString begun = liveRecordName(path, time);
    require(begun.startsWith(path) && begun.endsWith(QStringLiteral(".mp4")),
            "a recording lies below its path");
    require(!liveRecordLastName(begun, time, channel).isEmpty(), "a recording has a last name");
    require(liveSnapName(path, time, channel).startsWith(path), "so does a snapshot");
    const QString asked = vodSnapName(path, time, channel);
    require(asked.startsWith(path), "and one of a recording");
    require(!vodSnapLastName(asked, stamp, channel).isEmpty(), "which has a last name too");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Place *const place = new Place; // is there until the end
    Input input(data, size);
    const unsigned form = input.take<std::uint8_t>() % Forms;
    if (form == Times) {
        checkTimes(input);
        return 0;
    }
    std::size_t left = 0;
    const std::uint8_t *bytes = input.takeBytes(size, &left);
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(bytes), static_cast<int>(left));
    switch (form) {
    case WideText: {
        QString wide(static_cast<int>(left / 2), Qt::Uninitialized);
        std::memcpy(wide.data(), bytes, left / 2 * 2);
        checkText(wide);
        break;
    }
    case Password:
        checkPassword(text);
        break;
    case CameraList:
        checkList(bytes, left, *place);
        break;
    default:
        checkText(text);
        break;
    }
    return 0;
}
