// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The thread against a scripted source of made clips: what it tells, in which order, what it
/// delivers, and how it fails. Its life (stop, restart, deletion) is tested beside this.

#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include "core_ffmpeg/ffmpeghelper.h"

#include <QMetaMethod>
#include <QTemporaryDir>
#include <QtTest>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cstdlib>
#include <cstring>

using namespace vantratest;

namespace {

constexpr int kGop = 25; ///< pictures from one key picture of a made clip to the next

/// A codec of this kind that a container can name and nothing here decodes; 0 if there is none.
int codecWithoutDecoder(const AVCodecTag *tags)
{
    const AVCodecTag *const lists[] = {tags, nullptr};
    for (int id = 1; id < 0x20000; ++id) {
        const auto codec = static_cast<AVCodecID>(id);
        const unsigned tag = av_codec_get_tag(lists, codec);
        if (tag != 0 && av_codec_get_id(lists, tag) == codec && !avcodec_find_decoder(codec))
            return id;
    }
    return 0;
}

/// Changes the audio format in all tags of an FLV stream to one that stands for no codec.
void makeFlvAudioUnknown(QByteArray *bytes)
{
    constexpr int kFileHeader = 13;
    constexpr int kTagHeader = 11;
    constexpr char kAudioTag = 8;
    constexpr int kDeviceSpecific = 15;
    for (int at = kFileHeader; at + kTagHeader < bytes->size();) {
        const auto byte = [&](int i) {
            return static_cast<int>(static_cast<quint8>(bytes->at(at + i)));
        };
        const int size = byte(1) << 16 | byte(2) << 8 | byte(3);
        if (bytes->at(at) == kAudioTag)
            (*bytes)[at + kTagHeader] =
                static_cast<char>(kDeviceSpecific << 4 | (byte(kTagHeader) & 0xf));
        at += kTagHeader + size + 4;
    }
}

} // namespace

class TestFFmpegVideoThread : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void metaObject_addsTwoProtectedSlots();
    void opening_tellsInThisOrder();
    void pictures_areLent_oneByOne();
    void sound_isStereo_ofTheSource();
    void sound_beyondTheBuffer_isDropped();
    void videoOnly_hasNoAudio();
    void audioOnly_decodesNothing();
    void frameRate_fallsBackToTheBaseRate();
    void codecRender_mayChangeModeAndHardware();
    void rotate_forcesSoftware();
    void withoutMode_decodesAndDeliversNothing();
    void delivery_data();
    void delivery();
    void painter_imageOutlivesTheSource();
    void painter_scalersGiveTheSamePicture();
    void painter_buildsOneScaler_forFullRangeToo();
    void otherLayouts_areNotLentAsPlanes();
    void snapshot_data();
    void snapshot();
    void snapshot_isPending_untilItIsFinished();
    void snapshot_withoutAName_isGivenUp();
    void snapshot_isNotTaken_ofAPictureThatIsNotOnTheCard();
    void withoutViewer_readsAndDecodesNothing_untilTheNextKeyPicture();
    void sizeChange_isNeverDelivered_andRestarts();
    void deviceCodecChange_restarts_withoutReadTimeout();
    void deviceCodec_sameOrInvalid_goesOn();
    void deviceCodec_isKept_onlyIfTheDeviceAnswers();

    void failure_urlNotFound_hasNoLine();
    void failure_connect();
    void failure_openInput();
    void failure_findStreams();
    void failure_findDecoder();
    void failure_openDecoder();
    void failure_resolution();
    void failure_findAudioDecoder();
    void failure_openAudioDecoder();
    void failure_hardwareName();
    void failure_hardwareDevice();
};

void TestFFmpegVideoThread::metaObject_addsTwoProtectedSlots()
{
    const QMetaObject &meta = FFmpegVideoThread::staticMetaObject;
    QStringList added;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Protected);
        added << QString::fromLatin1(method.typeName()) + QLatin1Char(' ') +
                     QString::fromLatin1(method.methodSignature());
    }
    QCOMPARE(added, (QStringList{QStringLiteral("bool openVideo()"),
                                 QStringLiteral("void closeVideo()")}));
}

