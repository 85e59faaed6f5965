// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Clips of real cameras, served by a real RTSP server: what leaves the stream thread is what the
// reference decoder made of the same file, and what a widget shows is that picture.
#include "support/accessunits.h"
#include "support/filecontent.h"
#include "support/framemd5.h"
#include "support/media.h"
#include "support/privatepulse.h"
#include "support/rtspserver.h"
#include "systemcase.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTest>
#include <QtEndian>

#include <array>
#include <cmath>
#include <map>

extern "C" {
#include <libavutil/log.h>
}

using namespace vantratest;

namespace {

constexpr int kPlayMs = 120000; ///< safeguard
constexpr int kPatienceMs = 20000;
constexpr int kShownPictures = 15;
constexpr int kMostAttempts = 4;

QString mediaFile(const QString &name)
{
    return QDir(mediaDir()).filePath(name);
}

/// Brightness of a picture in a few fields, 0 to 255 from black to white.
struct Fields
{
    static constexpr int kColumns = 8;
    static constexpr int kRows = 6;
    std::array<double, kColumns * kRows> mean{};

    template<typename Brightness>
    static Fields of(int width, int height, Brightness brightness)
    {
        Fields fields;
        std::array<int, kColumns * kRows> count{};
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int at = y * kRows / height * kColumns + x * kColumns / width;
                fields.mean[at] += brightness(x, y);
                ++count[at];
            }
        }
        for (std::size_t i = 0; i < count.size(); ++i)
            fields.mean[i] /= std::max(count[i], 1);
        return fields;
    }

    static Fields of(const quint8 *luma, quint32 line, int width, int height, bool fullRange)
    {
        return of(width, height, [=](int x, int y) {
            const int value = luma[std::size_t(y) * line + x];
            return fullRange ? value : std::clamp((value - 16) * 255 / 219, 0, 255);
        });
    }

    static Fields of(const QImage &image)
    {
        return of(image.width(), image.height(), [&image](int x, int y) {
            const QRgb pixel = reinterpret_cast<const QRgb *>(image.constScanLine(y))[x];
            return 0.299 * qRed(pixel) + 0.587 * qGreen(pixel) + 0.114 * qBlue(pixel);
        });
    }

    /// Of any field, in steps of brightness.
    double largestDifference(const Fields &other) const
    {
        double largest = 0;
        for (std::size_t i = 0; i < mean.size(); ++i)
            largest = std::max(largest, std::abs(mean[i] - other.mean[i]));
        return largest;
    }
};

/// What is played.
struct Clip
{
    const char *file;
    const char *transport;
    /// 0: the clip is sent one time, and played to its end. Else it is sent again and again, and
    /// played until so many pictures have come.
    int pictures;
    /// Pictures of the end that do not come. Where some are shown in another order than they are
    /// coded in, the decoder shows none before its place is sure, and nothing asks it for those
    /// that it holds when the clip is over. Besides, a change of size ends the play.
    int missing;
    const char *sound; ///< file of the PCM that was coded; null: none, or one that is not served
    bool fullRange = false;
};

const Clip kClips[] = {
    {"camera-like/car_h264_alaw.mkv", "tcp", 0, 0, "g711/allison_congrats.al.pcm"},
    {"camera-like/car_h264_alaw.mkv", "udp", 0, 0, "g711/allison_congrats.al.pcm"},
    {"camera-like/car_h265_mulaw.mkv", "tcp", 0, 0, "g711/itu_voice.ul.pcm"},
    {"camera-like/car_h265_mulaw.mkv", "udp", 0, 0, "g711/itu_voice.ul.pcm"},
    {"camera-like/car_h264_g726-32.mkv", "tcp", 200, 0, nullptr},
    {"camera/car-detection.mp4", "tcp", 0, 0, nullptr},
    {"camera/bottle-detection.mp4", "tcp", 600, 2, nullptr},
    {"camera/eat.mkv", "tcp", 0, 2, nullptr, true},
    {"camera/nasa_13013.mp4", "tcp", 0, 2, nullptr},
    {"derived/car_768x432_slices4_opengop.265", "tcp", 0, 2, nullptr},
    {"derived/car_reschange_3sizes.265", "tcp", 0, 50, nullptr},
    {"derived/cctv_318x238_ippp_aud.265", "tcp", 300, 0, nullptr},
    {"derived/cctv_320x240_intrarefresh.264", "tcp", 0, 0, nullptr},
    {"derived/cctv_320x240_mbaff_slices4.264", "tcp", 0, 2, nullptr},
};
constexpr int kClipCount = int(std::size(kClips));

