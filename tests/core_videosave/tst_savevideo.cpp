// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/filecontent.h"
#include "support/logcapture.h"
#include "support/waitfor.h"

#include "core_videosave/savevideo.h"

#include <QMetaMethod>
#include <QMutexLocker>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>
#include <memory>

using namespace vantratest;

namespace {

constexpr int kIntMax = std::numeric_limits<int>::max();

/// Opens its file as users of the class do.
class OpeningWriter : public SaveVideo
{
public:
    bool init() override
    {
        file.setFileName(fileName);
        return file.open(QIODevice::WriteOnly);
    }

    void queue(const QByteArray &y, const QByteArray &u, const QByteArray &v)
    {
        const QMutexLocker locker(&mutex);
        dataYList.append(y);
        dataUList.append(u);
        dataVList.append(v);
    }
    int queued()
    {
        const QMutexLocker locker(&mutex);
        return dataYList.size() + dataUList.size() + dataVList.size();
    }
    void write(const char *y, const char *u, const char *v)
    {
        const auto plane = [](const char *text) {
            return reinterpret_cast<quint8 *>(const_cast<char *>(text));
        };
        SaveVideo::write(plane(y), plane(u), plane(v));
    }

    using SaveVideo::file;
    using SaveVideo::frameRate;
    using SaveVideo::saveVideoType;
    using SaveVideo::videoHeight;
    using SaveVideo::videoWidth;
};

bool call(QObject &object, const char *slot)
{
    return QMetaObject::invokeMethod(&object, slot, Qt::DirectConnection);
}

} // namespace

class TestSaveVideo : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_log = std::make_unique<LogCapture>();
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_path = m_dir->filePath(QStringLiteral("a.yuv"));
    }
    void cleanup()
    {
        QVERIFY(m_log->lines().isEmpty()); // raw writers log nothing, whatever happens
        m_log.reset();
    }

    void slots_standInTheirOrder();
    void setPara_storesItsArguments();
    void write_putsPlanes_oneAfterTheOther();
    void write_countsQuartersDown();
    void write_doesNothing_forOtherTypes();
    void write_isDropped_whilePausedOrNotOpened();
    void write_refusesBadPictures();
    void write_isLost_whenNobodyOpenedTheFile();
    void write_failures_areSurvived();
    void save_writesWaitingPictures_inOrder();
    void close_dropsWaitingPictures();
    void open_worksAgain_afterStop();

private:
    std::unique_ptr<LogCapture> m_log;
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
};

void TestSaveVideo::slots_standInTheirOrder()
{
    QCOMPARE(int(SaveVideoType_Yuv), 1);
    const QMetaObject &meta = SaveVideo::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        names += QString::fromLatin1(method.methodSignature()) +
                 QLatin1Char(method.access() == QMetaMethod::Private ? '-' : '+');
    }
    QCOMPARE(names, QStringList({"save()-", "save(QByteArray,QByteArray,QByteArray)-", "close()-",
                                 "setPara(SaveVideoType,int,int,int)+",
                                 "write(quint8*,quint8*,quint8*)+"}));
}

void TestSaveVideo::setPara_storesItsArguments()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 1920, 1080, 30);
    QCOMPARE(writer.saveVideoType, SaveVideoType_Yuv);
    QCOMPARE(writer.videoWidth, 1920);
    QCOMPARE(writer.videoHeight, 1080);
    QCOMPARE(writer.frameRate, 30);
    QVERIFY(!writer.getOpened());
}

void TestSaveVideo::write_putsPlanes_oneAfterTheOther()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 4, 2, 25);
    writer.open(m_path);
    writer.write("yyyyYYYY+", "uU+", "vV+");
    writer.write("12345678+", "ab+", "cd+");
    QCOMPARE(writer.queued(), 0);
    writer.stop();
    QCOMPARE(contentIfThere(m_path), QByteArray("yyyyYYYYuUvV12345678abcd"));
}

void TestSaveVideo::write_countsQuartersDown()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 3, 3, 25);
    writer.open(m_path);
    writer.write("123456789+", "ab+", "cd+");
    writer.setPara(SaveVideoType_Yuv, 3, 1, 25);
    writer.write("xyz+", nullptr, nullptr);
    writer.setPara(SaveVideoType_Yuv, 0, 1080, 25);
    writer.write(nullptr, nullptr, nullptr);
    writer.stop();
    QCOMPARE(contentIfThere(m_path), QByteArray("123456789abcdxyz"));
}

