// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractsavethread.h"

#include <QByteArray>
#include <QList>
#include <QMutex>

/// Writes pictures as planes, one after the other: I420 without stride and without any header, so
/// that nothing in the file tells width or height.
///
/// It does not open its `file`: a subclass does so in an init() of its own, write-only. Without
/// that every picture is lost. The end of the recording closes the file. Nothing is logged: a
/// picture that cannot be written is lost, and the next one is tried.
///
/// Threads. write() may be called on any thread and waits for the disk there; the writer's own
/// thread meanwhile repeats an idle save() without a pause, which keeps one core busy. All else is
/// for the owner's thread.
class VANTRA_EXPORT SaveVideo : public AbstractSaveThread
{
    Q_OBJECT
    Q_DISABLE_COPY(SaveVideo)

public:
    explicit SaveVideo(QObject *parent = nullptr); ///< idle
    /// Ends a recording that still runs, as stop() does.
    ~SaveVideo() override;

private slots:
    /// Writes the oldest waiting picture; returns at once when there is none.
    void save() override;
    void save(QByteArray dataY, QByteArray dataU, QByteArray dataV);
    /// Drops the pictures that wait, finishes the file.
    void close() override;

public slots:
    /// What comes: width and height in pixels, pictures per second. Only stored.
    void setPara(SaveVideoType saveVideoType, int videoWidth, int videoHeight, int frameRate);
    /// A picture: width x height bytes of Y, a quarter as many of U and of V. Dropped while nothing
    /// is open and while pausing.
    void write(quint8 *dataY, quint8 *dataU, quint8 *dataV);

protected:
    // Pictures that wait for the thread; under `mutex`.
    QList<QByteArray> dataYList; ///< luma
    QList<QByteArray> dataUList; ///< chroma
    QList<QByteArray> dataVList; ///< chroma

private:
    /// For `file` and the parameters. Apart from `mutex`, which the idle thread takes without end.
    QRecursiveMutex m_outputMutex;
};
