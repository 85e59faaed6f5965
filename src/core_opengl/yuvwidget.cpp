// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/yuvwidget.h"

#include "core_opengl/rawpictureplayer_p.h"
#include "core_opengl/shaders_p.h"
#include "core_opengl/surface_p.h"

#include <QCoreApplication>
#include <QOpenGLShaderProgram>

namespace {

constexpr char kLogTag[] = "(yuvwgt)";
constexpr int kVertexLocation = 0;
constexpr int kTextureLocation = 1;
constexpr int kPlanes = 3;

} // namespace

YuvWidget::YuvWidget(QWidget *parent)
    : QGLWidget(parent), shaderVert(shaders::yuvVertex()),
      shaderFrag(shaders::yuvFragment(QCoreApplication::testAttribute(Qt::AA_UseOpenGLES))),
      player(std::make_unique<RawPicturePlayer>())
{
    connect(&player->timer, &QTimer::timeout, this, &YuvWidget::read);
}

YuvWidget::~YuvWidget()
{
    if (!surface::makeCurrent(this))
        return;
    if (readyIn == context()) {
        program.reset();
        glDeleteTextures(kPlanes, textures);
    }
    doneCurrent();
}

void YuvWidget::setYuyv(bool yuyv)
{
    this->yuyv = yuyv;
}

void YuvWidget::clear()
{
    forget();
    update();
}

void YuvWidget::forget()
{
    width = height = 0;
    linesizeY = linesizeU = linesizeV = 0;
    hasPicture = false;
}

void YuvWidget::setFrameSize(int width, int height)
{
    this->width = width;
    this->height = height;
}

void YuvWidget::updateTextures(quint8 *dataY, quint8 *dataU, quint8 *dataV, quint32 linesizeY,
                               quint32 linesizeU, quint32 linesizeV)
{
    this->linesizeY = linesizeY;
    this->linesizeU = linesizeU;
    this->linesizeV = linesizeV;
    takePlanes(dataY, dataU, dataV);
    update();
}

void YuvWidget::updateFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                            quint32 linesizeY, quint32 linesizeU, quint32 linesizeV)
{
    setFrameSize(width, height);
    updateTextures(dataY, dataU, dataV, linesizeY, linesizeU, linesizeV);
}

/// Whether the context is current and set up.
bool YuvWidget::isReady()
{
    if (!surface::makeCurrentOrTell(this, &toldMissing, kLogTag))
        return false;
    if (readyIn != context())
        glInit();
    return true;
}

/// The same when Qt has made the context current. It takes another one for a time to render into a
/// pixmap, and then does not tell that the first is back.
void YuvWidget::ensureReady()
{
    if (readyIn != context())
        initializeGL();
}

void YuvWidget::takePlanes(const quint8 *planeY, const quint8 *planeU, const quint8 *planeV)
{
    if (!planeY || width == 0 || height == 0) {
        hasPicture = false;
        return;
    }
    if (!isReady())
        return;
    const int chromaWidth = width >> 1;
    const int chromaRows = yuyv ? height : height >> 1;
    const surface::Plane planes[] = {{GL_RED, width, height, linesizeY, planeY},
                                     {GL_RED, chromaWidth, chromaRows, linesizeU, planeU},
                                     {GL_RED, chromaWidth, chromaRows, linesizeV, planeV}};
    for (const surface::Plane &plane : planes)
        if (!surface::isSound(plane, largestTexture))
            return;
    for (int unit = 0; unit < kPlanes; ++unit) {
        glActiveTexture(GL_TEXTURE0 + unit);
        glBindTexture(GL_TEXTURE_2D, textures[unit]);
        surface::upload(this, planes[unit]);
    }
    hasPicture = true;
}

void YuvWidget::initializeGL()
{
    static constexpr GLfloat kVertices[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    // The first row of a texture is the top line of the picture.
    static constexpr GLfloat kTextureCoordinates[] = {0, 1, 1, 1, 0, 0, 1, 0};

    initializeOpenGLFunctions();
    glDisable(GL_DEPTH_TEST);
    glVertexAttribPointer(kVertexLocation, 2, GL_FLOAT, 0, 0, kVertices);
    glEnableVertexAttribArray(kVertexLocation);
    glVertexAttribPointer(kTextureLocation, 2, GL_FLOAT, 0, 0, kTextureCoordinates);
    glEnableVertexAttribArray(kTextureLocation);

    // Not checked: Qt itself reports what a driver does not compile, and the surface stays empty.
    program = std::make_unique<QOpenGLShaderProgram>();
    program->addShaderFromSourceCode(QOpenGLShader::Vertex, shaderVert);
    program->addShaderFromSourceCode(QOpenGLShader::Fragment, shaderFrag);
    program->bindAttributeLocation("vertexIn", kVertexLocation);
    program->bindAttributeLocation("textureIn", kTextureLocation);
    program->link();
    program->bind();
    textureUniformY = program->uniformLocation("textureY");
    textureUniformU = program->uniformLocation("textureU");
    textureUniformV = program->uniformLocation("textureV");

    // A context that shares what the last one held has the picture too.
    if (!glIsTexture(textures[0])) {
        hasPicture = false;
        glGenTextures(kPlanes, textures);
        for (const GLuint texture : textures) {
            glBindTexture(GL_TEXTURE_2D, texture);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
        }
    }
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largestTexture);
    surface::fill(this, this);
    readyIn = context();
}

void YuvWidget::resizeGL(int w, int h)
{
    ensureReady();
    glViewport(0, 0, w, h);
    QGLWidget::resizeGL(w, h);
}

void YuvWidget::paintGL()
{
    ensureReady();
    if (!hasPicture || width == 0 || height == 0) {
        surface::fill(this, this);
        return;
    }
    const int uniforms[] = {textureUniformY, textureUniformU, textureUniformV};
    for (int unit = 0; unit < kPlanes; ++unit) {
        glActiveTexture(GL_TEXTURE0 + unit);
        glBindTexture(GL_TEXTURE_2D, textures[unit]);
        glUniform1i(uniforms[unit], unit);
    }
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

void YuvWidget::read()
{
    const qint64 bytes = player->next(width, height);
    if (bytes == 0) {
        emit playFinsh();
        return;
    }
    if (bytes > 0) { // a read that fails is no end, and leaves the last picture
        linesizeY = linesizeU = linesizeV = 0;
        const quint8 *planeY = player->data();
        const quint8 *planeU = planeY + width * height;
        takePlanes(planeY, planeU, planeU + width * height / 4);
    }
    update();
}

void YuvWidget::play(QString fileName, int frameRate)
{
    player->play(fileName, frameRate, width, height);
}

void YuvWidget::stop()
{
    player->stop();
    forget();
    update();
    emit playFinsh();
}
