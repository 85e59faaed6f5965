// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"
#include "videotypes.h"

#include <QList>
#include <QWidget>

class QLabel;
class QPushButton;

/// The strip that appears over a video while the pointer is on it: a text and a row of small icon
/// buttons, as the host lists them. It knows no video: a click becomes a signal with the button's
/// name, and the sound and talk buttons change their look. GUI thread only.
///
/// A button's object name is its state, so a name may have any prefix and all tests look at its
/// end. In a vertical banner (position 2 or 3) the text is not shown.
///
/// The style depends on the object name "bannerWidget", which the owner gives. Hosts that want the
/// banner to follow the sound state connect its private slots receiveMuted(bool),
/// receivePlayFinsh() and recorderStateChanged(RecorderState,QString) by name.
class VANTRA_EXPORT BannerWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(BannerWidget)

public:
    explicit BannerWidget(QWidget *parent = nullptr); ///< empty
    ~BannerWidget() override;

    BannerPara getBannerPara() const; ///< as last stored

signals:
    /// A button was clicked; a toggling button gives the name that it has become, such as
    /// "btnMuted" for a click on "btnSound".
    void btnClicked(const QString &btnName);

private slots:
    void btnClicked();
    void receivePlayFinsh();
    void receiveMuted(bool muted);
    void recorderStateChanged(const RecorderState &state, const QString &file);

public slots:
    /// Stores the record only; initButton() and initStyle() bring it to the screen.
    void setBannerPara(const BannerPara &bannerPara);
    /// Builds layout and buttons anew; keeps the old ones if icons and names differ in length. May
    /// be called while a button's click is being handled.
    void initButton();
    void initStyle(); ///< colours and opacity
    /// Sets the text, with a mark behind it while recording.
    void showInfo(const QString &text);
    /// At the first button whose name ends with `objNameSrc`: replaces that text in the name by
    /// `objNameDst` and sets the icon.
    void changeStatus(const QString &objNameSrc, const QString &objNameDst, const QString &icon);

protected:
    /// For subclasses; nothing here sets it.
    bool isRecording = false;

private:
    void deleteButtons();
    void addButton(int index, bool vertical);

    BannerPara bannerPara;
    QString infoText;
    QLabel *infoLabel;
    QList<QPushButton *> buttons;
    QList<QPushButton *> clicking; ///< whose clicks are being handled, the innermost last
};
