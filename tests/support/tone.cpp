// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/tone.h"

#include <QtEndian>
#include <QtMath>

#include <cmath>

namespace vantratest {

namespace {

constexpr int kSampleBytes = 2;
constexpr double kFullScale = 32767.0;
constexpr double kSilence = 0.001; ///< amplitude
constexpr double kPure = 0.98;     ///< purity of a tone that arrived unharmed

double sampleAt(const QByteArray &mono, int index)
{
    return qFromLittleEndian<qint16>(mono.constData() + index * kSampleBytes) / kFullScale;
}

} // namespace

QByteArray sinePcm(double hertz, int sampleRate, int frames, double amplitude, int channels,
                   qint64 firstFrame)
{
    QByteArray pcm(frames * channels * kSampleBytes, Qt::Uninitialized);
    char *out = pcm.data();
    for (int frame = 0; frame < frames; ++frame) {
        const double phase = 2.0 * M_PI * hertz * double(firstFrame + frame) / sampleRate;
        const auto value =
            static_cast<qint16>(std::lround(std::sin(phase) * amplitude * kFullScale));
        for (int channel = 0; channel < channels; ++channel, out += kSampleBytes)
            qToLittleEndian(value, out);
    }
    return pcm;
}

ToneMeasure measureTone(const QByteArray &mono, int sampleRate, double hertz)
{
    const int frames = mono.size() / kSampleBytes;
    if (frames == 0)
        return {};
    double inPhase = 0.0;
    double quadrature = 0.0;
    double energy = 0.0;
    for (int frame = 0; frame < frames; ++frame) {
        const double value = sampleAt(mono, frame);
        const double phase = 2.0 * M_PI * hertz * frame / sampleRate;
        inPhase += value * std::cos(phase);
        quadrature += value * std::sin(phase);
        energy += value * value;
    }
    ToneMeasure measure;
    measure.amplitude = 2.0 * std::hypot(inPhase, quadrature) / frames;
    if (energy > 0.0)
        measure.purity = measure.amplitude * measure.amplitude * frames / 2.0 / energy;
    return measure;
}

ToneMeasure bestTone(const QByteArray &mono, int sampleRate, double hertz)
{
    const int window = sampleRate / 10 * kSampleBytes;
    const int step = window / 4 / kSampleBytes * kSampleBytes;
    ToneMeasure best;
    for (int at = 0; at + window <= mono.size(); at += step) {
        const ToneMeasure measure =
            measureTone(QByteArray::fromRawData(mono.constData() + at, window), sampleRate, hertz);
        if (measure.amplitude >= kSilence && measure.purity > best.purity)
            best = measure;
    }
    return best;
}

bool hasTone(const QByteArray &mono, int sampleRate, double hertz)
{
    return bestTone(mono, sampleRate, hertz).purity >= kPure;
}

double zeroCrossingHertz(const QByteArray &mono, int sampleRate)
{
    const int frames = mono.size() / kSampleBytes;
    int first = -1;
    int last = -1;
    int crossings = 0;
    for (int frame = 1; frame < frames; ++frame) {
        if (sampleAt(mono, frame - 1) < 0.0 && sampleAt(mono, frame) >= 0.0) {
            if (first < 0)
                first = frame;
            last = frame;
            ++crossings;
        }
    }
    return crossings < 2 ? 0.0 : double(crossings - 1) * sampleRate / (last - first);
}

} // namespace vantratest
