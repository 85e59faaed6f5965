// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The whole viewer is killed while it records eight cameras, again and again in the same folder:
// every file plays up to its last finished fragment, and nobody who starts anew breaks a file that
// is there.
#include "../core_videosave/mp4boxes.h"
#include "support/filecontent.h"
#include "support/players.h"
#include "support/rounds.h"
#include "support/rtspserver.h"
#include "support/seed.h"
#include "support/waitfor.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDirIterator>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <random>

using namespace vantratest;

namespace {

const int kKills = roundsOf(100, 4);
constexpr int kCameras = 8;
constexpr int kVideoTrack = 1;
constexpr int kLatestKillMs = 3000; ///< after every camera has a file
constexpr int kEarlyKillMs = 300;   ///< after the first one has
constexpr int kLongMs = 60000;      ///< safeguard
const char kSecret[] = "QZSECRETZQ";

/// Both codecs, with and without sound, fragments short and long; one that needs many a write.
QStringList cameras()
{
    return {"a:h264:320x180:gop=10", "b:h264:pcma:320x180:gop=10",
            "c:h265:320x180:gop=10", "d:h265:pcmu:320x180:gop=10",
            "e:h264:320x180:gop=5",  "f:h264:pcma:320x180:gop=25",
            "g:h264:320x180:gop=50", "h:h264:pcmu:320x180:gop=10:kbps=4000"};
}

/// What can be told of a file without reading it.
struct Stamp
{
    qint64 size = 0;
    QDateTime written;
    bool operator==(const Stamp &other) const
    {
        return size == other.size && written == other.written;
    }
};

/// The recordings below a folder.
QMap<QString, Stamp> recordingsBelow(const QString &folder)
{
    QMap<QString, Stamp> found;
    QDirIterator walk(folder, {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString path = walk.next();
        found.insert(path, {walk.fileInfo().size(), walk.fileInfo().lastModified()});
    }
    return found;
}

/// What of a file can be played: its whole fragments, each with its media behind it.
struct Whole
{
    int fragments = 0;
    int pictures = 0;
    int last = 0;    ///< pictures of the last one
    qint64 tail = 0; ///< bytes behind them
};

Whole wholePartOf(const QString &path)
{
    const Mp4Boxes boxes = readBoxes(path);
    Whole whole;
    whole.fragments = qMin(boxes.top.count("mdat"), boxes.fragments.size());
    whole.tail = boxes.tail;
    for (int i = 0; i < whole.fragments; ++i) {
        whole.last = 0;
        for (const TrackFragment &track : boxes.fragments.at(i))
            whole.last += track.track == kVideoTrack ? track.samples : 0;
        whole.pictures += whole.last;
    }
    return whole;
}

/// A copy of the first bytes of a file.
bool copyPart(const QString &path, const QString &copy, qint64 bytes)
{
    QFile::remove(copy);
    return QFile::copy(path, copy) && QFile::resize(copy, bytes);
}

/// What a player makes of the pictures of a file.
struct Played
{
    int read = 0;  ///< as they are in the file
    int sound = 0; ///< those that can be decoded: after a hole in what the camera sent, none can
                   ///< until the next key picture
    int decoded = 0;
};

/// Lines of ffmpeg's list of packets or pictures.
QList<QByteArray> listed(const QString &path)
{
    QList<QByteArray> lines = contentOf(path).split('\n');
    lines.erase(std::remove_if(
                    lines.begin(), lines.end(),
                    [](const QByteArray &line) { return line.isEmpty() || line.startsWith('#'); }),
                lines.end());
    return lines;
}

/// How many of these packets can be decoded.
int soundOf(const QList<QByteArray> &packets)
{
    QVector<qint64> steps;
    for (int i = 1; i < packets.size(); ++i)
        steps.append(packets.at(i).split(',').value(1).toLongLong() -
                     packets.at(i - 1).split(',').value(1).toLongLong());
    QVector<qint64> sorted = steps;
    std::sort(sorted.begin(), sorted.end());
    const qint64 regular = sorted.value(sorted.size() / 2);
    bool isSound = true;
    int count = 0;
    for (int i = 0; i < packets.size(); ++i) {
        const bool isKey = !packets.at(i).contains("F=0x0");
        isSound = isKey || (isSound && (i == 0 || steps.at(i - 1) < regular * 3 / 2));
        count += isSound;
    }
    return count;
}

/// Reads and decodes files, all of them in one go; *complaints gets whatever ffmpeg says.
QVector<Played> play(const QStringList &files, QString *complaints)
{
    const QTemporaryDir dir;
    QStringList inputs{"-nostdin", "-v", "error"}, outputs;
    for (int i = 0; i < files.size(); ++i) {
        const QString video = QStringLiteral("%1:v").arg(i);
        inputs << "-i" << files.at(i);
        outputs << "-map" << video << "-c"
                << "copy"
                << "-f"
                << "framecrc" << dir.filePath(QStringLiteral("read%1").arg(i));
        outputs << "-map" << video << "-vsync"
                << "0"
                << "-enc_time_base"
                << "-1"
                << "-f"
                << "framecrc" << dir.filePath(QStringLiteral("decoded%1").arg(i));
        outputs << "-map" << QStringLiteral("%1:a?").arg(i) << "-f"
                << "null"
                << "-";
    }
    const ProgramResult result = runProgram("ffmpeg", inputs + outputs);
    *complaints = QString::fromUtf8(result.errors) + (result.clean ? "" : "fails");
    QVector<Played> all;
    for (int i = 0; i < files.size(); ++i) {
        const QList<QByteArray> read = listed(dir.filePath(QStringLiteral("read%1").arg(i)));
        all.append({read.size(), soundOf(read),
                    listed(dir.filePath(QStringLiteral("decoded%1").arg(i))).size()});
    }
    return all;
}

struct Viewer : QProcess
{
    Viewer(const QStringList &arguments, const QByteArray &cameras)
    {
        setProcessChannelMode(MergedChannels);
        start(VANTRA_VIEWER, QStringList{"--verbose", "--record", "--cameras", "-"} + arguments);
        write(cameras);
        closeWriteChannel();
    }
    ~Viewer() override
    {
        kill();
        waitForFinished();
    }
};

/// What the kills have left behind.
struct Tally
{
    int files = 0;
    int fragments = 0;
    int pictures = 0;
    int decoded = 0;
    int torn = 0;  ///< files that end within a fragment
    int holes = 0; ///< kills in which a camera had left out pictures
    int cut = 0;   ///< files that were tried without their end too
    int empty = 0; ///< files whose first fragment was not finished
};

} // namespace

class TestKilled : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup() { dir.setAutoRemove(!QTest::currentTestFailed()); }
    void killedViewer_losesNoFinishedFragment_andGoesOnBesideThem();

private:
    bool killOnce(int early, int milliseconds);
    QString faultsOf(const QStringList &paths);
    QString changesSince(const QMap<QString, Stamp> &before) const;

