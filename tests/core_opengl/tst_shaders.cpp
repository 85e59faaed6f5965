// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/shaders_p.h"

#include <QtTest>

class TestShaders : public QObject
{
    Q_OBJECT

private slots:
    void yuv_isWordForWord()
    {
        QCOMPARE(shaders::yuvVertex(),
                 QStringLiteral("attribute vec4 vertexIn;attribute vec2 textureIn;"
                                "varying vec2 textureOut;void main(void){"
                                "  gl_Position = vertexIn;  textureOut = textureIn;}"));
        const QString fragment = QStringLiteral(
            "varying mediump vec2 textureOut;uniform sampler2D textureY;"
            "uniform sampler2D textureU;uniform sampler2D textureV;void main(void){"
            "  vec3 yuv;  vec3 rgb;"
            "  yuv.x = texture2D(textureY, textureOut).r - 0.0625;"
            "  yuv.y = texture2D(textureU, textureOut).r - 0.5;"
            "  yuv.z = texture2D(textureV, textureOut).r - 0.5;"
            "  rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.39465, 2.03211, 1.13983, -0.58060, 0.0) * yuv;"
            "  gl_FragColor = vec4(rgb, 1.0);}");
        QCOMPARE(shaders::yuvFragment(false), fragment);
        QCOMPARE(shaders::yuvFragment(true),
                 QStringLiteral("precision mediump int;precision mediump float;") + fragment);
    }

    void nv12_isWordForWord()
    {
        QCOMPARE(shaders::nv12Vertex(),
                 QStringLiteral("attribute vec4 vertexIn;attribute vec4 textureIn;"
                                "varying vec4 textureOut;void main(void){"
                                "  gl_Position = vertexIn;  textureOut = textureIn;}"));
        const QString fragment = QStringLiteral(
            "varying mediump vec4 textureOut;uniform sampler2D textureY;"
            "uniform sampler2D textureUV;void main(void){"
            "  vec3 yuv;  vec3 rgb;"
            "  yuv.x = texture2D(textureY, textureOut.st).r - 0.0625;"
            "  yuv.y = texture2D(textureUV, textureOut.st).r - 0.5;"
            "  yuv.z = texture2D(textureUV, textureOut.st).g - 0.5;"
            "  rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.39465, 2.03211, 1.13983, -0.58060, 0.0) * yuv;"
            "  gl_FragColor = vec4(rgb, 1.0);}");
        QCOMPARE(shaders::nv12Fragment(false), fragment);
        QCOMPARE(shaders::nv12Fragment(true),
                 QStringLiteral("precision mediump int;precision mediump float;") + fragment);
    }
};

QTEST_APPLESS_MAIN(TestShaders)
#include "tst_shaders.moc"
