// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/loggedtest.h"
#include "support/rawpicture.h"
#include "support/waitfor.h"

#include <QGLWidget>
#include <QPointer>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

/// The conversion of the OpenGL surfaces, in steps of 0 to 255, as luma and chroma are.
QRgb toRgb(double y, double u, double v);

/// What both OpenGL surfaces must do, on a real window; the tests of each class derive from it and
/// add what is its own. Pixels are read back from the X server.
class SurfaceTest : public vantratest::LoggedTest
{
    Q_OBJECT

protected:
    using RawPicture = vantratest::RawPicture;

    virtual QGLWidget *make(QWidget *parent) = 0;
    /// What is told of a picture in place of its own figures, where these are not negative.
    struct Figures
    {
        int width = -1;
        int height = -1;
        qint64 linesize = -1; ///< of all planes
        bool isGone = false;  ///< the planes are null

        int widthOf(const RawPicture &picture) const { return width < 0 ? picture.width : width; }
        int heightOf(const RawPicture &picture) const
        {
            return height < 0 ? picture.height : height;
        }
        quint32 lineOf(const vantratest::RawPlane &plane) const
        {
            return quint32(linesize < 0 ? plane.linesize : linesize);
        }
        quint8 *dataOf(vantratest::RawPlane &plane) const
        {
            return isGone ? nullptr : plane.data();
        }
    };
    /// updateFrame() and updateTextures(), with the planes of a picture.
    virtual void sendFrame(QGLWidget *to, RawPicture &picture, const Figures &figures) = 0;
    virtual void sendTextures(QGLWidget *to, RawPicture &picture) = 0;
    /// What a surface of that size shows.
    virtual QImage expected(const RawPicture &picture, const QSize &size) const = 0;
    /// As a raw file has it.
    virtual QByteArray raw(const RawPicture &picture) const = 0;

    void setUp() override;
    void tearDown() override;

    /// A surface in a window, from its upper left corner on, that has painted a picture and
    /// forgotten it.
    bool open(const QSize &size);
    void send(RawPicture picture) { sendFrame(surface, picture, Figures()); }
    void send(const RawPicture &picture, const Figures &figures);
    /// Hands over a picture that cannot be, as the row of the test tells.
    void sendImpossible();
    void call(const char *slot);
    void setFrameSize(const RawPicture &picture);
    void play(const QString &file, int frameRate);

    /// What is on the screen in the place of a widget.
    static QImage screen(const QWidget *widget);
    QImage screen() const { return screen(surface); }
    /// Whether it shows that soon; else what differs is in `fault`.
    bool shows(const QImage &picture);
    bool shows(const RawPicture &picture, const QSize &size)
    {
        return shows(expected(picture, size));
    }
    bool shows(const RawPicture &picture) { return shows(picture, opened); }
    bool showsWindowColour();
    /// Paints again, and waits until that is on the screen.
    bool repaints();
    /// One of many colours.
    static RawPicture sample(const QSize &size = {32, 24});
    /// Runs the event loop for so long, in which what must not come could.
    static bool pass(int milliseconds);
    /// Writes pictures into a file of the temporary folder.
    QString fileOf(const QList<RawPicture> &pictures, int cutBytes = 0);

    static QImage filled(const QSize &size, const QColor &color);

    std::unique_ptr<QWidget> window;
    QPointer<QGLWidget> surface;
    QSize opened; ///< of the surface
    QString fault;
    QTemporaryDir folder;

private slots:
    void class_isAnOpenglWidget();

    void picture_isShown_inItsColours_data();
    void picture_isShown_inItsColours();
    void picture_isTaken_whileTheCallerWaits();
    void picture_appearsWithTheFirstShow_whenHandedOverBefore();
    void picture_appearsByItself();
    void picture_staysThrough_data();
    void picture_staysThrough();
    void picture_fillsTheSurface_afterAResize();
    void picture_isScaledDown_byItsFilter();
    void largerAndSmallerPictures_followEachOther();
    void clear_showsTheColourOfWindows();
    void emptyFrame_showsTheColourOfWindows_data();
    void emptyFrame_showsTheColourOfWindows();
    void impossibleFrame_leavesTheLastPicture_data();
    void impossibleFrame_leavesTheLastPicture();
    void impossibleFrame_isNoPicture_data() { impossibleFrame_leavesTheLastPicture_data(); }
    void impossibleFrame_isNoPicture();
    void lineSizeOfZero_meansNoPadding();
    void frameSize_repaintsNothing_andHoldsForTextures();
    void newContext_showsTheNextPicture();
    void newContext_thatSharesNothing_hasNoPicture();
    void pixmap_isRendered_andTheWindowGoesOn();

    void play_showsEachPicture_andTellsItsEndOnce();
    void play_showsACutOffPicture();
    void play_ofAnotherFile_endsTheFirst();
    void play_ofNoFile_endsTheFirst_withoutAWord();
    void play_withoutASize_endsAtOnce();
    void play_withAnAbsurdSize_endsAtOnce_data();
    void play_withAnAbsurdSize_endsAtOnce();
    void play_withoutARate_showsNothing();
    void play_bearsAnotherSizeMeanwhile();
    void play_endsAfterClear();
    void play_takesLinesWithoutPadding_afterFramesWithIt();
    void stop_tellsTheEnd_andForgetsThePicture();
    void stop_tellsTheEnd_withoutAPlay();
    void read_thatFails_isNoEnd();

    void rounds_leaveNothingBehind();
};