    quint32 seed = 0;
    RtspServer server;
    QTemporaryDir dir;
    QByteArray addresses;
    QByteArray said;              ///< by the viewer of this round
    QMap<QString, int> wereWhole; ///< fragments of this round's files, just before the kill
    Tally tally;
};

void TestKilled::initTestCase()
{
    seed = seedOfThisRun();
    const QString credentials = QStringLiteral("keeper:") + kSecret;
    QStringList arguments{"--authenticate", credentials};
    for (const QString &camera : cameras())
        arguments << "--camera" << camera;
    QVERIFY2(server.start(arguments), qPrintable(server.log()));
    for (const QString &camera : cameras())
        addresses += server.url(camera.section(':', 0, 0), credentials).toUtf8() + '\n';
}

/// Starts the viewer and kills it, so many milliseconds after it has begun to write. False if it
/// does not come so far.
bool TestKilled::killOnce(int early, int milliseconds)
{
    const QMap<QString, Stamp> before = recordingsBelow(dir.path());
    Viewer viewer({"--folder", dir.path()}, addresses);
    const auto newFiles = [&] { return recordingsBelow(dir.path()).size() - before.size(); };
    const bool writes = waitFor([&] { return newFiles() >= (early ? 1 : kCameras); }, kLongMs);
    QTest::qWait(milliseconds); // so that it may be anywhere
    wereWhole.clear();
    for (const QString &path : recordingsBelow(dir.path()).keys())
        if (!before.contains(path))
            wereWhole.insert(path, wholePartOf(path).fragments);
    const bool ran = viewer.state() == QProcess::Running;
    viewer.kill();
    viewer.waitForFinished();
    said = viewer.readAll();
    return writes && ran;
}

