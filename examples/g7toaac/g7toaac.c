/* SPDX-FileCopyrightText: 2026 The Vantra authors
 * SPDX-License-Identifier: MIT
 *
 * Turns a raw A-law, mu-law or G.726 file (8000 Hz, mono) into AAC that every player plays.
 *   vantra-g7toaac alaw|mulaw|g726-16|g726-24|g726-32|g726-40 IN OUT.aac
 */
#include "aac_transcoder/easyaacencoder.h"

#include <stdio.h>
#include <string.h>

static const struct {
    const char *name;
    uint8_t codec;
    uint8_t rate; /* bits per sample of G.726 */
} forms[] = {
    {"alaw", G7CodecALaw, 0},    {"mulaw", G7CodecMuLaw, 0},  {"g726-16", G7CodecG726, 2},
    {"g726-24", G7CodecG726, 3}, {"g726-32", G7CodecG726, 4}, {"g726-40", G7CodecG726, 5},
};

static int transcode(void *handle, FILE *in, FILE *out)
{
    unsigned char from[G7ToAacInputChunk], to[G7ToAacOutputRoom];
    size_t bytes;
    while ((bytes = fread(from, 1, sizeof from, in)) > 0) {
        unsigned int produced = 0;
        if (Easy_AACEncoder_Encode(handle, from, (unsigned int)bytes, to, &produced) < 0)
            return 0;
        if (fwrite(to, 1, produced, out) != produced)
            return 0;
    }
    return !ferror(in);
}

int main(int argc, char **argv)
{
    G7ToAacInitParam param;
    size_t form = 0, count = sizeof forms / sizeof forms[0];
    while (argc == 4 && form < count && strcmp(argv[1], forms[form].name) != 0)
        ++form;
    if (argc != 4 || form == count) {
        fputs("usage: vantra-g7toaac alaw|mulaw|g726-16|g726-24|g726-32|g726-40 IN OUT.aac\n",
              stderr);
        return 2;
    }

    FILE *in = fopen(argv[2], "rb");
    FILE *out = in ? fopen(argv[3], "wb") : NULL;
    if (!out) {
        perror(in ? argv[3] : argv[2]);
        if (in)
            fclose(in);
        return 1;
    }

    memset(&param, 0, sizeof param);
    param.audioCodec = forms[form].codec;
    param.g726Rate = forms[form].rate;
    param.channels = 1;
    param.sampleRate = 8000;
    param.bitsPerSample = 16;
    void *handle = Easy_AACEncoder_Init(param);
    int good = handle && transcode(handle, in, out);
    Easy_AACEncoder_Release(handle);
    fclose(in);
    good = fclose(out) == 0 && good;
    if (!good)
        fprintf(stderr, "vantra-g7toaac: could not turn %s into %s\n", argv[2], argv[3]);
    return good ? 0 : 1;
}
