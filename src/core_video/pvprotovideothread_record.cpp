// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// PvProtoVideoThread: when a file of a recording begins and ends.
#include "core_video/pvprotovideothread.h"
#include "core_video/pvprotovideothread_p.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "log.h"

extern "C" {
#include <libavutil/rational.h>
}

#include <iterator>

namespace {

constexpr char kLogTag[] = "(pvptvthr)";
constexpr AVRational kFrameTimebase = {1, 1000}; ///< frames are stamped in milliseconds
constexpr int kWriterWaitMs = 500;
constexpr AbstractVideoThread::RecordType kRecordTypes[] = {AbstractVideoThread::MANUAL_RECORD,
                                                            AbstractVideoThread::AUTO_RECORD};
static_assert(std::size(kRecordTypes) == AbstractVideoThread::RECORD_TYPE_MAX);

} // namespace

std::atomic<QDate (*)()> pvProtoToday{&QDate::currentDate};

void PvProtoVideoThread::saveMP4(HFrameHeader *frame)
{
    // A file begins with a key picture, and its own rules end it only where the next one can begin.
    if (frame->isKeyFrame())
        renewMP4();
    for (const RecordType type : kRecordTypes) {
        if (saver.at(type)->isRunning()) {
            if (frame->isAudio() && !saveAudio.at(type))
                continue; // a recording that is no longer wanted waits for the next picture then
            saver.at(type)->writeData(frame);
        }
        if (!recording.at(type))
            closeMP4(type);
    }
}

void PvProtoVideoThread::renewMP4()
{
    // All recordings are compared before one of them notes the new form.
    bool isOver[RECORD_TYPE_MAX] = {};
    for (const RecordType type : kRecordTypes) {
        isOver[type] =
            recording.at(type) && saver.at(type)->isRunning() && isCodecChanged(saveAudio.at(type));
    }
    for (const RecordType type : kRecordTypes) {
        if (!recording.at(type))
            continue;
        if (saver.at(type)->isRunning() && (isOver[type] || isFileExpired(type) || isDateChanged()))
            closeMP4(type);
        if (!saver.at(type)->isRunning())
            startMP4(type);
    }
}

void PvProtoVideoThread::startMP4(RecordType type)
{
    HVideoEncPara video;
    HAudioEncPara audio;
    if (getLatestRecordCodec(video, audio) == 0)
        setCurRecordCodec(video, audio);
    if (!video.isValid()) {
        VANTRA_LOG(Logger::Warning) << "video codec param is invalid";
        return;
    }
    setMP4FileName(type);
    saver.at(type)->setPara(curVideoPara, saveAudio.at(type) ? curAudioPara : HAudioEncPara(),
                            kWriterWaitMs);
    saver.at(type)->setTimebase(kFrameTimebase);
    openMP4(type);
}

void PvProtoVideoThread::closeMP4(RecordType type)
{
    if (type == AUTO_RECORD)
        recordDate = QDate();
    AbstractVideoThread::closeMP4(type);
}

void PvProtoVideoThread::closeAllMP4()
{
    recordDate = QDate();
    for (const RecordType type : kRecordTypes)
        AbstractVideoThread::closeMP4(type);
}

bool PvProtoVideoThread::isDateChanged()
{
    const QDate today = pvProtoToday.load()();
    const bool changed = recordDate.isValid() && recordDate != today;
    recordDate = today;
    return changed;
}

bool PvProtoVideoThread::isCodecChanged(bool checkAudio)
{
    HVideoEncPara video;
    HAudioEncPara audio;
    getLatestRecordCodec(video, audio); // what it could not tell is not valid
    if (video.isValid() && video != curVideoPara)
        return true;
    return checkAudio && audio.isValid() && audio != curAudioPara;
}

void PvProtoVideoThread::setCurRecordCodec(const HVideoEncPara &video, const HAudioEncPara &audio)
{
    curVideoPara = video;
    curAudioPara = audio;
}
