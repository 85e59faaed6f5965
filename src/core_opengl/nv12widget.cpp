// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/nv12widget.h"

#include "core_opengl/rawpictureplayer_p.h"
#include "core_opengl/shaders_p.h"
#include "core_opengl/surface_p.h"

#include <QCoreApplication>
#include <QOpenGLShaderProgram>

namespace {

constexpr char kLogTag[] = "(nv12wgt)";
constexpr int kPlanes = 2;

// Four corners, then their places in the textures, whose first row is the top line of the picture.
constexpr GLfloat kCorners[] = {-1, 1, 1, 1, 1, -1, -1, -1, 0, 0, 1, 0, 1, 1, 0, 1};
constexpr int kCornerBytes = 2 * sizeof(GLfloat);
constexpr int kTextureOffset = 4 * kCornerBytes;

// The units that the textures are bound to.
constexpr int kUnitY = 1;
constexpr int kUnitUV = 0;

} // namespace

Nv12Widget::Nv12Widget(QWidget *parent)
    : QGLWidget(parent), shaderVert(shaders::nv12Vertex()),
      shaderFrag(shaders::nv12Fragment(QCoreApplication::testAttribute(Qt::AA_UseOpenGLES))),
      player(std::make_unique<RawPicturePlayer>())
{
    connect(&player->timer, &QTimer::timeout, this, &Nv12Widget::read);
}

Nv12Widget::~Nv12Widget()
{
    if (!surface::makeCurrent(this))
        return;
    vbo.destroy();
    if (readyIn == context()) {
        program.reset();
        glDeleteTextures(kPlanes, textures);
    }
    doneCurrent();
}

void Nv12Widget::clear()
{
    forget();
    update();
}

void Nv12Widget::forget()
{
    width = height = 0;
    linesizeY = linesizeUV = 0;
    hasPicture = false;
}

void Nv12Widget::setFrameSize(int width, int height)
{
    this->width = width;
    this->height = height;
}

void Nv12Widget::updateTextures(quint8 *dataY, quint8 *dataUV, quint32 linesizeY,
                                quint32 linesizeUV)
{
    this->linesizeY = linesizeY;
    this->linesizeUV = linesizeUV;
    takePlanes(dataY, dataUV);
    update();
}

void Nv12Widget::updateFrame(int width, int height, quint8 *dataY, quint8 *dataUV,
                             quint32 linesizeY, quint32 linesizeUV)
{
    setFrameSize(width, height);
    updateTextures(dataY, dataUV, linesizeY, linesizeUV);
}

/// Whether the context is current and set up.
bool Nv12Widget::isReady()
{
    if (!surface::makeCurrentOrTell(this, &toldMissing, kLogTag))
        return false;
    if (readyIn != context())
        glInit();
    return true;
}

/// The same when Qt has made the context current; see YuvWidget::ensureReady().
void Nv12Widget::ensureReady()
{
    if (readyIn != context())
        initializeGL();
}

void Nv12Widget::takePlanes(const quint8 *planeY, const quint8 *planeUV)
{
    if (!planeY || !planeUV || width == 0 || height == 0) {
        hasPicture = false;
        return;
    }
    if (!isReady())
        return;
    const surface::Plane planes[] = {{GL_RED, width, height, linesizeY, planeY},
                                     {GL_RG, width >> 1, height >> 1, linesizeUV, planeUV}};
    if (!surface::isSound(planes[0], largestTexture) ||
        !surface::isSound(planes[1], largestTexture))
        return;
    for (const int unit : {kUnitY, kUnitUV}) {
        const int index = unit == kUnitY ? 0 : 1;
        glActiveTexture(GL_TEXTURE0 + unit);
        glBindTexture(GL_TEXTURE_2D, textures[index]);
        surface::upload(this, planes[index]);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    }
    hasPicture = true;
}

void Nv12Widget::initializeGL()
{
    initializeOpenGLFunctions();
    glDisable(GL_DEPTH_TEST);

    vbo.destroy();
    vbo.create();
    vbo.bind();
    vbo.allocate(kCorners, sizeof(kCorners));

    // Not checked: Qt itself reports what a driver does not compile, and the surface stays empty.
    program = std::make_unique<QOpenGLShaderProgram>();
    program->addShaderFromSourceCode(QOpenGLShader::Vertex, shaderVert);
    program->addShaderFromSourceCode(QOpenGLShader::Fragment, shaderFrag);
    program->link();
    program->bind();

    // A context that shares what the last one held has the picture too.
    if (!glIsTexture(textures[0])) {
        hasPicture = false;
        glGenTextures(kPlanes, textures);
    }
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largestTexture);
    surface::fill(this, this);
    readyIn = context();
}

void Nv12Widget::resizeGL(int w, int h)
{
    ensureReady();
    glViewport(0, 0, w, h);
    QGLWidget::resizeGL(w, h);
}

void Nv12Widget::paintGL()
{
    ensureReady();
    if (!hasPicture || width == 0 || height == 0) {
        surface::fill(this, this);
        return;
    }
    program->bind();
    program->enableAttributeArray("vertexIn");
    program->enableAttributeArray("textureIn");
    program->setAttributeBuffer("vertexIn", GL_FLOAT, 0, 2, kCornerBytes);
    program->setAttributeBuffer("textureIn", GL_FLOAT, kTextureOffset, 2, kCornerBytes);
    glActiveTexture(GL_TEXTURE0 + kUnitY);
    glBindTexture(GL_TEXTURE_2D, textures[0]);
    glActiveTexture(GL_TEXTURE0 + kUnitUV);
    glBindTexture(GL_TEXTURE_2D, textures[1]);
    glDrawArrays(GL_QUADS, 0, 4);
    // After the draw, as is intended: the very first one takes both planes from unit 0.
    program->setUniformValue("textureY", kUnitY);
    program->setUniformValue("textureUV", kUnitUV);
    program->disableAttributeArray("vertexIn");
    program->disableAttributeArray("textureIn");
    program->release();
}

void Nv12Widget::read()
{
    const qint64 bytes = player->next(width, height);
    if (bytes == 0) {
        emit playFinsh();
        return;
    }
    if (bytes > 0) { // a read that fails is no end, and leaves the last picture
        linesizeY = linesizeUV = 0;
        const quint8 *planeY = player->data();
        takePlanes(planeY, planeY + width * height);
    }
    update();
}

void Nv12Widget::play(QString fileName, int frameRate)
{
    player->play(fileName, frameRate, width, height);
}

void Nv12Widget::stop()
{
    player->stop();
    forget();
    update();
    emit playFinsh();
}