QString mountOf(int clip)
{
    return QStringLiteral("clip%1").arg(clip);
}

/// One clip played from its beginning, to its end or until so many pictures have come, without a
/// window.
class Play : public QObject
{
    Q_DISABLE_COPY(Play)

public:
    Play(const QString &url, const Clip &clip)
    {
        using Thread = AbstractVideoThread;
        thread->setVideoUrl(url);
        thread->setTransport(clip.transport);
        thread->setVideoMode(VideoMode_Opengl);
        thread->setConnectTimeout(kPatienceMs);
        thread->setReadTimeout(kPatienceMs);
        thread->previewRef().fetch_add(1);
        // The end of the clip would else be taken for a fault, and the clip be opened again.
        connect(
            thread.get(), &Thread::receivePlayFinsh, this, [this] { thread->stop(); },
            Qt::BlockingQueuedConnection);
        connect(thread.get(), &Thread::receiveAudioFormat, this,
                [this](int rate, int channels, int bits) {
                    format = QStringLiteral("%1:%2:%3").arg(rate).arg(channels).arg(bits);
                });
        connect(thread.get(), &Thread::receiveAudio, this,
                [this](const QByteArray &pcm) { sound += pcm; });
        connect(
            thread.get(),
            qOverload<int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32>(
                &Thread::receiveFrame),
            this,
            [this, clip](int width, int height, quint8 *y, quint8 *u, quint8 *v, quint32 lineY,
                         quint32 lineU, quint32 lineV) {
                const uint8_t *const planes[] = {y, u, v};
                const int lines[] = {int(lineY), int(lineU), int(lineV)};
                if (clip.pictures > 0 && sums.size() >= clip.pictures)
                    return;
                sums.append(pictureMd5(planes, lines, width, height, AV_PIX_FMT_YUV420P));
                size = QSize(width, height);
                if (fields.size() < kShownPictures)
                    fields.append(Fields::of(y, lineY, width, height, clip.fullRange));
                if (sums.size() == clip.pictures)
                    thread->stop();
            },
            Qt::BlockingQueuedConnection);
        thread->play();
    }

    ~Play() override { thread.reset(); } // while this is whole, because it receives

    bool hasEnded() const { return thread->isFinished(); }

    QVector<QByteArray> sums; ///< of the planes, one per picture
    QVector<Fields> fields;   ///< of the first pictures
    QSize size;
    QString format; ///< of the sound
    QByteArray sound;

private:
    std::unique_ptr<FFmpegVideoThread> thread = std::make_unique<FFmpegVideoThread>();
};

/// A view that notes the brightness of what it shows.
class FootageView : public PlayView
{
    Q_DISABLE_COPY(FootageView)

public:
    using PlayView::PlayView;
    QVector<Fields> shown;
    QSize shownSize;

protected:
    void receiveImage(const QImage &picture, int time) override
    {
        PlayView::receiveImage(picture, time);
        if (sender() != videoThread || !isRunning || shown.size() >= kShownPictures)
            return;
        shownSize = pictureSize();
        shown.append(Fields::of(shot().convertToFormat(QImage::Format_RGB32)));
    }
};

QVector<qint16> channelOf(const QByteArray &pcm, int channel, int channels)
{
    QVector<qint16> samples(pcm.size() / int(sizeof(qint16)) / channels);
    for (int i = 0; i < samples.size(); ++i) {
        const auto at = sizeof(qint16) * std::size_t(i * channels + channel);
        samples[i] = qFromLittleEndian<qint16>(pcm.constData() + at);
    }
    return samples;
}