void TestFFmpegVideoThread::opening_tellsInThisOrder()
{
    TcpSource source(clipWithSound());
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    int rateAtStart = 0;
    bool okAtStart = false;
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0")) {
            rateAtStart = thread.getFrameRate();
            okAtStart = thread.getIsOk();
        }
    };
    thread.play();
    QVERIFY(waitFor([&] { return !watcher.pictures.isEmpty(); }));
    QCOMPARE(watcher.first(9),
             QStringLiteral("started codecRender:H264:320x240 sizeChanged audioFormat:8000:2:16 "
                            "playStart:0 renderStart codecRender:H264:320x240 renderStart frame"));
    QVERIFY(okAtStart);
    QCOMPARE(rateAtStart, 25);
    QCOMPARE(thread.getVideoWidth(), 320);
    QCOMPARE(thread.getVideoHeight(), 240);
    QCOMPARE(thread.videoCodecId, static_cast<int>(AV_CODEC_ID_H264));
    QCOMPARE(thread.audioCodecId, static_cast<int>(AV_CODEC_ID_PCM_ALAW));
    QCOMPARE(thread.sampleRate, 8000);
    QCOMPARE(thread.channelCount, 2);
    QCOMPARE(thread.profile, -99); // as the decoder tells it: unknown
    watcher.events.clear();
    end(&thread);
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("finished")); }));
    QVERIFY(watcher.events.indexOf(QStringLiteral("playFinsh")) <
            watcher.events.indexOf(QStringLiteral("finished")));
    QVERIFY(!thread.getIsOk());
    QCOMPARE(thread.getVideoWidth(), 0);
    QVERIFY(!thread.stopped); // ready for the next play
    QVERIFY(!watcher.wrongThread);
    QCOMPARE(watcher.count(QStringLiteral("decoderDestroyed")), 0);
    QCOMPARE(log->lines().last().text, QStringLiteral("(ffvdthr)teminate ff thr"));
    QCOMPARE(log->lines().last().level, Logger::Info);
}

void TestFFmpegVideoThread::pictures_areLent_oneByOne()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 50; }));
    for (int i = 0; i < 50; ++i) {
        QCOMPARE(watcher.pictures.at(i).number, i);
        QCOMPARE(watcher.pictures.at(i).width, 320);
        QCOMPARE(watcher.pictures.at(i).height, 240);
    }
    QVERIFY(!watcher.ranAhead); // run() stood still in each slot
    QVERIFY(!watcher.wrongThread);
    end(&thread);
}

void TestFFmpegVideoThread::sound_isStereo_ofTheSource()
{
    TcpSource source(clipWithSound());
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.play();
    // Two seconds at 8000 Hz, but for what lies before the first key picture.
    QVERIFY(waitFor([&] { return watcher.sound.size() >= 2 * 8000 * 4 - 4 * 320; }));
    const auto *samples = reinterpret_cast<const qint16 *>(watcher.sound.constData());
    const int count = watcher.sound.size() / 4;
    int loudest = 0;
    int crossings = 0;
    for (int i = 1; i < count; ++i) {
        QCOMPARE(samples[2 * i], samples[2 * i + 1]);
        loudest = std::max(loudest, std::abs(static_cast<int>(samples[2 * i])));
        crossings += samples[2 * i - 2] < 0 && samples[2 * i] >= 0;
    }
    const double hertz = crossings * 8000.0 / count;
    QVERIFY2(hertz > 430 && hertz < 450, qPrintable(QString::number(hertz)));
    QVERIFY2(loudest > 6000 && loudest < 13000, qPrintable(QString::number(loudest)));
    QCOMPARE(watcher.sound.size() % (160 * 4), 0);
    end(&thread);
}

void TestFFmpegVideoThread::sound_beyondTheBuffer_isDropped()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.samplesPerPacket = 72001; // the buffer takes 72000 in stereo
    options.audio = QByteArray(3 * options.samplesPerPacket, '\x55');
    TcpSource source(makeStream(units(750), options));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 750; }));
    QVERIFY(watcher.sound.isEmpty());
    end(&thread);
}