void TestSaveVideo::write_doesNothing_forOtherTypes()
{
    OpeningWriter writer;
    writer.open(m_path);
    for (const int type : {0, 2, -1}) {
        writer.setPara(SaveVideoType(type), 2, 2, 25);
        writer.write("yyyy", "u", "v");
    }
    writer.stop();
    QCOMPARE(contentIfThere(m_path), QByteArray());
}

void TestSaveVideo::write_isDropped_whilePausedOrNotOpened()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 2, 2, 25);
    writer.write("aaaa", "a", "a");
    writer.open(m_path);
    writer.write("bbbb", "b", "b");
    writer.pause();
    writer.write("cccc", "c", "c");
    writer.pause();
    writer.write("dddd", "d", "d");
    writer.stop();
    writer.write("eeee", "e", "e");
    QCOMPARE(contentIfThere(m_path), QByteArray("bbbbbbdddddd"));
}

void TestSaveVideo::write_refusesBadPictures()
{
    OpeningWriter writer;
    writer.open(m_path);
    const QVector<QSize> sizes{{-2, 2}, {2, -2}, {-2, -2}, {kIntMax, kIntMax}, {65536, 65536}};
    for (const QSize &size : sizes) {
        writer.setPara(SaveVideoType_Yuv, size.width(), size.height(), 25);
        writer.write("yyyy", "u", "v");
    }
    writer.setPara(SaveVideoType_Yuv, 2, 2, 25);
    writer.write(nullptr, "u", "v");
    writer.write("yyyy", nullptr, "v");
    writer.write("yyyy", "u", nullptr);
    writer.stop();
    QCOMPARE(contentIfThere(m_path), QByteArray());
}

void TestSaveVideo::write_isLost_whenNobodyOpenedTheFile()
{
    SaveVideo writer; // prepares nothing by itself, and says that all is well
    writer.setPara(SaveVideoType_Yuv, 2, 2, 25);
    writer.open(m_path);
    QVERIFY(writer.getOpened());
    quint8 plane[4] = {};
    writer.write(plane, plane, plane);
    writer.stop();
    QVERIFY(!QFile::exists(m_path));
}

void TestSaveVideo::write_failures_areSurvived()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 2, 2, 25);
    writer.open(QStringLiteral("/dev/full"));
    writer.write("yyyy", "u", "v");
    writer.stop();
    writer.open(m_path);
    writer.write("zzzz", "x", "y");
    writer.stop();
    QCOMPARE(contentIfThere(m_path), QByteArray("zzzzxy"));
}

void TestSaveVideo::save_writesWaitingPictures_inOrder()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 2, 2, 25);
    writer.open(m_path);
    writer.queue("1111", "2", "3");
    writer.queue("4444", "5", "6");
    QVERIFY(waitFor([&] { return writer.queued() == 0; }));
    writer.stop();
    QCOMPARE(contentIfThere(m_path), QByteArray("111123444456"));
}

void TestSaveVideo::close_dropsWaitingPictures()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 2, 2, 25);
    writer.file.setFileName(m_path);
    QVERIFY(writer.file.open(QIODevice::WriteOnly));
    writer.file.write("before");
    writer.queue("1111", "2", "3"); // no thread runs that would take it
    QCOMPARE(writer.queued(), 3);
    QVERIFY(call(writer, "close"));
    QCOMPARE(writer.queued(), 0);
    QCOMPARE(contentIfThere(m_path), QByteArray("before"));
    QVERIFY(call(writer, "save")); // with nothing left it returns, and needs no file
}

void TestSaveVideo::open_worksAgain_afterStop()
{
    OpeningWriter writer;
    writer.setPara(SaveVideoType_Yuv, 2, 2, 25);
    for (const char *plane : {"1111", "2222"}) {
        writer.open(m_path);
        writer.write(plane, "u", "v");
        writer.stop();
        QCOMPARE(contentIfThere(m_path), QByteArray(plane) + "uv");
    }
}

QTEST_GUILESS_MAIN(TestSaveVideo)
#include "tst_savevideo.moc"
