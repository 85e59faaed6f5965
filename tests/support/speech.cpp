// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/speech.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace vantratest {

namespace {

constexpr int kRate = 8000; // Hz
constexpr double kPi = 3.14159265358979323846;
constexpr int kWindow = kRate / 4;
constexpr double kSpoken = 300; ///< effective value from which a window counts as spoken

/// A resonance of the mouth: a filter of second order.
class Formant
{
public:
    void tune(double hertz, double bandwidth)
    {
        const double radius = std::exp(-kPi * bandwidth / kRate);
        m_a = 2 * radius * std::cos(2 * kPi * hertz / kRate);
        m_b = -radius * radius;
    }
    double pass(double input)
    {
        const double output = input + m_a * m_one + m_b * m_two;
        m_two = m_one;
        m_one = output;
        return output;
    }

private:
    double m_a = 0, m_b = 0, m_one = 0, m_two = 0;
};

double correlation(const qint16 *a, const qint16 *b, int count)
{
    double ab = 0;
    double aa = 0;
    double bb = 0;
    for (int i = 0; i < count; ++i) {
        ab += double(a[i]) * b[i];
        aa += double(a[i]) * a[i];
        bb += double(b[i]) * b[i];
    }
    return aa > 0 && bb > 0 ? ab / std::sqrt(aa * bb) : 0;
}

double effective(const qint16 *samples, int count)
{
    double sum = 0;
    for (int i = 0; i < count; ++i)
        sum += double(samples[i]) * samples[i];
    return std::sqrt(sum / count);
}

} // namespace

QVector<qint16> makeSpeechLike(int samples)
{
    std::minstd_rand random(1);
    const auto between = [&](double low, double high) {
        return low +
               (high - low) * double(random() - random.min()) / double(random.max() - random.min());
    };
    QVector<qint16> speech;
    speech.reserve(samples);
    Formant low;
    Formant high;
    double phase = 0;
    while (speech.size() < samples) {
        const int length = int(between(0.12, 0.3) * kRate);
        const int hiss = int(between(0, 0.06) * kRate);
        const int pause = int(between(0, 0.08) * kRate);
        const double pitch = between(95, 190);
        const double glide = between(-40, 40);
        low.tune(between(300, 800), 90);
        high.tune(between(1000, 2300), 140);
        for (int i = 0; i < length && speech.size() < samples; ++i) {
            const double at = double(i) / length;
            phase += (pitch + glide * at) / kRate;
            double source = 0;
            if (phase >= 1) {
                phase -= 1;
                source = 1600;
            }
            source += i < hiss ? between(-250, 250) : between(-20, 20);
            const double loud = std::sin(kPi * at);
            const double sample = loud * (0.7 * low.pass(source) + 0.5 * high.pass(source));
            speech.append(qint16(std::clamp(sample, -30000.0, 30000.0)));
        }
        for (int i = 0; i < pause && speech.size() < samples; ++i)
            speech.append(0);
    }
    return speech;
}

QVector<qint16> pcmSamples(const QByteArray &bytes)
{
    QVector<qint16> samples(bytes.size() / int(sizeof(qint16)));
    memcpy(samples.data(), bytes.constData(), size_t(samples.size()) * sizeof(qint16));
    return samples;
}

SoundMatch matchSound(const QVector<qint16> &source, const QVector<qint16> &heard, int longestDelay)
{
    // The delay is that of the first second and a half: what is lost later must not move it.
    SoundMatch match;
    for (int delay = 0; delay <= longestDelay; ++delay) {
        const int count = std::min({source.size(), heard.size() - delay, 3 * kRate / 2});
        if (count < kRate / 2)
            break;
        const double found = correlation(source.constData(), heard.constData() + delay, count);
        if (found > match.whole) {
            match.whole = found;
            match.delay = delay;
        }
    }
    match.compared = std::min(source.size(), heard.size() - match.delay);
    const qint16 *late = heard.constData() + match.delay;
    match.whole = correlation(source.constData(), late, match.compared);
    match.worst = 1;
    for (int at = 0; at + kWindow <= match.compared; at += kWindow / 2) {
        if (effective(source.constData() + at, kWindow) < kSpoken)
            continue;
        const double found = correlation(source.constData() + at, late + at, kWindow);
        if (found < match.worst) {
            match.worst = found;
            match.worstAt = at;
        }
    }
    return match;
}

} // namespace vantratest
