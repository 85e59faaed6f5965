// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The list of suppressions hides no leak of ours: each scene is a process of its own, which leaks
// where the stack leads through a library that also leaks by itself.
#include <QtTest>

#include <QApplication>
#include <QPainter>
#include <QProcess>
#include <QThread>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <map>

namespace {

constexpr int kLeakStatus = 1; ///< exit status of a process with a leak
constexpr int kBytes = 1234;

char *volatile g_last;

__attribute__((noinline)) void leak()
{
    g_last = new char[kBytes];
    g_last = nullptr;
}

class Painted : public QWidget
{
public:
    bool done = false;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter(this).drawText(rect(), QStringLiteral("a"));
        leak();
        done = true;
    }
};

void untilDone(const bool &done)
{
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
}

const std::map<QByteArray, std::function<void()>> &scenes()
{
    static const std::map<QByteArray, std::function<void()>> all = {
        {"plain", [] { leak(); }},
        {"timer",
         [] {
             bool done = false;
             QTimer::singleShot(1, qApp, [&] {
                 leak();
                 done = true;
             });
             untilDone(done);
         }},
        {"queued call",
         [] {
             bool done = false;
             const auto slot = [&] {
                 leak();
                 done = true;
             };
             QMetaObject::invokeMethod(qApp, slot, Qt::QueuedConnection);
             untilDone(done);
         }},
        {"paint event",
         [] {
             Painted widget;
             widget.show();
             untilDone(widget.done);
         }},
        {"event loop of a thread",
         [] {
             QThread loop;
             loop.start();
             QObject object;
             object.moveToThread(&loop);
             QMetaObject::invokeMethod(
                 &object, [] { leak(); }, Qt::BlockingQueuedConnection);
             loop.quit();
             loop.wait();
         }},
    };
    return all;
}

} // namespace

class tst_LeakCheck : public QObject
{
    Q_OBJECT

private slots:
    void leak_isReported_data()
    {
        QTest::addColumn<QString>("scene");
        for (const auto &scene : scenes())
            QTest::newRow(scene.first.constData()) << QString::fromLatin1(scene.first);
    }
    void leak_isReported();
    void nothing_isReported_withoutALeak();

private:
    static void play(QProcess &process, const QString &scene)
    {
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("-scene"), scene});
        QVERIFY(process.waitForFinished(60000));
    }
};

void tst_LeakCheck::leak_isReported()
{
    QFETCH(QString, scene);
    QProcess process;
    play(process, scene);
    const QByteArray output = process.readAll();
    QVERIFY2(output.contains("1234 byte(s)"), output.constData());
    QCOMPARE(process.exitCode(), kLeakStatus);
}

void tst_LeakCheck::nothing_isReported_withoutALeak()
{
    QProcess process;
    play(process, QStringLiteral("none"));
    const QByteArray output = process.readAll();
    QVERIFY2(process.exitCode() == 0, output.constData());
}

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "-scene") == 0) {
        const auto scene = scenes().find(argv[2]);
        if (scene != scenes().end())
            scene->second();
        return 0;
    }
    tst_LeakCheck test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_leakcheck.moc"
