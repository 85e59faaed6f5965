// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/shaders_p.h"

#include <QStringList>

namespace {

const char kToRgb[] = "  rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.39465, 2.03211, 1.13983, -0.58060, 0.0) "
                      "* yuv;";

QString join(const QStringList &lines)
{
    return lines.join(QString());
}

QStringList vertex(const QString &coordinates)
{
    return {QStringLiteral("attribute vec4 vertexIn;"),
            QStringLiteral("attribute %1 textureIn;").arg(coordinates),
            QStringLiteral("varying %1 textureOut;").arg(coordinates),
            QStringLiteral("void main(void)"),
            QStringLiteral("{"),
            QStringLiteral("  gl_Position = vertexIn;"),
            QStringLiteral("  textureOut = textureIn;"),
            QStringLiteral("}")};
}

QStringList fragment(bool gles, const QStringList &inputs, const QStringList &lookups)
{
    QStringList lines;
    if (gles)
        lines << QStringLiteral("precision mediump int;")
              << QStringLiteral("precision mediump float;");
    return lines + inputs +
           QStringList{QStringLiteral("void main(void)"), QStringLiteral("{"),
                       QStringLiteral("  vec3 yuv;"), QStringLiteral("  vec3 rgb;")} +
           lookups +
           QStringList{QString::fromLatin1(kToRgb),
                       QStringLiteral("  gl_FragColor = vec4(rgb, 1.0);"), QStringLiteral("}")};
}

} // namespace

QString shaders::yuvVertex()
{
    return join(vertex(QStringLiteral("vec2")));
}

QString shaders::yuvFragment(bool gles)
{
    return join(fragment(gles,
                         {QStringLiteral("varying mediump vec2 textureOut;"),
                          QStringLiteral("uniform sampler2D textureY;"),
                          QStringLiteral("uniform sampler2D textureU;"),
                          QStringLiteral("uniform sampler2D textureV;")},
                         {QStringLiteral("  yuv.x = texture2D(textureY, textureOut).r - 0.0625;"),
                          QStringLiteral("  yuv.y = texture2D(textureU, textureOut).r - 0.5;"),
                          QStringLiteral("  yuv.z = texture2D(textureV, textureOut).r - 0.5;")}));
}

QString shaders::nv12Vertex()
{
    return join(vertex(QStringLiteral("vec4")));
}

QString shaders::nv12Fragment(bool gles)
{
    return join(
        fragment(gles,
                 {QStringLiteral("varying mediump vec4 textureOut;"),
                  QStringLiteral("uniform sampler2D textureY;"),
                  QStringLiteral("uniform sampler2D textureUV;")},
                 {QStringLiteral("  yuv.x = texture2D(textureY, textureOut.st).r - 0.0625;"),
                  QStringLiteral("  yuv.y = texture2D(textureUV, textureOut.st).r - 0.5;"),
                  QStringLiteral("  yuv.z = texture2D(textureUV, textureOut.st).g - 0.5;")}));
}
