// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QGLWidget>
#include <QOpenGLBuffer>
#include <QOpenGLFunctions>

#include <memory>

class QOpenGLShaderProgram;
class RawPicturePlayer;

/// Render surface for NV12 pictures: a plane Y, and one of U and V in turn, both of 8 bits. As
/// YuvWidget, of which all else holds too, but for these:
///
/// - The picture is scaled smoothly.
/// - Chroma is always half as wide and half as high as luma, rounded down.
/// - The first picture painted takes luma from the plane of chroma; this is intended. The next one
///   is right.
///
/// GUI thread.
class VANTRA_EXPORT Nv12Widget : public QGLWidget, protected QOpenGLFunctions
{
    Q_OBJECT
    Q_DISABLE_COPY(Nv12Widget)

public:
    explicit Nv12Widget(QWidget *parent = nullptr);
    ~Nv12Widget() override;

signals:
    /// A file that is played has ended; also with each stop().
    void playFinsh();

public slots:
    /// Forgets the picture.
    virtual void clear();
    /// Size in pixels of the pictures that updateTextures() and play() show.
    void setFrameSize(int width, int height);
    /// Shows a picture of the size that was told last. Line sizes are bytes from row to row, 0 for
    /// no padding. Without both planes there is no picture.
    void updateTextures(quint8 *dataY, quint8 *dataUV, quint32 linesizeY, quint32 linesizeUV);
    /// The same with a size.
    virtual void updateFrame(int width, int height, quint8 *dataY, quint8 *dataUV,
                             quint32 linesizeY, quint32 linesizeUV);

private slots:
    void read();

public slots:
    /// Plays a file of raw NV12 pictures without padding; as YuvWidget::play().
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
    void takePlanes(const quint8 *planeY, const quint8 *planeUV);
    void forget();

    int width = 0; ///< of the picture, in pixels; QWidget::width() is that of the surface
    int height = 0;
    quint32 linesizeY = 0;
    quint32 linesizeUV = 0;
    QString shaderVert;
    QString shaderFrag;
    QOpenGLBuffer vbo;
    std::unique_ptr<QOpenGLShaderProgram> program;
    GLuint textures[2] = {}; ///< Y, UV

    const std::unique_ptr<RawPicturePlayer> player;
    const QGLContext *readyIn = nullptr; ///< the context that initializeGL() has set up
    int largestTexture = 0;              ///< pixels
    bool hasPicture = false;             ///< the textures hold one
    bool toldMissing = false;
};
