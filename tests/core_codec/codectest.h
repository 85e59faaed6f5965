// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "codechandles.h"
#include "support/clipmaker.h"
#include "support/loggedtest.h"

#include <QtTest>

namespace vantratest {

/// What the tests of the codec layer share: each leaves no handle in a registry.
class CodecTest : public LoggedTest
{
protected:
    void tearDown() override
    {
        QVERIFY(!video_decoders);
        QVERIFY(!audio_decoders);
        QVERIFY(!audio_encoders);
    }
};

/// One coded key picture of H.264.
inline AccessUnit keyPicture()
{
    ClipOptions options;
    options.count = 1;
    return makeClip(options).value(0);
}

/// Rows of the columns `codec` and `name`, FFmpeg's for it: the two laws of G.711.
inline void lawRows()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QString>("name");
    QTest::newRow("A-law") << 33 << "pcm_alaw";
    QTest::newRow("mu-law") << 34 << "pcm_mulaw";
}

/// Rows of the columns `isNull`, of the data, and `size`: what no decoder takes.
inline void unusableInputRows()
{
    QTest::addColumn<bool>("isNull");
    QTest::addColumn<unsigned>("size");
    QTest::newRow("no data") << true << 100u;
    // To FFmpeg the signal to drain and to take nothing more.
    QTest::newRow("no data, no size") << true << 0u;
    QTest::newRow("no size") << false << 0u;
    QTest::newRow("size negative as int") << false << 0x80000000u;
    QTest::newRow("size -1") << false << 0xffffffffu;
}

} // namespace vantratest
