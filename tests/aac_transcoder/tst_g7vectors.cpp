// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The narrow-band decoders against standard vectors and real speech. No sample may differ by a
// single step: the recommendations tell the decoders bit by bit, so that all conformant ones agree.
#include "aac_transcoder/g711topcm_p.h"
#include "aac_transcoder/g726topcm_p.h"
#include "support/filecontent.h"
#include "support/media.h"

#include <QtTest>

namespace {

QByteArray clip(const QString &name)
{
    return vantratest::contentOf(vantratest::mediaDir() + QLatin1Char('/') + name);
}

/// Decodes frame by frame of 160 bytes, as the transcoder does.
QByteArray decode(IDecodeToPcm &decoder, int g726Rate, const QByteArray &input)
{
    G7ToAacInitParam param{};
    param.g726Rate = static_cast<uint8_t>(g726Rate);
    decoder.Init(param);
    QByteArray output;
    const int step = decoder.GetG7Size();
    for (int at = 0; at < input.size(); at += step) {
        QByteArray pcm(decoder.GetPcmSize() + 1, '\0');
        auto room = static_cast<unsigned int>(pcm.size());
        const int bytes =
            decoder.Decode(reinterpret_cast<short *>(pcm.data()), &room,
                           reinterpret_cast<const unsigned char *>(input.constData()) + at,
                           static_cast<unsigned int>(qMin(step, input.size() - at)));
        if (bytes < 0)
            return {};
        output += pcm.left(bytes);
    }
    return output;
}

} // namespace

class tst_G7Vectors : public QObject
{
    Q_OBJECT

private slots:
    void g711_isBitExact_data();
    void g711_isBitExact();
    void g726_isBitExact_data();
    void g726_isBitExact();
};

void tst_G7Vectors::g711_isBitExact_data()
{
    QTest::addColumn<QString>("file");
    for (const char *name : {"sweep.al", "sweep.ul", "allison_congrats.al", "allison_congrats.ul",
                             "itu_voice.al", "itu_voice.ul"})
        QTest::newRow(name) << QStringLiteral("g711/%1").arg(QLatin1String(name));
}

void tst_G7Vectors::g711_isBitExact()
{
    QFETCH(QString, file);
    const QByteArray expected = clip(file + QStringLiteral(".pcm"));
    QVERIFY(!expected.isEmpty());
    G711AToPcm aLaw;
    G711UToPcm muLaw;
    IDecodeToPcm &decoder = file.endsWith(QLatin1String(".al"))
                                ? static_cast<IDecodeToPcm &>(aLaw)
                                : static_cast<IDecodeToPcm &>(muLaw);
    QCOMPARE(decode(decoder, 0, clip(file)), expected);
}

void tst_G7Vectors::g726_isBitExact_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reference");
    QTest::addColumn<int>("rate");
    for (int rate = 2; rate <= 5; ++rate) {
        const int kbit = rate * 8;
        const QString vector = QStringLiteral("g726/rn%1fa").arg(kbit);
        QTest::newRow(qPrintable(vector))
            << vector + QStringLiteral(".g726") << vector + QStringLiteral(".linear.pcm") << rate;
        for (const char *name : {"allison_congrats", "itu_voice"}) {
            const QString speech = QStringLiteral("g726/%1_%2").arg(QLatin1String(name)).arg(kbit);
            QTest::newRow(qPrintable(speech))
                << speech + QStringLiteral(".g726") << speech + QStringLiteral(".pcm") << rate;
        }
    }
}

void tst_G7Vectors::g726_isBitExact()
{
    QFETCH(QString, file);
    QFETCH(QString, reference);
    QFETCH(int, rate);
    const QByteArray expected = clip(reference);
    QVERIFY(!expected.isEmpty());
    G726ToPcm decoder;
    const QByteArray decoded = decode(decoder, rate, clip(file));
    QCOMPARE(decoded.size(), expected.size());
    for (int i = 0; i < expected.size(); i += 2)
        QVERIFY2(decoded.mid(i, 2) == expected.mid(i, 2),
                 qPrintable(QStringLiteral("sample %1").arg(i / 2)));
}

int main(int argc, char **argv)
{
    if (const int code = vantratest::mediaExitCode())
        return code;
    tst_G7Vectors test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_g7vectors.moc"
