// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/abstractvideodlthread.h"

#include "core_videobase/threadframebuffer_p.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/devicerules.h"
#include "log.h"
#include "processend_p.h"
#include "uitoolkit/quihelper.h"

namespace {

constexpr char kLogTag[] = "(atvdlthr)";
constexpr int kReadsPerTimeout = 5; ///< a read may last this part of readTimeout
constexpr int kStored = 0;          ///< answer of handleSaveMP4()

} // namespace

AbstractVideoDLThread::AbstractVideoDLThread(QObject *parent)
    : QThread(parent), saver(QSharedPointer<SaveMp4FFmpeg>::create())
{
    saver->setJoin(true);
}

AbstractVideoDLThread::~AbstractVideoDLThread()
{
    stopDL();
}

void AbstractVideoDLThread::startDL()
{
    isStop = false;
    start(InheritPriority);
}

void AbstractVideoDLThread::stopDL()
{
    isStop = true;
    if (!isRunning())
        return;
    quit();
    wait();
}

void AbstractVideoDLThread::setSavePath(const QString &savePath)
{
    this->savePath = savePath;
}

void AbstractVideoDLThread::setDateTime(const QDateTime &beginTime, const QDateTime &endTime)
{
    this->beginTime = beginTime;
    this->endTime = endTime;
}

void AbstractVideoDLThread::setSaveInterval(int seconds)
{
    saveInterval = seconds;
}

void AbstractVideoDLThread::setSaveAudio(bool saveAudio)
{
    this->saveAudio = saveAudio;
}

void AbstractVideoDLThread::setReadTimeout(int readTimeout)
{
    this->readTimeout = readTimeout;
}

// --- Hooks --------------------------------------------------------------------------------------

void AbstractVideoDLThread::initOption()
{
    fileStartPts = 0;
    curPts = 0;
    sparePts = 0;
    lastReportPts = 0;
}

void AbstractVideoDLThread::makeSaveSubDir()
{
    QUIHelper::checkPath(saveDir);
}

bool AbstractVideoDLThread::beforeDownload()
{
    return true;
}

void AbstractVideoDLThread::afterDownload() {}

// --- The loop -----------------------------------------------------------------------------------

void AbstractVideoDLThread::run()
{
    const processend::Worker worker([this] { isStop = true; });
    storeFailed = false;
    initOption();
    makeSaveSubDir();
    if (!beforeDownload()) {
        // Without sig_downloadFinsh: what has not begun does not end.
        VANTRA_LOG(Logger::Error) << "before download thr err";
        return;
    }
    FrameBuffer frame = makeFrameBuffer();
    emit sig_downloadStart();
    bool ok = false;
    bool failed = false;
    bool atEnd = !frame;
    while (!isStop && !atEnd) {
        switch (readFrame(frame.get(), readTimeout / kReadsPerTimeout)) {
        case DeviceReadFrame:
            failed = atEnd = handleSaveMP4(frame.get()) != kStored;
            break;
        case DeviceReadEnd:
            ok = atEnd = true;
            break;
        case DeviceReadTimeout:
            atEnd = ++timeoutCount >= kMaxTimeouts;
            break;
        default:
            atEnd = true;
            break;
        }
        // Time-outs and read errors end without sig_downloadError, unlike this. That is intended.
        if (failed)
            emit sig_downloadError();
    }
    afterDownload();
    frame.reset();
    if (storeFailed && !failed) {
        ok = false;
        emit sig_downloadError();
    }
    emit sig_downloadFinsh(ok);
    VANTRA_LOG(Logger::Debug) << "exit download thr";
}