void TestFFmpegVideoThread::videoOnly_hasNoAudio()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    int audioIndex = 7;
    watcher.atFrame = [&] { audioIndex = thread.audioIndex; };
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() > 3; }));
    QCOMPARE(audioIndex, -1);
    QCOMPARE(thread.audioCodecId, 0x10006);
    QCOMPARE(thread.channelCount, 1);
    QVERIFY(!watcher.events.join(QLatin1Char(' ')).contains(QStringLiteral("audioFormat")));
    QCOMPARE(log->count(Logger::Warning,
                        QStringLiteral("(ffvdthr)no audio stream in %1").arg(source.url())),
             1);
    end(&thread);
}

void TestFFmpegVideoThread::audioOnly_decodesNothing()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_MULAW;
    options.audio = encodeMuLaw(makeTone(16000, 8000, 440));
    TcpSource source(makeStream({}, options));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    log->expect(Logger::Warning,
                QStringLiteral("(ffvdthr)no video stream in %1").arg(source.url()));
    int videoIndex = 7;
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            videoIndex = thread.videoIndex;
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 90; }));
    QCOMPARE(videoIndex, -1);
    QCOMPARE(thread.keyPackets.load(), 0);
    QVERIFY(watcher.sound.isEmpty());
    QCOMPARE(watcher.first(4),
             QStringLiteral("started audioFormat:8000:2:16 playStart:0 renderStart"));
    QCOMPARE(log->missing(), QStringList());
    end(&thread);
}

void TestFFmpegVideoThread::frameRate_fallsBackToTheBaseRate()
{
    // 90 is no rate of a camera; the base rate, here the same, is taken as it is.
    StreamOptions options;
    options.fps = 90;
    TcpSource source(makeStream(units(100), options));
    TestThread thread(source.url());
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("playStart:0")); }));
    QCOMPARE(thread.getFrameRate(), 90);
    end(&thread);
}

void TestFFmpegVideoThread::codecRender_mayChangeModeAndHardware()
{
    // Told before the decoder opens: a hardware name of the receiver's counts for this very open.
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("nonsense"));
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atEvent = [&](const QString &event) {
        if (event.startsWith(QLatin1String("codecRender"))) {
            thread.setHardware(QStringLiteral("none"));
            thread.setVideoMode(VideoMode_Opengl);
        }
    };
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 50; }));
    QCOMPARE(thread.opens.load(), 1);
    end(&thread);
}

void TestFFmpegVideoThread::rotate_forcesSoftware()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("nonsense"));
    thread.setRotate(90);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return !watcher.pictures.isEmpty(); }));
    QCOMPARE(thread.getHardware(), QStringLiteral("none"));
    end(&thread);
}

void TestFFmpegVideoThread::withoutMode_decodesAndDeliversNothing()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    QTemporaryDir dir;
    thread.play();
    thread.snap(dir.filePath(QStringLiteral("a.jpg")));
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    // Decoding has begun: the render signals come once more, before the first decoded picture.
    QCOMPARE(watcher.count(QStringLiteral("codecRender:H264:320x240")), 2);
    QCOMPARE(watcher.pictures.size() + watcher.images.size() + watcher.twoPlanes +
                 watcher.surfaces + watcher.textures,
             0);
    QVERIFY(thread.getIsSnap()); // and no snapshot either
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("a.jpg"))));
    end(&thread);
}

void TestFFmpegVideoThread::delivery_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("hardware");
    QTest::addColumn<QString>("form");
    QTest::newRow("window, software") << 0 << "none"
                                      << "";
    QTest::newRow("painter, software") << 1 << "none"
                                       << "image";
    QTest::newRow("OpenGL, software") << 2 << "none"
                                      << "planes";
    QTest::newRow("Direct3D 9, software") << 3 << "none"
                                          << "";
    QTest::newRow("Direct3D 11, software") << 4 << "none"
                                           << "";
    QTest::newRow("unknown mode, software") << 9 << "none"
                                            << "";
    // A picture in memory although hardware is named, as from a decoder that has no support for it.
    QTest::newRow("painter, hardware") << 1 << "vaapi"
                                       << "image";
    QTest::newRow("OpenGL, hardware") << 2 << "vaapi"
                                      << "";
    QTest::newRow("Direct3D 9, hardware, no surface") << 3 << "vaapi"
                                                      << "";
    QTest::newRow("Direct3D 11, hardware, no texture") << 4 << "vaapi"
                                                       << "";
}

