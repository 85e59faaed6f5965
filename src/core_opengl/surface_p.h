// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QOpenGLFunctions>
#include <QtGlobal>

class QGLWidget;
class QWidget;

/// What the OpenGL surfaces share. GUI thread.
namespace surface {

/// Makes the context of `widget` current, shown or not. False where there is no OpenGL, or no
/// native window at the moment.
bool makeCurrent(QGLWidget *widget);

/// The same. That there is no OpenGL is told once, under the tag of the class in the log: `told`
/// keeps that it has been.
bool makeCurrentOrTell(QGLWidget *widget, bool *told, const char *tag);

/// One plane of a picture, as lent.
struct Plane
{
    GLenum format = GL_RED; ///< of texels: GL_RED one byte, GL_RG two
    int width = 0;          ///< texels
    int rows = 0;
    quint32 linesize = 0;         ///< bytes from row to row; 0: no padding
    const quint8 *data = nullptr; ///< null: of the middle value throughout, that is no colour
};

/// Whether nothing beyond `rows` lines of `linesize` bytes is read for a plane, and a texture can
/// hold it. `largest`: GL_MAX_TEXTURE_SIZE.
bool isSound(const Plane &plane, int largest);

/// Puts a sound plane into the texture bound to GL_TEXTURE_2D, in its size, and reads nothing of it
/// later.
void upload(QOpenGLFunctions *gl, const Plane &plane);

/// Fills the surface with the colour that the palette of `widget` has for windows.
void fill(QOpenGLFunctions *gl, const QWidget *widget);

} // namespace surface