/// What is wrong with the files that a kill has left behind; empty if nothing.
QString TestKilled::faultsOf(const QStringList &paths)
{
    QString faults, complaints;
    QStringList finished; // what a player must take to the end without a word
    QVector<Whole> wholes;
    for (const QString &path : paths) {
        const Whole whole = wholePartOf(path);
        ++tally.files;
        tally.fragments += whole.fragments;
        tally.pictures += whole.pictures;
        tally.torn += whole.fragments > 0 && whole.tail > 0;
        tally.empty += whole.fragments == 0;
        if (whole.fragments < wereWhole.value(path))
            faults += QStringLiteral("%1: %2 fragments of %3\n")
                          .arg(path)
                          .arg(whole.fragments)
                          .arg(wereWhole.value(path));
        if (whole.fragments == 0)
            continue;
        wholes.append(whole);
        finished.append(path);
        if (whole.tail == 0)
            continue;
        // Of its end a player may complain, but it plays the rest.
        if (play({path}, &complaints).first().read < whole.pictures)
            faults += path + " is not played\n" + complaints;
        finished.last() = dir.filePath(QStringLiteral("copy%1").arg(finished.size()));
        copyPart(path, finished.last(), QFileInfo(path).size() - whole.tail);
    }
    if (finished.isEmpty())
        return faults;
    const QVector<Played> played = play(finished, &complaints);
    bool isSound = true;
    for (int i = 0; i < played.size(); ++i) {
        const Played &file = played.at(i);
        isSound = isSound && file.sound == file.read;
        tally.decoded += file.decoded;
        if (file.read != wholes.at(i).pictures || file.decoded < file.sound)
            faults += QStringLiteral("%1: %2 pictures, %3 are read, %4 of %5 decoded\n")
                          .arg(finished.at(i))
                          .arg(wholes.at(i).pictures)
                          .arg(file.read)
                          .arg(file.decoded)
                          .arg(file.sound);
    }
    // Of what the camera has left out a decoder complains, and of nothing else.
    if (isSound)
        faults += complaints;
    else
        ++tally.holes;
    // One of them more closely, and as a machine without power might have left it.
    const int one = tally.files % finished.size();
    faults += probeFile(finished.at(one)).error;
    const QString cut = dir.filePath("cut");
    if (wholes.at(one).fragments < 2)
        return faults;
    ++tally.cut;
    const int most = wholes.at(one).pictures - wholes.at(one).last;
    if (!copyPart(finished.at(one), cut, QFileInfo(finished.at(one)).size() - 100) ||
        play({cut}, &complaints).first().read < most)
        faults += finished.at(one) + " without its end is not played\n" + complaints;
    return faults;
}

QString TestKilled::changesSince(const QMap<QString, Stamp> &before) const
{
    const QMap<QString, Stamp> now = recordingsBelow(dir.path());
    QStringList changed;
    for (auto file = before.begin(); file != before.end(); ++file)
        if (!now.contains(file.key()) || !(now.value(file.key()) == file.value()))
            changed.append(file.key());
    return changed.join('\n');
}

void TestKilled::killedViewer_losesNoFinishedFragment_andGoesOnBesideThem()
{
    std::minstd_rand random(seed | 1);
    QMap<QString, Stamp> left;
    QMap<QString, QByteArray> sums;
    for (int kill = 0; kill < kKills; ++kill) {
        const bool early = random() % 4 == 0;
        const int milliseconds = int(random() % (early ? kEarlyKillMs : kLatestKillMs));
        const QByteArray where = QStringLiteral("kill %1 of seed %2: %3 ms after %4\n")
                                     .arg(kill)
                                     .arg(seed)
                                     .arg(milliseconds)
                                     .arg(early ? "the first" : "all")
                                     .toUtf8();
        QVERIFY2(killOnce(early, milliseconds), where + said);
        QVERIFY2(!said.contains(kSecret), where + said);
        QCOMPARE(changesSince(left), QString());
        left = recordingsBelow(dir.path());
        QStringList fresh;
        for (const QString &path : left.keys()) {
            if (sums.contains(path))
                continue;
            fresh.append(path);
            const QByteArray content = contentOf(path);
            QVERIFY2(!content.contains(kSecret) && !path.contains(kSecret), qUtf8Printable(path));
            sums.insert(path, QCryptographicHash::hash(content, QCryptographicHash::Md5));
        }
        const QByteArray faults = faultsOf(fresh).toUtf8();
        QVERIFY2(faults.isEmpty(), where + faults);
        QVERIFY2(fresh.size() >= (early ? 1 : kCameras), where);
    }
    qInfo("%d kills: %d files, %d fragments, %d pictures, %d decoded; %d files torn, %d cut, %d "
          "without a fragment; %d kills with holes",
          kKills, tally.files, tally.fragments, tally.pictures, tally.decoded, tally.torn,
          tally.cut, tally.empty, tally.holes);
    QVERIFY(tally.pictures > 0);

    // Once more, and to a good end.
    Viewer viewer({"--folder", dir.path(), "--seconds", "6"}, addresses);
    QVERIFY(waitFor([&] { return viewer.state() == QProcess::NotRunning; }, kLongMs));
    said = viewer.readAll();
    QVERIFY2(viewer.exitStatus() == QProcess::NormalExit && viewer.exitCode() == 0, said);
    QVERIFY2(said.contains("streams 8, with pictures 8"), said);
    QCOMPARE(changesSince(left), QString());
    int ended = 0;
    for (const QString &path : recordingsBelow(dir.path()).keys()) {
        if (sums.contains(path)) {
            QCOMPARE(QCryptographicHash::hash(contentOf(path), QCryptographicHash::Md5),
                     sums.value(path));
            continue;
        }
        ++ended;
        QVERIFY2(QFileInfo(path).completeBaseName().count('_') == 2, qUtf8Printable(path));
        QCOMPARE(probeFile(path).error, QString());
    }
    QCOMPARE(ended, kCameras);
}

QTEST_MAIN(TestKilled)
#include "tst_killed.moc"
