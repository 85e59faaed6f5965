// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QGLWidget>
#include <QOpenGLFunctions>

#include <memory>

class QOpenGLShaderProgram;
class RawPicturePlayer;

/// Render surface for planar pictures of 8 bits (planes Y, U and V). The conversion to RGB is that
/// of ITU-R BT.601 for analogue Y'UV, without scaling of luma, in a fragment shader. The picture
/// fills the surface, by the nearest pixel; without one it shows QPalette::Window.
///
/// Planes are lent for the time of the call that hands them over: within it they are copied into
/// textures, whether the surface is shown or not, and the picture appears with the next paint. No
/// paint reads a plane. A picture that no texture can hold, or with lines shorter than its width
/// tells, fails alone: the last one stays. Where there is no OpenGL, nothing is kept or shown, and
/// the first picture writes a warning.
///
/// GUI thread.
class VANTRA_EXPORT YuvWidget : public QGLWidget, protected QOpenGLFunctions
{
    Q_OBJECT
    Q_DISABLE_COPY(YuvWidget)

public:
    explicit YuvWidget(QWidget *parent = nullptr);
    ~YuvWidget() override;

signals:
    /// A file that is played has ended; also with each stop().
    void playFinsh();

public slots:
    /// True: chroma planes are as high as the picture (4:2:2). False: half as high (4:2:0), rounded
    /// down. Chroma planes are half as wide in both, rounded down. For pictures that come later.
    void setYuyv(bool yuyv);
    /// Forgets the picture.
    virtual void clear();
    /// Size in pixels of the pictures that updateTextures() and play() show.
    void setFrameSize(int width, int height);
    /// Shows a picture of the size that was told last. Line sizes are bytes from row to row, 0 for
    /// no padding. Without `dataY` there is no picture; without a chroma plane it is grey.
    void updateTextures(quint8 *dataY, quint8 *dataU, quint8 *dataV, quint32 linesizeY,
                        quint32 linesizeU, quint32 linesizeV);
    /// The same with a size.
    virtual void updateFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                             quint32 linesizeY, quint32 linesizeU, quint32 linesizeV);

private slots:
    void read();

public slots:
    /// Plays a file of raw 4:2:0 pictures (Y, U, V without padding) of the size that
    /// setFrameSize() told, in place of the one before. Nothing if it cannot be read. `frameRate`:
    /// pictures per second, from 1 to 1000; playFinsh() tells the end, and the last picture stays.
    void play(QString fileName, int frameRate);
    /// Ends that, forgets the picture and emits playFinsh(), whether anything was played or not.
    void stop();

protected:
    void initializeGL() override;
    void resizeGL(int w, int h) override;
    void paintGL() override;

private:
    bool isReady();
    void ensureReady();
    void takePlanes(const quint8 *planeY, const quint8 *planeU, const quint8 *planeV);
    void forget();

    bool yuyv = false;
    int width = 0; ///< of the picture, in pixels; QWidget::width() is that of the surface
    int height = 0;
    quint32 linesizeY = 0;
    quint32 linesizeU = 0;
    quint32 linesizeV = 0;
    QString shaderVert;
    QString shaderFrag;
    std::unique_ptr<QOpenGLShaderProgram> program;
    GLuint textures[3] = {}; ///< Y, U, V
    int textureUniformY = -1;
    int textureUniformU = -1;
    int textureUniformV = -1;

    const std::unique_ptr<RawPicturePlayer> player;
    const QGLContext *readyIn = nullptr; ///< the context that initializeGL() has set up
    int largestTexture = 0;              ///< pixels
    bool hasPicture = false;             ///< the textures hold one
    bool toldMissing = false;
};
