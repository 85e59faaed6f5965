// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Pictures of real streams against reference checksums. The units are fed one by one, as a camera
/// sends them.
///
/// What low delay gives: pictures come in the order in which they are shown, each exactly as it
/// should be. A stream without reordering loses none. One with reordering is late by its depth: the
/// pictures that the decoder holds at the end never come, for nothing follows that would push them
/// out. Where the stream does not tell its depth, the decoder learns it by the way and leaves
/// pictures out meanwhile. Of two fields sent one by one, the first gives no picture.

#include "codectest.h"
#include "support/media.h"

#include <QtTest>

using namespace vantratest;

class TestExactPictures : public CodecTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void everyPictureIsExact_data();
    void everyPictureIsExact();
    void picturesAreExactAndSomeLeftOut_whileDepthIsLearnt_data();
    void picturesAreExactAndSomeLeftOut_whileDepthIsLearnt();
    void damagedStreamIsTold_andHandleStaysUsable_data();
    void damagedStreamIsTold_andHandleStaysUsable();
    void everyClipIsCovered();

private:
    static QString path(const QString &file) { return mediaDir() + QLatin1Char('/') + file; }

    QStringList m_covered;
};

void TestExactPictures::everyPictureIsExact_data()
{
    QTest::addColumn<int>("heldBack"); // pictures that are still in the decoder at the end
    // No reordering.
    for (const char *file : {"camera-like/car_h264_alaw.mkv",
                             "camera-like/car_h264_g726-32.mkv",
                             "camera-like/car_h265_mulaw.mkv",
                             "camera/car-detection.mp4",
                             "derived/car_reschange_3sizes.265",
                             "derived/cctv_318x238_ippp_aud.265",
                             "derived/cctv_320x240_intrarefresh.264",
                             "h264/AUD_MW_E.264",
                             "h264/BA1_FT_C.264",
                             "h264/BA_MW_D.264",
                             "h264/CVFC1_Sony_C.jsv",
                             "h264/CVFI1_SVA_C.264",
                             "h264/MPS_MW_A.264",
                             "h264/MR2_TANDBERG_E.264",
                             "h264/NRF_MW_E.264",
                             "h264/QCIF_2P_I_allIPCM.264",
                             "h264/Static.264",
                             "h264/Zhling_1280x720.264",
                             "h264/seq_flat_10slices.264",
                             "h264/test_vd_1d.264",
                             "h265/bbb1080_50f.265",
                             "h265/clip-d.h265"})
        QTest::newRow(file) << 0;
    for (const char *file :
         {"h264/CABA3_SVA_B.264", "h264/CAMA3_Sand_E.264", "h264/CANL4_SVA_B.264",
          "h264/FRExt1_Panasonic.avc", "h264/Freh1_B.264", "h264/HCAFF1_HHI.264",
          "h264/HCAMFF1_HHI.264", "h264/freh5.264", "h264/tos.h264"})
        QTest::newRow(file) << 1;
    for (const char *file :
         {"camera/bottle-detection.mp4", "camera/eat.mkv", "camera/nasa_13013.mp4",
          "corrupt/sample_missing_stsd.mp4", "derived/car_768x432_slices4_opengop.265",
          "derived/cctv_320x240_mbaff_slices4.264", "h264/VID_1280x720_cabac_temporal_direct.264",
          "h264/cars_320x240.h264", "h264/test_res_change.h264",
          "h265/fragmented_captions_h265.mp4", "h265/test_hevc10.mkv"})
        QTest::newRow(file) << 2;
    for (const char *file : {"h265/cars_320x240.h265", "h265/hevc-itu-slist-a.h265",
                             "h265/sample_unrecognized_hevc_sei.mp4"})
        QTest::newRow(file) << 3;
}

void TestExactPictures::everyPictureIsExact()
{
    QFETCH(int, heldBack);
    const QString file = path(QTest::currentDataTag());
    m_covered << QTest::currentDataTag();
    const VideoUnits video = readVideoUnits(file);
    const QVector<QByteArray> reference = readFrameMd5(file);
    QVERIFY(!reference.isEmpty());
    const VideoHandle handle = makeVideo(video.codec);
    QVERIFY(handle);

    log->expect(Logger::Error, kAgain);
    int failures = 0;
    const QVector<QByteArray> sums = decodeSums(handle, video.units, &failures);
    QCOMPARE(sums.size(), reference.size() - heldBack);
    for (int i = 0; i < sums.size(); ++i)
        QVERIFY2(sums[i] == reference[i], qPrintable(QStringLiteral("picture %1").arg(i)));
    // Each call without a picture has told so; without reordering and fields there is none.
    QCOMPARE(failures, video.units.size() - sums.size());
    QCOMPARE(log->count(Logger::Error, kAgain), failures);
}

void TestExactPictures::picturesAreExactAndSomeLeftOut_whileDepthIsLearnt_data()
{
    QTest::addColumn<int>("pictures");
    // One key frame and then pictures that are all shown before their references: with low delay,
    // what comes too late for its place is not shown.
    QTest::newRow("h264/Cisco_Men_whisper_640x320_CABAC_Bframe_9.264") << 2;
    // Eight deep.
    QTest::newRow("h264/HCMP1_HHI_A.264") << 235;
}

