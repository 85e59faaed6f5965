// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The transcoder, fed with anything in chunks of any length. An input is a G7ToAacInitParam as it
// lies in memory (16 bytes), then chunks: two bytes little-endian, and as many bytes as their lower
// 13 bits say. With the top bit set it is a flood instead: that many bytes more than the store has
// room for, and none taken from the input.
//
// What must hold besides memory: the result is the length told; nothing is written beyond the room
// that the header promises to suffice; the output is whole ADTS frames; and one chunk gives the
// same bytes as many.
#include "fuzzinput.h"

#include "aac_transcoder/easyaacencoder.h"

#include <memory>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VANTRA_FUZZ_LSAN
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VANTRA_FUZZ_LSAN
#endif
#endif
#ifdef VANTRA_FUZZ_LSAN
#include <sanitizer/lsan_interface.h>
#endif

using vantrafuzz::Input;
using vantrafuzz::require;

namespace {

constexpr unsigned kStore = 0x20000; ///< bytes that wait at most
constexpr unsigned kFrame = 160;     ///< bytes that are taken from it at once
constexpr unsigned kFlood = 0x8000;
constexpr unsigned kLengthMask = 0x1fff;
constexpr int kAdtsHeader = 7;

/// FAAC loses 40 bytes with each frame that it finds too long.
class FaacMayLeak
{
public:
#ifdef VANTRA_FUZZ_LSAN
    FaacMayLeak()
    {
        __lsan_disable();
    }
    ~FaacMayLeak()
    {
        __lsan_enable();
    }
#endif
    int encode(void *handle, std::vector<unsigned char> &in, unsigned char *out, unsigned *outLen)
    {
        return Easy_AACEncoder_Encode(handle, in.data(), static_cast<unsigned>(in.size()), out,
                                      outLen);
    }
};

class Transcoder
{
public:
    explicit Transcoder(const G7ToAacInitParam &param) : handle(Easy_AACEncoder_Init(param)) {}
    ~Transcoder() { Easy_AACEncoder_Release(handle); }
    Transcoder(const Transcoder &) = delete;
    Transcoder &operator=(const Transcoder &) = delete;

    bool isOpen() const { return handle != nullptr; }

    /// Appends what the chunk yields. Room is just what the header says to suffice.
    void feed(std::vector<unsigned char> chunk)
    {
        const std::size_t begun = (chunk.size() + G7ToAacInputChunk - 1) / G7ToAacInputChunk;
        const std::size_t room = std::max<std::size_t>(begun, 1) * G7ToAacOutputRoom;
        const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
        unsigned produced = 77;
        const int result = FaacMayLeak().encode(handle, chunk, out.get(), &produced);
        require(result >= 0, "the decoders take any bytes");
        require(produced == static_cast<unsigned>(result), "result is the length told");
        require(produced <= room, "the room suffices");
        checkAdts(out.get(), produced);
        output.insert(output.end(), out.get(), out.get() + produced);
    }

    std::vector<unsigned char> output;

private:
    static void checkAdts(const unsigned char *data, unsigned size)
    {
        while (size > 0) {
            require(size >= kAdtsHeader && data[0] == 0xff && (data[1] & 0xf6) == 0xf0,
                    "output begins with an ADTS header");
            const unsigned length = (data[3] & 3u) << 11 | data[4] * 8u | data[5] >> 5;
            require(length >= kAdtsHeader && length <= size, "an ADTS frame is whole");
            data += length;
            size -= length;
        }
    }

    void *handle;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const auto param = input.take<G7ToAacInitParam>();
    Transcoder inChunks(param);
    if (!inChunks.isOpen())
        return 0;

    std::vector<unsigned char> all;
    while (!input.isEmpty()) {
        const unsigned length = input.take<std::uint16_t>();
        std::vector<unsigned char> chunk;
        if ((length & kFlood) != 0) {
            // All of it is lost.
            const std::size_t waiting = all.size() % kFrame;
            inChunks.feed(
                std::vector<unsigned char>(kStore - waiting + 1 + (length & kLengthMask)));
        } else {
            std::size_t got = 0;
            const std::uint8_t *bytes = input.takeBytes(length & kLengthMask, &got);
            chunk.assign(bytes, bytes + got);
        }
        all.insert(all.end(), chunk.begin(), chunk.end());
        inChunks.feed(std::move(chunk));
    }

    if (all.size() <= kStore) {
        Transcoder atOnce(param);
        atOnce.feed(all);
        require(atOnce.output == inChunks.output, "one chunk gives the same bytes as many");
    }
    return 0;
}