void TestFFmpegVideoThread::delivery()
{
    QFETCH(int, mode);
    QFETCH(QString, hardware);
    QFETCH(QString, form);
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(static_cast<VideoMode>(mode));
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            thread.setHardware(hardware);
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    QCoreApplication::processEvents();
    QCOMPARE(watcher.images.size(), form == QLatin1String("image") ? 50 : 0);
    QCOMPARE(watcher.pictures.size(), form == QLatin1String("planes") ? 50 : 0);
    QCOMPARE(watcher.twoPlanes + watcher.surfaces + watcher.textures, 0);
    end(&thread);
}

void TestFFmpegVideoThread::painter_imageOutlivesTheSource()
{
    ClipOptions made;
    made.count = 50;
    made.colour = {81, 90, 240}; // red
    made.losslessColour = true;
    TcpSource source(makeStream(makeClip(made), {}));
    ThreadWatcher watcher;
    {
        TestThread thread(source.url());
        thread.setVideoMode(VideoMode_Painter);
        thread.previewRef() = 1;
        watcher.watch(&thread);
        announceNoAudio();
        thread.play();
        QVERIFY(waitFor([&] { return watcher.images.size() >= 50; }));
        end(&thread);
    }
    // The thread and its buffers are gone; the pictures are still whole.
    QCOMPARE(watcher.images.size(), 50);
    for (const QImage &image : qAsConst(watcher.images)) {
        QCOMPARE(image.size(), QSize(320, 240));
        QCOMPARE(image.format(), QImage::Format_RGB32);
        const QColor colour = image.pixelColor(160, 200);
        QVERIFY2(colour.red() > 240 && colour.green() < 16 && colour.blue() < 16,
                 qPrintable(colour.name()));
    }
    // One buffer for all: nothing was copied in the thread.
    QCOMPARE(watcher.images.first().constBits(), watcher.images.last().constBits());
}

void TestFFmpegVideoThread::painter_scalersGiveTheSamePicture()
{
    for (const auto type :
         {DecodeType_Fast, DecodeType_Quality, DecodeType_Balanced, static_cast<DecodeType>(77)}) {
        TcpSource source(clip(50));
        TestThread thread(source.url());
        thread.setDecodeType(type);
        thread.setVideoMode(VideoMode_Painter);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        thread.play();
        QVERIFY(waitFor([&] { return watcher.images.size() >= 50; }));
        const QColor colour = watcher.images.last().pixelColor(160, 200);
        QVERIFY2(qAbs(colour.red() - 128) < 8 && qAbs(colour.green() - colour.blue()) < 4,
                 qPrintable(colour.name()));
        end(&thread);
    }
}

void TestFFmpegVideoThread::painter_buildsOneScaler_forFullRangeToo()
{
    // FFmpeg tells at each building that it takes this layout for another one of full range.
    static std::atomic<int> built{0};
    built = 0;
    av_log_set_callback([](void *, int, const char *format, va_list) {
        built += strstr(format, "deprecated pixel format") != nullptr;
    });
    ClipOptions made;
    made.count = 50;
    made.format = AV_PIX_FMT_YUVJ420P;
    made.colour = {200, 128, 128};
    TcpSource source(makeStream(makeClip(made), {}));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    const bool came = waitFor([&] { return watcher.images.size() >= 50; });
    end(&thread);
    av_log_set_callback(av_log_default_callback);
    QVERIFY(came);
    QCOMPARE(built.load(), 1);
    // The range is that of the layout: 200 stays 200.
    const QColor colour = watcher.images.last().pixelColor(160, 200);
    QVERIFY2(qAbs(colour.red() - 200) < 8, qPrintable(colour.name()));
}

