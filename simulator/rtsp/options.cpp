// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <set>

namespace vantrasim {

namespace {

/// Rooms of cameras that name no colour of their own, in turn.
constexpr std::uint32_t kRooms[] = {0x2E6F9E, 0x3C8D5A, 0xA2543A, 0x6B4E9B,
                                    0x8A7A2F, 0x2F8C8C, 0x9C3F6E, 0x5A6570};

bool validName(const std::string &name)
{
    return !name.empty() && name.size() <= 64 &&
           std::all_of(name.begin(), name.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.';
           });
}

bool startsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

/// Six hexadecimal digits.
bool parseHex(const std::string &text, std::uint32_t *number)
{
    const auto *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, *number, 16);
    return text.size() == 6 && result.ec == std::errc() && result.ptr == end;
}

bool parseCameraField(const std::string &field, CameraOptions *camera)
{
    const auto value = field.substr(field.find('=') + 1);
    if (field == "pcma")
        camera->audio = AudioForm::Pcma;
    else if (field == "pcmu")
        camera->audio = AudioForm::Pcmu;
    else if (field == "none")
        camera->audio = AudioForm::None;
    else if (startsWith(field, "tone="))
        return parseNumber(value, 50, 3900, &camera->tone);
    else if (startsWith(field, "gop="))
        return parseNumber(value, 1, 1000, &camera->gop);
    else if (startsWith(field, "kbps="))
        return parseNumber(value, 32, 50000, &camera->kbps);
    else if (startsWith(field, "label="))
        camera->label = value;
    else if (startsWith(field, "colour="))
        return parseHex(value, &camera->rgb);
    else if (startsWith(field, "id=")) {
        std::uint32_t id = 0;
        const bool ok = parseHex(value, &id);
        camera->id = id;
        return ok;
    } else if (field.find('x') != std::string::npos)
        return parseSize(field, &camera->width, &camera->height);
    else
        return parseNumber(field, 1, kMaxFps, &camera->fps);
    return true;
}

bool parseCamera(const std::string &text, std::size_t index, CameraOptions *camera,
                 std::string *error)
{
    const std::vector<std::string> fields = split(text, ':');
    camera->name = fields[0];
    camera->rgb = kRooms[index % std::size(kRooms)];
    if (!validName(camera->name)) {
        *error = "camera name \"" + camera->name + "\": use letters, digits, '-', '_' and '.'";
        return false;
    }
    if (fields.size() < 2 || !parseVideoForm(fields[1], &camera->video)) {
        *error = "camera " + camera->name + ": the codec must be h264 or h265";
        return false;
    }
    for (std::size_t i = 2; i < fields.size(); ++i) {
        if (!parseCameraField(fields[i], camera)) {
            *error = "camera " + camera->name + ": \"" + fields[i] + "\" is not understood";
            return false;
        }
    }
    return true;
}

bool parseClip(const std::string &text, bool once, ClipOptions *clip, std::string *error)
{
    static const std::string kOnce = ":once";
    const auto equals = text.find('=');
    clip->name = text.substr(0, equals);
    if (equals == std::string::npos || !validName(clip->name)) {
        *error = "clip \"" + text + "\": write NAME=FILE";
        return false;
    }
    clip->file = text.substr(equals + 1);
    clip->once = once;
    if (clip->file.size() > kOnce.size() &&
        clip->file.compare(clip->file.size() - kOnce.size(), kOnce.size(), kOnce) == 0) {
        clip->file.resize(clip->file.size() - kOnce.size());
        clip->once = true;
    }
    return true;
}

bool parseUser(const std::string &text, Options *options, std::string *error)
{
    const auto colon = text.find(':');
    options->user = text.substr(0, colon);
    if (colon == std::string::npos || options->user.empty()) {
        *error = "--authenticate needs USER:PASSWORD";
        return false;
    }
    options->password = text.substr(colon + 1);
    return true;
}

bool parseAuthMethod(const std::string &text, Options *options, std::string *error)
{
    if (text == "basic")
        options->authMethod = AuthMethod::Basic;
    else if (text == "digest")
        options->authMethod = AuthMethod::Digest;
    else if (text == "any")
        options->authMethod = AuthMethod::Any;
    else {
        *error = "--auth-method must be basic, digest or any";
        return false;
    }
    return true;
}

bool takeOption(const std::string &name, const std::string &value, Options *options,
                std::vector<std::string> *clips, std::string *error)
{
    if (name == "--camera") {
        CameraOptions camera;
        if (!parseCamera(value, options->cameras.size(), &camera, error))
            return false;
        options->cameras.push_back(camera);
    } else if (name == "--clip") {
        clips->push_back(value);
    } else if (name == "--port") {
        if (!parseNumber(value, 0, 65535, &options->port)) {
            *error = "--port must be a number from 0 to 65535";
            return false;
        }
    } else if (name == "--address") {
        options->address = value;
    } else if (name == "--control") {
        options->control = value;
    } else if (name == "--send-log") {
        options->sendLog = value;
    } else if (name == "--authenticate") {
        return parseUser(value, options, error);
    } else if (name == "--auth-method") {
        return parseAuthMethod(value, options, error);
    } else {
        *error = "unknown option " + name + "; see --help";
        return false;
    }
    return true;
}