/// Where `part` begins in `whole`, each sample 3 dB lower and rounded, as it is in each of two
/// channels that share its power. -1 if nowhere.
int findAtHalfPower(const QVector<qint16> &part, const QVector<qint16> &whole)
{
    for (int at = 0; at + part.size() <= whole.size(); ++at) {
        int i = 0;
        while (i < part.size() && std::abs(part[i] - whole[at + i] * M_SQRT1_2) <= 1.0)
            ++i;
        if (i == part.size())
            return at;
    }
    return -1;
}

/// Empty if the pictures are those of the reference, passed through as often as need be.
QString differenceOfPictures(const Clip &clip, const QVector<QByteArray> &sums)
{
    const QVector<QByteArray> reference = readFrameMd5(mediaFile(clip.file));
    if (reference.isEmpty())
        return QStringLiteral("no reference");
    for (int i = 0; i < sums.size(); ++i) {
        if (sums[i] != reference[i % reference.size()])
            return QStringLiteral("picture %1 differs").arg(i);
    }
    const int wanted = clip.pictures > 0 ? clip.pictures : reference.size() - clip.missing;
    return sums.size() == wanted
               ? QString()
               : QStringLiteral("%1 pictures instead of %2").arg(sums.size()).arg(wanted);
}

/// Empty if the sound is one piece of the reference, which begins with the first key picture and,
/// over TCP, ends with the last. Over UDP a client that is late empties the socket of the pictures
/// first, and the end of these is the end of the play.
QString differenceOfSound(const Clip &clip, const Play &played)
{
    constexpr int kRate = 8000;
    const QVector<qint16> left = channelOf(played.sound, 0, 2);
    if (channelOf(played.sound, 1, 2) != left)
        return QStringLiteral("the channels differ");
    const int begin = findAtHalfPower(left, channelOf(contentOf(mediaFile(clip.sound)), 0, 1));
    if (begin < 0 || begin > kRate / 2)
        return QStringLiteral("begins at %1").arg(begin);
    const int pictureSamples = played.sums.size() * kRate * 2 / 25; // 12.5 pictures per second
    const int wanted = clip.transport == QLatin1String("tcp") ? pictureSamples - kRate / 2 : kRate;
    return begin + left.size() >= wanted
               ? QString()
               : QStringLiteral("%1 of %2 samples").arg(begin + left.size()).arg(wanted);
}

} // namespace

class TestRealFootage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void cleanup() { QCOMPARE(log->unexpected(), QStringList()); }
    void cleanupTestCase();

    void planes_areThoseOfTheReference_data()
    {
        rows([](const Clip &) { return true; });
    }
    void planes_areThoseOfTheReference();
    void sound_isThatOfTheReference_data()
    {
        rows([](const Clip &clip) { return clip.sound; });
    }
    void sound_isThatOfTheReference();
    void painter_showsThesePictures_data()
    {
        rows([](const Clip &clip) { return clip.transport == QLatin1String("tcp"); });
    }
    void painter_showsThesePictures();

private:
    template<typename Filter>
    static void rows(Filter filter);
    void play(int clip);
    void show(int clip);
    /// What is wrong with the play of a clip when it has ended; empty if nothing. Over UDP it is
    /// played again while the kernel owns up to a loss.
    template<typename Difference>
    QString differenceOfPlay(int clip, Difference difference);

    std::unique_ptr<LogCapture> log;
    PrivatePulse pulse;
    RtspServer server;
    std::map<int, std::unique_ptr<Play>> plays; ///< by the index of the clip
    std::map<int, std::unique_ptr<FootageView>> views;
    qint64 dropped = 0; ///< datagrams, before the last play began
};

template<typename Filter>
void TestRealFootage::rows(Filter filter)
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < kClipCount; ++i) {
        const Clip &clip = kClips[i];
        if (filter(clip))
            QTest::addRow("%s %s", clip.file, clip.transport) << i;
    }
}

