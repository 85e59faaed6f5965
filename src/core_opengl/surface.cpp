// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/surface_p.h"

#include "log.h"

#include <QByteArray>
#include <QColor>
#include <QGLWidget>
#include <QOpenGLContext>

namespace {

/// No decoder makes longer lines, negative ones of pictures that stand on their head included.
constexpr quint32 kLongestLine = 1 << 20;
constexpr char kNoColour = '\x80';

int bytesPerTexel(const surface::Plane &plane)
{
    return plane.format == GL_RG ? 2 : 1;
}

} // namespace

bool surface::makeCurrent(QGLWidget *widget)
{
    if (!widget->isValid() || !widget->windowHandle())
        return false;
    widget->makeCurrent();
    return QOpenGLContext::currentContext() == widget->context()->contextHandle();
}

bool surface::makeCurrentOrTell(QGLWidget *widget, bool *told, const char *tag)
{
    if (makeCurrent(widget))
        return true;
    if (!widget->isValid() && !*told) {
        *told = true;
        VANTRA_LOG_AS(Logger::Warning, tag) << "no OpenGL, pictures are not shown";
    }
    return false;
}

bool surface::isSound(const Plane &plane, int largest)
{
    if (plane.width < 0 || plane.rows < 0 || plane.width > largest || plane.rows > largest)
        return false;
    if (plane.linesize == 0 || !plane.data)
        return true;
    const quint32 bytes = static_cast<quint32>(plane.width) * bytesPerTexel(plane);
    return plane.linesize >= bytes && plane.linesize <= kLongestLine;
}

void surface::upload(QOpenGLFunctions *gl, const Plane &plane)
{
    QByteArray neutral;
    const void *data = plane.data;
    auto texels = static_cast<GLint>(plane.linesize / bytesPerTexel(plane));
    if (!data) {
        neutral.fill(kNoColour, plane.width * plane.rows * bytesPerTexel(plane));
        data = neutral.constData();
        texels = 0;
    }
    // Lines are as long as told, with none of the padding to words that OpenGL assumes by itself.
    gl->glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    gl->glPixelStorei(GL_UNPACK_ROW_LENGTH, texels);
    gl->glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(plane.format), plane.width, plane.rows, 0,
                     plane.format, GL_UNSIGNED_BYTE, data);
}

void surface::fill(QOpenGLFunctions *gl, const QWidget *widget)
{
    const QColor color = widget->palette().color(QPalette::Window);
    gl->glClearColor(static_cast<GLclampf>(color.redF()), static_cast<GLclampf>(color.greenF()),
                     static_cast<GLclampf>(color.blueF()), static_cast<GLclampf>(color.alphaF()));
    gl->glClear(GL_COLOR_BUFFER_BIT);
}