bool checkNames(const Options &options, std::string *error)
{
    std::set<std::string> names;
    bool unique = true;
    const auto add = [&](const std::string &name) {
        if (unique && !names.insert(name).second) {
            *error = "the name " + name + " is used twice";
            unique = false;
        }
    };
    for (const CameraOptions &camera : options.cameras)
        add(camera.name);
    for (const ClipOptions &clip : options.clips)
        add(clip.name);
    return unique;
}

} // namespace

std::string helpText()
{
    return R"(Usage: vantra-rtsp-server [option...]

Serves test cameras and clips by RTSP, over TCP and UDP. Without any camera or clip: four cameras.

  --camera NAME:CODEC[:FIELD...]  a test camera. CODEC: h264 or h265. Fields, in any order:
                                  pcma|pcmu|none  sound (none)     WxH  picture (640x360)
                                  N  frames per second (25)        tone=HZ  of the sound (440)
                                  gop=N  frames per key frame      kbps=N   bit rate
                                  colour=RRGGBB  of the room       label=TEXT  in the picture
                                  id=XXXXXX  in a row of blocks along the bottom
  --clip NAME=FILE[:once]         a file as it is: H.264 or H.265 video, and 8 kHz G.711 sound.
                                  It starts anew for each client and goes on for ever; with :once
                                  it ends after one time
  --once                          every clip is played one time
  --address ADDRESS               where to listen (127.0.0.1)
  --port N                        0: any free one (0)
  --authenticate USER:PASSWORD    clients must know them
  --auth-method basic|digest|any  how clients may tell them (any)
  --control stdin|FIFO            takes commands, one a line; each is answered on standard output
                                  with a line that begins with OK or ERR. With stdin, its end ends
                                  the server, as does the end of the parent process
  --send-log FILE                 appends for each picture "NAME NUMBER NANOSECONDS": the number
                                  counts from 0 for each client of a clip, and the time is that
                                  of CLOCK_MONOTONIC
  --help                          this text

Prints "READY <port>", then the address of each camera and clip. Log lines go to standard error.

Commands: drop [NAME], stall NAME on|off, size NAME WxH, fps NAME N, codec NAME h264|h265,
          end NAME, mute-accept on|off, stats, quit, die
)";
}

bool parseOptions(const std::vector<std::string> &arguments, Options *options, std::string *error)
{
    std::vector<std::string> clips;
    bool once = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string &name = arguments[i];
        if (name == "--help" || name == "-h") {
            options->help = true;
            return true;
        }
        if (name == "--once") {
            once = true;
            continue;
        }
        if (i + 1 == arguments.size()) {
            *error = startsWith(name, "--") ? name + " needs a value, or is unknown; see --help"
                                            : "\"" + name + "\" is not understood; see --help";
            return false;
        }
        if (!takeOption(name, arguments[++i], options, &clips, error))
            return false;
    }
    for (const std::string &text : clips) {
        ClipOptions clip;
        if (!parseClip(text, once, &clip, error))
            return false;
        options->clips.push_back(clip);
    }
    if (options->cameras.empty() && options->clips.empty()) {
        for (const char *text : {"gate:h264:pcma:tone=440", "yard:h265:pcmu:tone=554",
                                 "hall:h264:pcmu:tone=659", "roof:h265:none"}) {
            CameraOptions camera;
            if (!parseCamera(text, options->cameras.size(), &camera, error))
                return false;
            options->cameras.push_back(camera);
        }
    }
    return checkNames(*options, error);
}

bool parseNumber(const std::string &text, int lowest, int highest, int *number)
{
    int value = 0;
    const auto *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || value < lowest || value > highest)
        return false;
    *number = value;
    return true;
}

bool parseSize(const std::string &text, int *width, int *height)
{
    const auto x = text.find('x');
    int w = 0;
    int h = 0;
    if (x == std::string::npos || !parseNumber(text.substr(0, x), kMinSide, kMaxWidth, &w) ||
        !parseNumber(text.substr(x + 1), kMinSide, kMaxHeight, &h) || w % 2 != 0 || h % 2 != 0)
        return false;
    *width = w;
    *height = h;
    return true;
}

bool parseVideoForm(const std::string &text, VideoForm *form)
{
    if (text != "h264" && text != "h265")
        return false;
    *form = text == "h264" ? VideoForm::H264 : VideoForm::H265;
    return true;
}

std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back().push_back(c);
    }
    return parts;
}

} // namespace vantrasim