void TestFFmpegVideoThread::otherLayouts_areNotLentAsPlanes()
{
    for (const auto format : {AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
        ClipOptions made;
        made.count = 50;
        made.format = format;
        const QByteArray bytes = makeStream(makeClip(made), {});
        QVERIFY(!bytes.isEmpty());
        for (const auto mode : {VideoMode_Opengl, VideoMode_Painter}) {
            TcpSource source(bytes);
            TestThread thread(source.url());
            thread.setVideoMode(mode);
            thread.previewRef() = 1;
            ThreadWatcher watcher(&thread);
            announceNoAudio();
            thread.play();
            QVERIFY(waitFor([&] { return thread.packets == 50; }));
            QCoreApplication::processEvents();
            QCOMPARE(watcher.pictures.size(), 0);
            QCOMPARE(watcher.images.size(), mode == VideoMode_Painter ? 50 : 0);
            end(&thread);
        }
    }
}

void TestFFmpegVideoThread::snapshot_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("file");
    QTest::newRow("painter") << 1 << "s/a.jpg"
                             << "s/a.jpg";
    QTest::newRow("OpenGL") << 2 << "s/a.jpg"
                            << "s/a.jpg";
    QTest::newRow("png ends as jpg") << 2 << "s/a.png"
                                     << "s/a.jpg";
}

void TestFFmpegVideoThread::snapshot()
{
    QFETCH(int, mode);
    QFETCH(QString, name);
    QFETCH(QString, file);
    QTemporaryDir dir;
    QVector<int> offsets;
    TcpSource source(clip(100, &offsets));
    source.setLimit(offsets.at(60));
    TestThread thread(source.url());
    thread.setVideoMode(static_cast<VideoMode>(mode));
    thread.setSnapPreview(true);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 50; }));
    thread.snap(dir.filePath(name));
    QVERIFY(thread.getIsSnap());
    source.release();
    QVERIFY(waitFor([&] { return !watcher.snaps.isEmpty() && !thread.getIsSnap(); }));
    QVERIFY(watcher.events.contains(QStringLiteral("snap:%1").arg(dir.filePath(file))));
    QCOMPARE(watcher.snaps.first().size(), QSize(320, 240));
    QFile written(dir.filePath(file));
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.read(2), QByteArray("\xff\xd8"));
    if (name != file)
        QVERIFY(!QFileInfo::exists(dir.filePath(name)));
    QVERIFY(!watcher.wrongThread);
    end(&thread);
}

void TestFFmpegVideoThread::snapshot_isPending_untilItIsFinished()
{
    QTemporaryDir dir;
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    thread.finishesSnaps = false;
    announceNoAudio();
    const QString name = dir.filePath(QStringLiteral("a.png"));
    thread.atCodecAsk = [&](TestThread *asking) {
        if (asking->packets == 10)
            asking->snap(name);
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    QVERIFY(thread.getIsSnap()); // a picture after the first is saved over it
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList(QStringLiteral("a.png")));
    thread.finishesSnaps = true;
    thread.snapFinsh();
    QVERIFY(!thread.getIsSnap());
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList(QStringLiteral("a.jpg")));
    end(&thread);
}

void TestFFmpegVideoThread::snapshot_withoutAName_isGivenUp()
{
    QTemporaryDir dir;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(dir.path()));
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.setSnapPreview(true);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            thread.snap();
    };
    thread.play();
    QVERIFY(waitFor([&] { return !watcher.snaps.isEmpty() && !thread.getIsSnap(); }));
    end(&thread);
    QVERIFY(watcher.snaps.first().isNull());
    QVERIFY(QDir().isEmpty());
    QDir::setCurrent(before);
}

