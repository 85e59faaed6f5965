// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What a stream thread that reads by FFmpeg makes of anything that FFmpeg can read: from the open
// to the receivers of pictures and sound and into a file, on the thread of the fuzzer. An input is
// a byte of flags, then the source.
//
// What must hold besides memory: the loop ends, what is lent and what is handed over can be read to
// its end, images also when the source is closed, and each file is whole boxes from end to end.
#include "place.h"
#include "receiver.h"

#include "core_video/ffmpegvideothread.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <algorithm>
#include <iterator>
#include <memory>

using vantrafuzz::Input;
using vantrafuzz::Place;
using vantrafuzz::Process;
using vantrafuzz::Receiver;
using vantrafuzz::require;

namespace {

enum Flag { Painter = 1, Record = 2, Snap = 4, Unwatched = 8, Balanced = 16, Quality = 32 };

constexpr int kMostReads = 400;

class DrivenThread final : public FFmpegVideoThread
{
public:
    DrivenThread(unsigned flags, const QString &url, const Place &place) : flags(flags)
    {
        setVideoUrl(url);
        setVideoMode(flags & Painter ? VideoMode_Painter : VideoMode_Opengl);
        setDecodeType(flags & Quality    ? DecodeType_Quality
                      : flags & Balanced ? DecodeType_Balanced
                                         : DecodeType_Fast);
        previewRef() = (flags & Unwatched) == 0;
        setFileName(MANUAL_RECORD, place.file(QStringLiteral("record.mp4")));
        if (flags & Record)
            recordStart(MANUAL_RECORD);
        snapFile = place.file(QStringLiteral("snap.jpg"));
    }
    ~DrivenThread() override { endRun(); }

    void run() override { FFmpegVideoThread::run(); }

    bool checkOpen() override
    {
        // There is one attempt to open, and none again.
        if (!isOk)
            stopped = true;
        if (flags & Snap) {
            setSnapName(snapFile);
            isSnap = true;
        }
        return FFmpegVideoThread::checkOpen();
    }

protected:
    int getLatestRecordCodec(HVideoEncPara &, HAudioEncPara &) override
    {
        // Called after each read.
        while (saver.at(MANUAL_RECORD)->isRunning() && !saver.at(MANUAL_RECORD)->isQueueEmpty())
            QThread::yieldCurrentThread();
        if (++reads > kMostReads)
            stopped = true;
        return -1;
    }

private:
    const unsigned flags;
    QString snapFile;
    int reads = 0;
};

/// What makes FFmpeg go to places that the source names.
bool leadsElsewhere(const std::uint8_t *data, std::size_t size)
{
    for (const char *word :
         {"#EXT", "ffconcat", "m=", "rtsp", "<MPD", "[playlist]", "ASX", "://"}) {
        if (std::search(data, data + size, word, word + qstrlen(word)) != data + size)
            return true;
    }
    return false;
}

struct SourcesProcess : Process<QCoreApplication>
{
    SourcesProcess()
    {
        // Before each open the thread looks whether somebody listens there.
        require(server.listen(QHostAddress::LocalHost), "there is a port");
        folder = place.file(QStringLiteral("127.0.0.1"));
        require(QDir().mkpath(folder) && QDir::setCurrent(place.path()), "there is a folder");
        name = QStringLiteral("127.0.0.1/source:%1").arg(server.serverPort());
    }

    QTcpServer server;
    QString folder;
    QString name; ///< a host and a port for one, a relative path for the other
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static auto *const process = new SourcesProcess; // is there until the end
    Input input(data, size);
    const unsigned flags = input.take<std::uint8_t>();
    std::size_t left = 0;
    const std::uint8_t *source = input.takeBytes(size, &left);
    if (leadsElsewhere(source, left))
        return 0;
    QFile file(process->name);
    require(file.open(QIODevice::WriteOnly), "there is a file for the source");
    file.write(reinterpret_cast<const char *>(source), static_cast<qint64>(left));
    file.close();

    auto thread = std::make_unique<DrivenThread>(flags, process->name, process->place);
    const Receiver receiver(thread.get());
    thread->run();
    receiver.readAgain();
    thread.reset();
    receiver.readAgain();
    vantrafuzz::checkBoxes(process->place.file(QStringLiteral("record.mp4")));
    QFile::remove(process->place.file(QStringLiteral("record.mp4")));
    QCoreApplication::processEvents();
    while (const auto *probe = process->server.nextPendingConnection())
        delete probe;
    return 0;
}