/// All clips are played side by side from the start, because each takes its time.
void TestRealFootage::initTestCase()
{
    quietConsole();
    QVERIFY2(pulse.start(), qPrintable(pulse.log())); // without one, Qt complains
    log = std::make_unique<LogCapture>();
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral(
                                           "^\\(ffvdthr\\)read frame err\\(\\d:End of file\\)$")));
    announceStop(log.get());
    QStringList arguments;
    for (int i = 0; i < kClipCount; ++i) {
        const QString once = kClips[i].pictures > 0 ? QString() : QStringLiteral(":once");
        arguments << "--clip" << mountOf(i) + "=" + mediaFile(kClips[i].file) + once;
    }
    QVERIFY2(server.start(arguments), qPrintable(server.log()));
    dropped = droppedDatagrams();
    for (int i = 0; i < kClipCount; ++i) {
        if (!kClips[i].sound)
            announceNoSound(log.get(), server.url(mountOf(i)));
        play(i);
    }
}

void TestRealFootage::cleanupTestCase()
{
    for (const auto &view : views)
        QVERIFY(endPlay(view.second.get()));
}

void TestRealFootage::play(int clip)
{
    plays[clip] = std::make_unique<Play>(server.url(mountOf(clip)), kClips[clip]);
}

void TestRealFootage::show(int clip)
{
    if (kClips[clip].transport != QLatin1String("tcp"))
        return;
    auto view = std::make_unique<FootageView>(server.url(mountOf(clip)));
    view->setTimeouts(kPatienceMs, kPatienceMs);
    view->show();
    view->start();
    holdForEachPicture(view.get());
    views[clip] = std::move(view);
}

template<typename Difference>
QString TestRealFootage::differenceOfPlay(int clip, Difference difference)
{
    QString found;
    for (int attempt = 1; attempt <= kMostAttempts; ++attempt) {
        if (!waitFor([&] { return plays[clip]->hasEnded(); }, kPlayMs))
            return QStringLiteral("does not end");
        found = difference(*plays[clip]);
        const qint64 now = droppedDatagrams();
        if (found.isEmpty() || kClips[clip].transport != QLatin1String("udp") || now == dropped)
            break;
        dropped = now;
        play(clip);
    }
    return found;
}

void TestRealFootage::planes_areThoseOfTheReference()
{
    QFETCH(int, index);
    const QString found = differenceOfPlay(index, [&](const Play &played) {
        return differenceOfPictures(kClips[index], played.sums);
    });
    QVERIFY2(found.isEmpty(), qPrintable(found));
}

void TestRealFootage::sound_isThatOfTheReference()
{
    QFETCH(int, index);
    const QString found = differenceOfPlay(
        index, [&](const Play &played) { return differenceOfSound(kClips[index], played); });
    QVERIFY2(found.isEmpty(), qPrintable(found));
    QCOMPARE(plays[index]->format, QStringLiteral("8000:2:16"));
}

void TestRealFootage::painter_showsThesePictures()
{
    QFETCH(int, index);
    QVERIFY(waitFor([&] { return plays[index]->hasEnded(); }, kPlayMs));
    const QVector<Fields> &wanted = plays[index]->fields;
    QCOMPARE(wanted.size(), kShownPictures);

    if (views.empty()) { // the first row shows all side by side
        for (int i = 0; i < kClipCount; ++i)
            show(i);
        av_log_set_level(AV_LOG_QUIET); // the first encoder for talk has raised it
    }
    FootageView &view = *views[index];
    QVERIFY(waitFor([&] { return view.shown.size() >= kShownPictures; }, kPlayMs));
    QCOMPARE(view.shownSize, plays[index]->size);
    for (int i = 0; i < kShownPictures; ++i) {
        const double off = view.shown[i].largestDifference(wanted[i]);
        QVERIFY2(off < 4, qPrintable(QStringLiteral("picture %1 by %2").arg(i).arg(off)));
    }
    // The yardstick itself: there is something to be seen in the picture.
    const auto [darkest, brightest] =
        std::minmax_element(wanted[0].mean.begin(), wanted[0].mean.end());
    QVERIFY(*brightest - *darkest > 20);
}

int main(int argc, char *argv[])
{
    if (const int code = mediaExitCode(); code != 0)
        return code;
    QApplication application(argc, argv);
    TestRealFootage test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_realfootage.moc"