void TestExactPictures::picturesAreExactAndSomeLeftOut_whileDepthIsLearnt()
{
    QFETCH(int, pictures);
    const QString file = path(QTest::currentDataTag());
    m_covered << QTest::currentDataTag();
    const VideoUnits video = readVideoUnits(file);
    const QVector<QByteArray> reference = readFrameMd5(file);
    const VideoHandle handle = makeVideo(video.codec);

    log->expect(Logger::Error, kAgain);
    int failures = 0;
    const QVector<QByteArray> sums = decodeSums(handle, video.units, &failures);
    QCOMPARE(sums.size(), pictures);
    int next = 0; // what comes is among the reference, and in its order
    for (const QByteArray &sum : sums) {
        next = reference.indexOf(sum, next) + 1;
        QVERIFY(next > 0);
    }
    QCOMPARE(log->count(Logger::Error, kAgain), failures);
}

void TestExactPictures::damagedStreamIsTold_andHandleStaysUsable_data()
{
    QTest::addColumn<int>("codec");
    for (const char *file :
         {"corrupt-derived/cars_320x240_bitflip.h264", "corrupt-derived/cars_320x240_burst.h264",
          "corrupt-derived/cars_320x240_drop5pct.h264",
          "corrupt-derived/cars_320x240_midstart.h264", "corrupt-derived/cars_320x240_nopsets.h264",
          "corrupt-derived/cars_320x240_tailcut.h264",
          "corrupt-derived/cars_320x240_truncnals.h264", "corrupt/BA_MW_D_P_LOST.264",
          "h264-unsupported/seq_dispersed.264"})
        QTest::newRow(file) << 1;
    for (const char *file : {"corrupt-derived/car_768x432_slices4_opengop_bitflip.265",
                             "corrupt-derived/car_768x432_slices4_opengop_burst.265",
                             "corrupt-derived/car_768x432_slices4_opengop_drop5pct.265",
                             "corrupt-derived/car_768x432_slices4_opengop_midstart.265",
                             "corrupt-derived/car_768x432_slices4_opengop_nopsets.265",
                             "corrupt-derived/car_768x432_slices4_opengop_tailcut.265",
                             "corrupt-derived/car_768x432_slices4_opengop_truncnals.265"})
        QTest::newRow(file) << 2;
    for (const char *file : {"corrupt/chunk_out_of_range.mp4", "corrupt/invalid_userdata.mp4",
                             "corrupt/sample_malformed_free_box.mp4"})
        QTest::newRow(file) << 0; // nothing to decode in them, and nothing may break
}

void TestExactPictures::damagedStreamIsTold_andHandleStaysUsable()
{
    QFETCH(int, codec);
    m_covered << QTest::currentDataTag();
    const QVector<AccessUnit> damaged = readVideoUnits(path(QTest::currentDataTag())).units;
    QCOMPARE(damaged.isEmpty(), codec == 0);
    const VideoHandle handle = makeVideo(codec == 0 ? 1 : codec);

    const QRegularExpression told(QStringLiteral(
        "^\\(ffpg\\)avcodec_(send_packet|receive_frame) failed with [0-9a-f]{8} \\(.+\\)$"));
    log->expectMatching(Logger::Error, told);
    int failures = 0;
    decodeSums(handle, damaged, &failures);
    QCOMPARE(log->countMatching(Logger::Error, told), failures);

    // The next good stream comes through from its first key frame on. What the decoder still held
    // of the damaged one may come before.
    const QString good = path(codec == 2 ? "h265/clip-d.h265" : "h264/BA_MW_D.264");
    const QVector<QByteArray> reference = readFrameMd5(good);
    const QVector<QByteArray> sums = decodeSums(handle, readVideoUnits(good).units, &failures);
    const int first = sums.indexOf(reference.first());
    QVERIFY(first >= 0);
    QCOMPARE(sums.mid(first), reference.mid(0, sums.size() - first));
    QVERIFY(sums.size() - first >= reference.size() - 3);
}

void TestExactPictures::everyClipIsCovered()
{
    // Runs last. A clip that is added has to be classed.
    QStringList missing;
    for (const char *folder : {"h264", "h265", "derived", "camera", "camera-like", "corrupt",
                               "corrupt-derived", "h264-unsupported"}) {
        const QStringList files = QDir(path(folder)).entryList(QDir::Files);
        QVERIFY(!files.isEmpty());
        for (const QString &file : files) {
            const QString name = QLatin1String(folder) + QLatin1Char('/') + file;
            if (!file.endsWith(QLatin1String("md5")) && !m_covered.contains(name))
                missing << name;
        }
    }
    QCOMPARE(missing, QStringList());
}

int main(int argc, char **argv)
{
    if (const int code = mediaExitCode())
        return code;
    QCoreApplication app(argc, argv);
    TestExactPictures test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_exactpictures.moc"
