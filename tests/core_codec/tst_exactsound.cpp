// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// G.711 vectors and speech, decoded bit for bit; and the encoder against the tables.

#include "codectest.h"
#include "support/clipmaker.h"
#include "support/filecontent.h"
#include "support/media.h"

#include <QtEndian>
#include <QtTest>

using namespace vantratest;

class TestExactSound : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void vectors_decodeBitForBit_data();
    void vectors_decodeBitForBit();
    void everyInput_isEncodedWithinOneStep_data();
    void everyInput_isEncodedWithinOneStep();
    void toneMaker_followsTheTables_data() { everyInput_isEncodedWithinOneStep_data(); }
    void toneMaker_followsTheTables();

private:
    static QString path(const QString &file) { return mediaDir() + QLatin1String("/g711/") + file; }
};

void TestExactSound::vectors_decodeBitForBit_data()
{
    QTest::addColumn<int>("codec");
    for (const char *name : {"sweep", "itu_voice", "allison_congrats"}) {
        QTest::newRow(qPrintable(QLatin1String(name) + QLatin1String(".al"))) << 33;
        QTest::newRow(qPrintable(QLatin1String(name) + QLatin1String(".ul"))) << 34;
    }
}

void TestExactSound::vectors_decodeBitForBit()
{
    QFETCH(int, codec);
    const QByteArray codes = contentOf(path(QTest::currentDataTag()));
    const QByteArray expected = contentOf(path(QTest::currentDataTag()) + QStringLiteral(".pcm"));
    QVERIFY(!codes.isEmpty());
    for (const int piece : {160, 320, 1000}) {
        const _tag_adec_param_s param = {codec, 8000, 16, 1};
        const AudioDecoderHandle handle(ffmpeg_create_audio_decoder(&param));
        QByteArray pcm;
        for (int at = 0; at < codes.size(); at += piece) {
            const QByteArray chunk = codes.mid(at, piece);
            _tag_audio_frame_s out;
            QCOMPARE(ffmpeg_decoder_audio_frame(handle.get(), bytesOf(chunk),
                                                unsigned(chunk.size()), 0, &out),
                     0);
            pcm.append(reinterpret_cast<const char *>(out.data), int(out.size));
        }
        QVERIFY(pcm == expected);
    }
}

void TestExactSound::everyInput_isEncodedWithinOneStep_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QString>("codes");
    QTest::newRow("A-law") << 33 << "sweep.al";
    QTest::newRow("mu-law") << 34 << "sweep.ul";
}

/// All 65536 inputs, in native order.
static QVector<qint16> sweep(const QString &file)
{
    const QByteArray bytes = contentOf(file);
    QVector<qint16> samples(bytes.size() / 2);
    for (int i = 0; i < samples.size(); ++i)
        samples[i] = qFromLittleEndian<qint16>(bytes.constData() + i * 2);
    return samples;
}

void TestExactSound::everyInput_isEncodedWithinOneStep()
{
    QFETCH(int, codec);
    QFETCH(QString, codes);
    const QVector<qint16> samples = sweep(path(QStringLiteral("sweep.src")));
    const QByteArray expected = contentOf(path(codes));
    const _tag_aenc_param_s param = {codec, 8000, 16, 1};
    const AudioEncoderHandle handle(ffmpeg_create_audio_encoder(&param));
    QCOMPARE(samples.size(), 65536);
    int different = 0;
    for (int at = 0; at < samples.size(); at += 320) {
        const QByteArray pcm = pcmBytes(samples.mid(at, 320));
        _tag_audio_frame_s out;
        QCOMPARE(
            ffmpeg_encoder_audio_frame(handle.get(), bytesOf(pcm), unsigned(pcm.size()), 0, &out),
            0);
        const int count = std::min(320, samples.size() - at);
        for (int i = 0; i < count; ++i) {
            if (out.data[i] == quint8(expected[at + i]))
                continue;
            ++different;
            // FFmpeg rounds at the border between two steps otherwise than the tables.
            const quint8 mask = codec == 33 ? 0x55 : 0xff;
            const int step = int(out.data[i] ^ mask) - int(quint8(expected[at + i]) ^ mask);
            QVERIFY(std::abs(step) == 1 || ((out.data[i] ^ quint8(expected[at + i])) & 0x80));
        }
    }
    QVERIFY2(different <= 964, qPrintable(QString::number(different)));
}

void TestExactSound::toneMaker_followsTheTables()
{
    QFETCH(int, codec);
    QFETCH(QString, codes);
    const QVector<qint16> samples = sweep(path(QStringLiteral("sweep.src")));
    QVERIFY((codec == 33 ? encodeALaw(samples) : encodeMuLaw(samples)) == contentOf(path(codes)));
}

int main(int argc, char **argv)
{
    if (const int code = mediaExitCode())
        return code;
    QCoreApplication app(argc, argv);
    TestExactSound test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_exactsound.moc"
