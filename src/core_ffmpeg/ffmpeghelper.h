// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QString>

#include <atomic>

class AbstractVideoThread;
struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;

/// Small FFmpeg tasks that the threads share, and some beside them that hosts may want and the
/// library does not call. Any function may run on any thread, and none throws.
/// Codes are those of FFmpeg: 0 or above is success, a negative AVERROR is a failure. A null object
/// gives AVERROR(EINVAL), 0 or nothing, whatever the function returns.
class VANTRA_EXPORT FFmpegHelper
{
public:
    FFmpegHelper() = delete;

    /// Pixel format (AVPixelFormat) that the last hardware decoder asked for; -1 is none. All
    /// threads share this one value.
    static std::atomic<int> hwPixFmt;

    // --- Addresses ---

    /// Whether the host of `url` accepts a TCP connection within `timeout` milliseconds; below 1
    /// nothing is tried and the answer is true. Without a port 554 is used. Blocks the caller, on
    /// an event loop of its own. An empty address is false.
    static bool checkUrl(const QString &url, int timeout);
    /// The same by type of address (0 file, 3 network, 255 unknown), with a reason for a person
    /// told to thread->debug(). Other types pass.
    static bool checkUrlOfType(AbstractVideoThread *thread, const int &urlType, const QString &url,
                               int timeout);
    /// Encodes user and password, which stand before the last "@", by percent signs. For rtsp://
    /// addresses: any other scheme is taken for a part of the user, and the result is an "rtsp://"
    /// address all the same, with a ":" even if there is no password, and a
    /// password ends at a ":" in it. An address without "@", or with "@" first, comes back as it
    /// is.
    static QString encodeUrl(const QString &url);
    /// The same for type 3; other types come back as they are.
    static QString encodeUrlOfType(const int &urlType, const QString &url);

    // --- Decoding ---

    /// One packet in, at most one frame out. Negative: `frame` holds nothing new, be it only
    /// because the decoder wants more input. Failures are told to thread->debug().
    static int decodeFrame(AbstractVideoThread *thread, AVCodecContext *ctx, AVPacket *packet,
                           AVFrame *frame, bool video);
    /// From context to stream, or from stream to context.
    static int copyParameters(AVCodecContext *ctx, AVStream *stream, bool fromContext);
    /// A new reference to the data of `source`, or an empty packet; freePacket() frees it.
    static AVPacket *newPacket(AVPacket *source);
    static void freeFrame(AVFrame *frame);    ///< null is ignored
    static void freePacket(AVPacket *packet); ///< null is ignored

    // --- Time of a packet: its dts, else its pts, else 0 ---

    /// Sleeps until the packet is due. `startTime`: av_gettime() at time stamp 0, microseconds. A
    /// wait of a second or more is skipped.
    static void delayTime(AVFormatContext *formatCtx, AVPacket *packet, qint64 startTime);
    /// Microseconds until the packet is due; negative when it is late.
    static qint64 ptsUs(AVFormatContext *formatCtx, AVPacket *packet, qint64 startTime);
    /// Duration in seconds.
    static double ptsSeconds(AVFormatContext *formatCtx, AVPacket *packet);
    /// Units of the stream's time base.
    static qint64 packetTime(AVPacket *packet);
    /// Microseconds.
    static double packetUs(AVFormatContext *formatCtx, AVPacket *packet);

    // --- Streams ---

    /// AVCodecID.
    static int codecIdOf(AVStream *stream);
    static void streamSize(AVStream *stream, int &width, int &height); ///< pixels
    /// Frames per second, cut to an integer: the average if that is from 1 to 60, else the base
    /// rate.
    static int frameRateOf(AVStream *stream);
    /// Bits per second for a picture of that area.
    static int defaultBitRate(int width, int height);

    // --- Hardware ---

    /// AVHWDeviceType to the AVPixelFormat of its frames; -1 for one that is not supported.
    static int hwPixelFormat(int deviceType);
    /// Callback of a decoder: picks hwPixFmt from a list that ends with -1, or, for a context that
    /// has a device, the format of that device. -1 if it is not in there, and the decoder then
    /// fails; there is no fall-back to software.
    static int getHwFormat(AVCodecContext *ctx, const int *formats);

    // --- Names and texts ---

    static QString errorText(int code); ///< as av_strerror has it
    /// Name of an AVPixelFormat constant, or its number.
    static QString pixelFormatName(int format);
    /// "4.4.2", the release that the interface is written to; not the one in use.
    static QString versionString();

    // --- Set-up, for hosts; the library calls none of it ---

    /// Once in the process: starts the network layer and silences FFmpeg's own log.
    static void initLib();
    /// Place where a build prints the names of all codecs and protocols; it has no output.
    static void codecLists();
    /// Prints capture devices, or the options of one, to FFmpeg's own log.
    static void listDevices(const QString &deviceType);
    static void listDevices();
    static void listOptions(const QString &deviceType, const QString &deviceName);
    static void listOptions(const QString &deviceName);

    /// Copies a planar 4:2:0 picture, turned by 90 or 270 degrees or, for 180, flipped top to
    /// bottom; any other angle copies no samples. Planes of `target` are written without padding,
    /// and must be large enough; nothing is copied into a reference-counted buffer that is not.
    static void rotateFrame(int angle, const AVFrame *source, AVFrame *target);
};
