// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QList>
#include <QMargins>
#include <QMetaType>
#include <QPainterPath>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>

/// Enums and plain records that widgets and threads share. Records are values: a copy is complete.

/// Scaler used for conversion to RGB in an FFmpegVideoThread: speed against quality.
enum DecodeType : qint32 {
    DecodeType_Fast = 0,     ///< fast bilinear
    DecodeType_Quality = 1,  ///< bicubic
    DecodeType_Balanced = 2, ///< bilinear
};

/// Engine of a stream. Stored and returned for the host; the library does not branch on it.
enum VideoCore : qint32 {
    VideoCore_None = 0,
    VideoCore_FFmpeg = 1,
    VideoCore_Device = 2,
};

/// Render path: the form in which a thread hands over pictures.
enum VideoMode : qint32 {
    VideoMode_Hwnd = 0,    ///< pictures are decoded and go nowhere
    VideoMode_Painter = 1, ///< as QImage, painted by the widget
    VideoMode_Opengl = 2,  ///< as plane pointers, to an OpenGL surface
    VideoMode_D3D9 = 3,    ///< as a Direct3D 9 surface
    VideoMode_D3D11 = 4,   ///< as a Direct3D 11 texture and its index
};

/// Size of the picture inside the widget, less the border width once in each dimension.
enum ScaleMode : qint32 {
    ScaleMode_Auto = 0,   ///< own size; shrunk with aspect kept only if it does not fit
    ScaleMode_Aspect = 1, ///< as large as fits, aspect kept
    ScaleMode_Fill = 2,   ///< the whole space, aspect ignored
};

/// State of a recorder, for hosts that send AbstractVideoThread::recorderStateChanged themselves.
enum RecorderState : qint32 {
    RecorderState_Stopped = 0,
    RecorderState_Recording = 1,
    RecorderState_Paused = 2,
};
Q_DECLARE_METATYPE(RecorderState)

/// What an OsdInfo shows. Any other value shows the text.
enum OsdFormat : qint32 {
    OsdFormat_Text = 0,
    OsdFormat_Date = 1,     ///< now, as "yyyy-MM-dd"
    OsdFormat_Time = 2,     ///< now, as "HH:mm:ss"
    OsdFormat_DateTime = 3, ///< now, as "yyyy-MM-dd HH:mm:ss"
    OsdFormat_Image = 4,
};

/// Where an OsdInfo stands, in the widget's rectangle shrunk by the border width plus 5 pixels.
enum OsdPosition : qint32 {
    OsdPosition_LeftTop = 0,
    OsdPosition_LeftBottom = 1,
    OsdPosition_RightTop = 2,
    OsdPosition_RightBottom = 3,
    OsdPosition_Center = 4,
    OsdPosition_Custom = 255, ///< at OsdInfo::point, in widget pixels
};

/// What a widget asks of its thread.
struct VideoPara
{
    VideoCore videoCore = VideoCore_None;      ///< kept and returned only
    QString hardware = QStringLiteral("none"); ///< wanted hardware decoder; "none": software
    int readTimeout = 500;                     ///< milliseconds
    int connectTimeout = 500;                  ///< milliseconds
};

/// One text or picture over the video. Records with the same name are the same overlay.
struct OsdInfo
{
    QString name;                               ///< key
    bool visible = false;                       ///< false: skipped in drawing
    int fontSize = 12;                          ///< pixels
    QString text;                               ///< for OsdFormat_Text
    QColor color;                               ///< pen
    QImage image;                               ///< for OsdFormat_Image
    QPoint point;                               ///< origin for OsdPosition_Custom
    OsdFormat format = OsdFormat_Text;          ///< what it shows
    OsdPosition position = OsdPosition_LeftTop; ///< where it stands
};

/// Shapes burnt into the picture, in picture pixels. All shapes that are not empty are drawn.
/// Records with the same name are the same graph.
struct GraphInfo
{
    QString name;         ///< key
    int borderWidth = 0;  ///< pen width, pixels
    QColor borderColor;   ///< pen of all three shapes
    QColor fillColor;     ///< carried; no drawing uses it
    QRect rect;           ///< drawn when not empty
    QPainterPath path;    ///< drawn when not empty
    QList<QPoint> points; ///< closed outline; needs two points to be seen
};

/// Look of the banner that appears over a video widget.
struct BannerPara
{
    QMargins margins = QMargins(5, 0, 3, 0);               ///< layout margins, pixels
    int spacing = 2;                                       ///< layout spacing, pixels
    int bgAlpha = 100;                                     ///< opacity of the background, 0 to 255
    QColor bgColor = QColor(QStringLiteral("#333333"));    ///< behind the buttons
    QColor textColor = QColor(QStringLiteral("#FFFFFF"));  ///< text, icons
    QColor pressColor = QColor(QStringLiteral("#5EC7D9")); ///< a pressed button
    /// 0 top, 1 bottom, 2 left, 3 right. Within a WidgetPara its bannerPosition counts.
    int position = 0;
    QStringList icons; ///< one resource path per button
    QStringList names; ///< one object name per button
    QStringList tips;  ///< one tool tip per button
    QString text;      ///< shown when the pointer enters the widget
};

/// Look and feel of a video widget.
struct WidgetPara
{
    int borderWidth = 0;                                   ///< frame of the widget, pixels
    QColor borderColor = Qt::transparent;                  ///< frame without focus
    QColor focusColor = QColor(QStringLiteral("#22A3A9")); ///< frame with focus
    QColor bgColor = Qt::transparent;                      ///< fill of the frame rectangle
    QColor textColor = Qt::transparent;                    ///< pen of the background text
    QColor fillColor = Qt::transparent;                    ///< bars beside a letter-boxed picture
    int bgTextSize = 15;                                   ///< background text, pixels
    QString bgText = QStringLiteral("视频");               ///< shown while there is no video
    QImage bgImage;                       ///< shown instead of the text when not null
    bool spareFlag = true;                ///< stored for hosts; nothing reads it
    bool copyImage = false;               ///< deep-copy each image instead of sharing it
    bool muted = false;                   ///< start value of setMuted
    QString videoFlag;                    ///< also set by setVideoFlag
    ScaleMode scaleMode = ScaleMode_Auto; ///< size of the picture
    VideoMode videoMode = VideoMode_Hwnd; ///< render path that is wanted
    bool bannerEnable = false;            ///< false hides the banner
    int bannerSize = 25;                  ///< thickness of the banner, pixels
    int bannerPosition = 0;               ///< 0 top, 1 bottom, 2 left, 3 right
    BannerPara banner;                    ///< look of the banner
};
