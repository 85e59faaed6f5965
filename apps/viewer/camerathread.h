// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "camerafiles.h"
#include "core_video/ffmpegvideothread.h"

/// The stream of one address, with recordings named after their times.
class CameraThread final : public FFmpegVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(CameraThread)

public:
    CameraThread(const CameraFiles &files, QObject *parent);
    ~CameraThread() override;

protected:
    // On the stream thread.
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;

private:
    const CameraFiles m_files;
};
