/* SPDX-FileCopyrightText: 2026 The Vantra authors
 * SPDX-License-Identifier: MIT
 *
 * Turns narrow-band G.711 or G.726 sound into AAC-LC frames with ADTS headers (ISO/IEC 13818-7).
 * Plain C. One handle is one stream, used by one thread at a time. Time stamps stay with the
 * caller.
 */
#ifndef VANTRA_AAC_TRANSCODER_EASYAACENCODER_H
#define VANTRA_AAC_TRANSCODER_EASYAACENCODER_H

#if defined(__GNUC__)
#define VANTRA_AAC_EXPORT __attribute__((visibility("default")))
#elif defined(VANTRA_LIBRARY)
#define VANTRA_AAC_EXPORT __declspec(dllexport)
#else
#define VANTRA_AAC_EXPORT __declspec(dllimport)
#endif

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Values of G7ToAacInitParam::audioCodec. Any other value means A-law. */
enum { G7CodecMuLaw = 0, G7CodecALaw = 1, G7CodecG726 = 3 };

/** What comes in. 16 bytes, passed by value; the layout is part of the binary interface. */
typedef struct G7ToAacInitParam
{
    uint8_t audioCodec;     /**< see above */
    uint8_t channels;       /**< channels, as the AAC encoder is told */
    uint8_t padding1[2];    /**< not read */
    uint32_t sampleRate;    /**< Hz, as the AAC encoder is told */
    uint32_t bitsPerSample; /**< of a PCM sample between decoder and encoder: 16; at least 8 */
    uint8_t g726Rate;       /**< G.726 only: bits per sample, 2 to 5; anything else means 2 */
    uint8_t padding2[3];    /**< not read */
} G7ToAacInitParam;

/**
 * Whatever the parameters, one call with at most so many bytes of input yields at most two AAC
 * frames, which fit into so much room: the length of a frame has 13 bits. A call with more needs
 * that room for each such chunk begun.
 */
enum { G7ToAacInputChunk = 160, G7ToAacOutputRoom = 16384 };

/** Returns a handle to be released, or NULL if the AAC encoder refuses these parameters. */
VANTRA_AAC_EXPORT void *Easy_AACEncoder_Init(G7ToAacInitParam param);

/**
 * Takes `inLen` bytes, in chunks of any length, and gives all AAC frames that are complete by then.
 * `out` has no length: give room for what the input can yield, see G7ToAacOutputRoom. Returns the
 * bytes put into `out`, also stored in `*outLen`; 0 while no frame is complete (the encoder needs
 * about 0.4 s to begin); -1 for a null handle, missing `out` or `outLen`, or if the decoder refuses
 * a frame. Input that does not fit into the store of 131072 bytes is lost in silence.
 */
VANTRA_AAC_EXPORT int Easy_AACEncoder_Encode(void *handle, unsigned char *in, unsigned int inLen,
                                             unsigned char *out, unsigned int *outLen);

/** Ends a stream. What is not yet encoded is dropped. A null handle is ignored. */
VANTRA_AAC_EXPORT void Easy_AACEncoder_Release(void *handle);

#ifdef __cplusplus
}
#endif

#endif