void TestFFmpegVideoThread::snapshot_isNotTaken_ofAPictureThatIsNotOnTheCard()
{
    for (const auto mode : {VideoMode_D3D9, VideoMode_D3D11}) {
        QTemporaryDir dir;
        TcpSource source(clip(50));
        TestThread thread(source.url());
        thread.setVideoMode(mode);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        watcher.atEvent = [&](const QString &event) {
            if (event == QLatin1String("playStart:0"))
                thread.snap(dir.filePath(QStringLiteral("a.jpg")));
        };
        thread.play();
        QVERIFY(waitFor([&] { return thread.packets == 50; }));
        QVERIFY(thread.getIsSnap());
        QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("a.jpg"))));
        end(&thread);
    }
}

void TestFFmpegVideoThread::withoutViewer_readsAndDecodesNothing_untilTheNextKeyPicture()
{
    QVector<int> offsets;
    TcpSource source(clip(200, &offsets));
    source.setLimit(offsets.at(60));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    const QStringList renderSignals = {QStringLiteral("codecRender:H264:320x240"),
                                       QStringLiteral("renderStart"), QStringLiteral("frame")};
    int read = 60;
    for (int visit = 0; visit < 2; ++visit) {
        // The last packet of what has come may still wait in the demuxer for the next.
        QVERIFY(waitFor([&] { return thread.packets >= read - 1; }));
        QVERIFY(watcher.pictures.isEmpty());
        QCOMPARE(watcher.events.count(QStringLiteral("playStart:0")), visit == 0 ? 1 : 0);
        watcher.events.clear();
        thread.previewRef() = 1;
        source.release(offsets.at(read + 40));
        QVERIFY(waitFor([&] { return watcher.pictures.size() >= 5; }));
        QCOMPARE(watcher.pictures.first().number, (read / kGop + 1) * kGop);
        QCOMPARE(watcher.events, renderSignals);
        QVERIFY(waitFor([&] { return thread.packets >= read + 39; }));

        thread.previewRef() = 0;
        read += 80;
        if (visit == 1)
            break;
        source.release(offsets.at(read));
        QVERIFY(waitFor([&] { return thread.packets >= read - 1; }));
        watcher.pictures.clear();
        watcher.events.clear();
    }
    QVERIFY(thread.keyPackets > 0);
    end(&thread);
}

void TestFFmpegVideoThread::sizeChange_isNeverDelivered_andRestarts()
{
    QVector<AccessUnit> all = units(50);
    ClipOptions small;
    small.width = 176;
    small.height = 144;
    all += makeClip(small);
    TcpSource source(makeStream(all, {}));
    for (const auto mode : {VideoMode_Opengl, VideoMode_Painter}) {
        log->clear();
        TestThread thread(source.url());
        thread.setVideoMode(mode);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        thread.play();
        QVERIFY(waitFor([&] {
            return log->count(Logger::Info, QStringLiteral("(ffvdthr)restart ff thr")) > 0 &&
                   watcher.events.count(QStringLiteral("started")) > 1;
        }));
        QVERIFY(watcher.events.contains(QStringLiteral("playFinsh")));
        end(&thread);
        QVERIFY(watcher.pictures.size() + watcher.images.size() >= 50);
        for (const auto &picture : qAsConst(watcher.pictures))
            QCOMPARE(QSize(picture.width, picture.height), QSize(320, 240));
        for (const QImage &image : qAsConst(watcher.images))
            QCOMPARE(image.size(), QSize(320, 240));
    }
}

void TestFFmpegVideoThread::deviceCodecChange_restarts_withoutReadTimeout()
{
    QVector<int> offsets;
    TcpSource source(clipWithSound(200, &offsets));
    source.setLimit(offsets.at(80));
    TestThread thread(source.url());
    const HVideoEncPara h264{HCodecH264, 320, 240, 25, 1, 1000};
    const HVideoEncPara h265{HCodecH265, 320, 240, 25, 1, 1000};
    const HAudioEncPara alaw{HCodecG711A, 8000, 16, 1};
    thread.setDeviceCodec(h264, alaw);
    thread.setReadTimeout(0);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() > 20; }));
    QVERIFY(thread.curVideoPara == h264 && thread.curAudioPara == alaw);
    thread.setDeviceCodec(h265, alaw);
    source.release();
    QVERIFY(waitFor([&] { return watcher.events.count(QStringLiteral("playStart:0")) == 2; }));
    QCOMPARE(log->count(Logger::Info, QStringLiteral("(ffvdthr)restart ff thr")), 1);
    const QString told = watcher.events.join(QLatin1Char(' '));
    QVERIFY2(told.contains(QStringLiteral("playFinsh finished started codecRender")),
             qPrintable(told));
    QVERIFY(waitFor([&] { return thread.peekCodec(h265); }));

    // The audio record decides as well.
    const int opens = thread.opens;
    source.setLimit(offsets.at(80));
    HAudioEncPara mulaw = alaw;
    mulaw.codecId = HCodecG711U;
    thread.setDeviceCodec(h265, mulaw);
    source.feed(QByteArray(1, '\0'));
    QVERIFY(waitFor([&] { return thread.opens > opens; }));
    announceReadErrors();
    end(&thread);
}

