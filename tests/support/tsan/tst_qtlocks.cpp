// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What ThreadSanitizer finds, and what it does not, with qtlocks.cpp and the list of suppressions
// in force: each scene is a process of its own, whose exit status tells whether a race was
// reported.
#include "qtlockscenes.h"

#include <QProcess>
#include <QtTest>

using namespace qtlockscenes;

namespace {

constexpr int kRaceStatus = 66; ///< exit status of a process with a report

} // namespace

class tst_QtLocks : public QObject
{
    Q_OBJECT

private slots:
    void order_isSeen_data() { addRows(orderedScenes()); }
    void order_isSeen();
    void race_isReported_data() { addRows(racingScenes()); }
    void race_isReported();

private:
    static void addRows(const Scenes &scenes)
    {
        QTest::addColumn<QString>("scene");
        for (const auto &scene : scenes)
            QTest::newRow(scene.first.constData()) << QString::fromLatin1(scene.first);
    }
    void play(QProcess &process)
    {
        QFETCH(QString, scene);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("-scene"), scene});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    }
};

void tst_QtLocks::order_isSeen()
{
    QProcess process;
    play(process);
    const QByteArray output = process.readAll();
    QVERIFY2(process.exitCode() == 0, output.constData());
    QCOMPARE(output, QByteArray());
}

void tst_QtLocks::race_isReported()
{
    QProcess process;
    play(process);
    const QByteArray output = process.readAll();
    QVERIFY2(output.contains("WARNING: ThreadSanitizer: data race"), output.constData());
    QCOMPARE(process.exitCode(), kRaceStatus);
}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "-scene") == 0) {
        for (const Scenes *scenes : {&orderedScenes(), &racingScenes()}) {
            const auto scene = scenes->find(argv[2]);
            if (scene != scenes->end()) {
                scene->second();
                return 0;
            }
        }
        return 1;
    }
    tst_QtLocks test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_qtlocks.moc"
