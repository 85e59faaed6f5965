// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/signalrecorder.h"

#include <QtTest>

using vantratest::SignalRecorder;

/// A pointer to it is no metatype.
struct Opaque
{
};

class Emitter : public QThread
{
    Q_OBJECT

signals:
    void plain();
    void number(int value);
    void number(int value, const QString &text);
    void opaque(Opaque *data, qint64 size);

protected:
    void run() override
    {
        emit number(1);
        emit plain();
    }
};

class tst_SignalRecorder : public QObject
{
    Q_OBJECT

private slots:
    void names_keepTheOrderAcrossSignals();
    void calls_noteArguments();
    void calls_noteTheEmittingThread();
    void watch_endsWithTheRecorder();
    void recorder_outlivesTheSender();
};

void tst_SignalRecorder::names_keepTheOrderAcrossSignals()
{
    Emitter emitter;
    SignalRecorder recorder;
    QVERIFY(recorder.watch(&emitter, &Emitter::plain, QStringLiteral("plain")));
    QVERIFY(recorder.watch(&emitter, qOverload<int>(&Emitter::number), QStringLiteral("number")));
    emit emitter.number(1);
    emit emitter.plain();
    emit emitter.number(2);
    QCOMPARE(recorder.names(), QStringList({"number", "plain", "number"}));
    QCOMPARE(recorder.count(QStringLiteral("number")), 2);
    recorder.clear();
    QCOMPARE(recorder.names(), QStringList());
}

void tst_SignalRecorder::calls_noteArguments()
{
    Emitter emitter;
    SignalRecorder recorder;
    recorder.watch(&emitter, qOverload<int, const QString &>(&Emitter::number),
                   QStringLiteral("n"));
    recorder.watch(&emitter, &Emitter::opaque, QStringLiteral("o"));
    emit emitter.number(7, QStringLiteral("seven"));
    emit emitter.opaque(nullptr, 9);
    QCOMPARE(recorder.calls().at(0).arguments, QVariantList({7, QStringLiteral("seven")}));
    QCOMPARE(recorder.calls().at(1).arguments.size(), 2);
    QVERIFY(!recorder.calls().at(1).arguments.at(0).isValid());
    QCOMPARE(recorder.calls().at(1).arguments.at(1).toLongLong(), 9LL);
}

void tst_SignalRecorder::calls_noteTheEmittingThread()
{
    Emitter emitter;
    SignalRecorder recorder;
    recorder.watch(&emitter, &Emitter::plain, QStringLiteral("plain"));
    emitter.start();
    QVERIFY(emitter.wait());
    emit emitter.plain();
    const auto calls = recorder.calls(QStringLiteral("plain"));
    QCOMPARE(calls.size(), 2);
    QVERIFY(calls.at(0).thread == &emitter);
    QVERIFY(calls.at(1).thread == QThread::currentThread());
}

void tst_SignalRecorder::watch_endsWithTheRecorder()
{
    Emitter emitter;
    {
        SignalRecorder recorder;
        recorder.watch(&emitter, &Emitter::plain, QStringLiteral("plain"));
    }
    emit emitter.plain();
    SignalRecorder late;
    late.watch(&emitter, &Emitter::plain, QStringLiteral("plain"));
    QCOMPARE(late.calls().size(), 0);
}

void tst_SignalRecorder::recorder_outlivesTheSender()
{
    SignalRecorder recorder;
    {
        Emitter emitter;
        recorder.watch(&emitter, &Emitter::plain, QStringLiteral("plain"));
        emit emitter.plain();
    }
    QCOMPARE(recorder.names(), QStringList("plain"));
}

QTEST_GUILESS_MAIN(tst_SignalRecorder)
#include "tst_signalrecorder.moc"