void TestFFmpegVideoThread::deviceCodec_sameOrInvalid_goesOn()
{
    QVector<int> offsets;
    TcpSource source(clip(200, &offsets));
    source.setLimit(offsets.at(80));
    TestThread thread(source.url());
    const HVideoEncPara h264{HCodecH264, 320, 240, 25, 1, 1000};
    thread.setDeviceCodec(h264, {});
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 60; }));
    HVideoEncPara faster = h264; // rates play no part
    faster.frameRate = 50;
    faster.bitRate = 2000;
    thread.setDeviceCodec(faster, {});
    source.release(offsets.at(120));
    QVERIFY(waitFor([&] { return thread.packets > 100; }));
    thread.setDeviceCodec({HCodecH265, 0, 240, 25, 1, 0}, {HCodecG711A, 8000, 16, 0}, -1);
    source.release();
    QVERIFY(waitFor([&] { return thread.packets > 180; }));
    QCOMPARE(thread.opens.load(), 1);
    end(&thread);
}

void TestFFmpegVideoThread::deviceCodec_isKept_onlyIfTheDeviceAnswers()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setDeviceCodec({HCodecH264, 0, 0, 1, 1, 5}, {1, 2, 3, 4}, -1); // invalid, and refused
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 40; }));
    QCOMPARE(thread.curVideoPara.codecId, 0);
    QCOMPARE(thread.curAudioPara.channels, 1);
    end(&thread);
}

// --- Failures -----------------------------------------------------------------------------------

void TestFFmpegVideoThread::failure_urlNotFound_hasNoLine()
{
    TestThread thread;
    thread.urlFound = false;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return thread.opens >= 3; }));
    QCOMPARE(log->lines().size(), 0);
    end(&thread);
    QCOMPARE(watcher.events, (QStringList{QStringLiteral("started"), QStringLiteral("finished")}));
    QVERIFY(!thread.isReadTimeout());
}

void TestFFmpegVideoThread::failure_connect()
{
    TcpSource source;
    source.shutDown();
    TestThread thread(source.url());
    thread.play();
    const QString line = QStringLiteral("(ffvdthr)check connect failed");
    QVERIFY(waitFor([&] { return log->count(Logger::Debug, line) >= 2; }));
    QVERIFY(!thread.getIsOk());
    end(&thread);

    TestThread nowhere;
    QTest::ignoreMessage(QtCriticalMsg, "url is empty");
    nowhere.setOpenSleepTime(3600 * 1000);
    const int before = log->count(Logger::Debug, line);
    nowhere.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Debug, line) > before; }));
    end(&nowhere);
}

void TestFFmpegVideoThread::failure_openInput()
{
    TcpSource source(QByteArray(4000, '\x5a'));
    source.setClosing(true);
    TestThread thread(source.url());
    log->expect(
        Logger::Error,
        QStringLiteral("(ffvdthr)open input err(%1:Invalid data found when processing input)")
            .arg(source.url()));
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] {
        return log->count(Logger::Debug, QStringLiteral("(ffvdthr)init input failed")) >= 2;
    }));
    QCOMPARE(log->missing(), QStringList());
    end(&thread);
    QCOMPARE(watcher.events, (QStringList{QStringLiteral("started"), QStringLiteral("finished")}));
}

