// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vantrasim {

enum class VideoForm { H264, H265 };
enum class AudioForm { None, Pcma, Pcmu };

constexpr int kMinSide = 64;    ///< pixels
constexpr int kMaxWidth = 4096; ///< pixels
constexpr int kMaxHeight = 2304;
constexpr int kMaxFps = 120;

/// A test camera as named on the command line.
struct CameraOptions
{
    std::string name;
    VideoForm video = VideoForm::H264;
    AudioForm audio = AudioForm::None;
    int width = 640;  ///< pixels, even
    int height = 360; ///< pixels, even
    int fps = 25;
    int gop = 0;    ///< frames from one key frame to the next; 0: one second
    int kbps = 0;   ///< kbit/s of the picture; 0: by size and rate
    int tone = 440; ///< Hz
    std::uint32_t rgb = 0;
    std::string label;    ///< stands in the picture; empty: the name
    std::int64_t id = -1; ///< in a row of blocks along the bottom (scene/sceneid.h); -1: none
};

/// A file that is served as it is.
struct ClipOptions
{
    std::string name;
    std::string file;
    bool once = false;
};

enum class AuthMethod { Any, Basic, Digest };

struct Options
{
    std::string address = "127.0.0.1";
    int port = 0; ///< 0: chosen by the system
    std::vector<CameraOptions> cameras;
    std::vector<ClipOptions> clips;
    std::string control; ///< empty: none; "stdin"; else the path of a FIFO
    std::string user;    ///< empty: everybody may watch
    std::string password;
    AuthMethod authMethod = AuthMethod::Any;
    std::string sendLog; ///< file for the times at which pictures are sent; empty: none
    bool help = false;
};

std::string helpText();

/// Reads the command line; false with a line in *error if something in it is wrong. Without any
/// camera or clip there are four cameras.
bool parseOptions(const std::vector<std::string> &arguments, Options *options, std::string *error);

/// "640x360" into even numbers within the limits.
bool parseSize(const std::string &text, int *width, int *height);
bool parseVideoForm(const std::string &text, VideoForm *form);
/// A decimal number from `lowest` to `highest`, and nothing else.
bool parseNumber(const std::string &text, int lowest, int highest, int *number);
std::vector<std::string> split(const std::string &text, char separator);

} // namespace vantrasim