void TestFFmpegVideoThread::failure_findStreams()
{
    // A transport stream of padding alone.
    QByteArray padding("\x47\x1f\xff\x10", 4);
    padding.append(184, '\xff');
    TcpSource source(padding.repeated(3000));
    source.setClosing(true);
    TestThread thread(source.url());
    const QRegularExpression line(QStringLiteral("^\\(ffvdthr\\)find stream err\\(%1:.+\\)$")
                                      .arg(QRegularExpression::escape(source.url())));
    log->expectMatching(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->countMatching(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init input failed")) > 0);
}

void TestFFmpegVideoThread::failure_findDecoder()
{
    StreamOptions options;
    options.videoCodec = codecWithoutDecoder(avformat_get_riff_video_tags());
    if (!options.videoCodec)
        QSKIP("every codec that the container can name has a decoder here");
    TcpSource source(makeStream(units(50), options));
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)find decoder err(%1)").arg(source.url());
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) > 0);
}

void TestFFmpegVideoThread::failure_openDecoder()
{
    StreamOptions options;
    options.videoCodec = AV_CODEC_ID_HUFFYUV; // cannot be opened without its tables
    TcpSource source(makeStream(units(50), options));
    source.setClosing(true);
    TestThread thread(source.url());
    ThreadWatcher watcher(&thread);
    const QRegularExpression line(QStringLiteral("^\\(ffvdthr\\)avcodec open err\\(%1:.+\\)$")
                                      .arg(QRegularExpression::escape(source.url())));
    log->expectMatching(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->countMatching(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) > 0);
    // The codec's name is one of two, whatever the codec.
    QVERIFY(watcher.events.contains(QStringLiteral("codecRender:H264:320x240")));
    QVERIFY(!watcher.events.contains(QStringLiteral("sizeChanged")));
}

void TestFFmpegVideoThread::failure_resolution()
{
    StreamOptions options;
    options.format = "mpegts"; // tells no size, nor do pictures without parameter sets
    TcpSource source(makeStream(withoutParameterSets(units(50)), options));
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)resolution err(%1:0*0)").arg(source.url());
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
}

void TestFFmpegVideoThread::failure_findAudioDecoder()
{
    StreamOptions options;
    options.format = "flv";
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.audio = QByteArray(16000, 'x');
    QByteArray bytes = makeStream(units(50), options);
    makeFlvAudioUnknown(&bytes);
    TcpSource source(bytes);
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)find audio decoder err 0");
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init audio failed")) > 0);
}

void TestFFmpegVideoThread::failure_openAudioDecoder()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_SONIC; // an experimental decoder, which is not to be opened
    options.audio = QByteArray(16000, 'x');
    TcpSource source(makeStream(units(50), options));
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)audio avcodec open err Experimental feature");
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init audio failed")) > 0);
}

void TestFFmpegVideoThread::failure_hardwareName()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("nonsense"));
    log->expect(Logger::Error, QStringLiteral("(ffvdthr)hw type err 0"));
    FFmpegHelper::hwPixFmt = AV_PIX_FMT_VAAPI; // as another thread has left it
    thread.play();
    QVERIFY(waitFor([&] {
        return log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) >= 2;
    }));
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(FFmpegHelper::hwPixFmt.load(), -1);
    end(&thread);
}

void TestFFmpegVideoThread::failure_hardwareDevice()
{
    // No such card here; where there is one, the picture would stay on it.
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("vdpau"));
    const QRegularExpression line(QStringLiteral("^\\(ffvdthr\\)create hw ctx err .+$"));
    log->expectMatching(Logger::Error, line);
    thread.play();
    if (!waitFor([&] { return log->countMatching(Logger::Error, line) > 0; }, 10000)) {
        end(&thread);
        QSKIP("a VDPAU device can be opened here");
    }
    QCOMPARE(FFmpegHelper::hwPixFmt.load(), static_cast<int>(AV_PIX_FMT_VDPAU));
    end(&thread);
    FFmpegHelper::hwPixFmt = -1;
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThread)
#include "tst_ffmpegvideothread.moc"
