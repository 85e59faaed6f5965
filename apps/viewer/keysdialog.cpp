// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "keysdialog.h"

#include "theme.h"

#include <QCoreApplication>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QPair>
#include <QVector>

namespace {

using Keys = QVector<QPair<QString, QString>>;

QString tr(const char *text)
{
    return QCoreApplication::translate("KeysDialog", text);
}

Keys liveKeys()
{
    return {
        {tr("L"), tr("go to the list; Enter shows a camera in the selected view")},
        {tr("Ctrl+1 to Ctrl+4"), tr("1, 4, 9 or 16 views")},
        {tr("1 to 9, Tab"), tr("select a view")},
        {tr("Enter, double click"), tr("show only this view, by its main stream, or all")},
        {tr("Del"), tr("make the selected view empty")},
        {tr("Space"), tr("start or stop the selected view")},
        {"M", tr("sound on or off")},
        {"+  -", tr("louder, quieter")},
        {"T", tr("talk to the device, or end that")},
        {"S", tr("fit, fill, own size")},
        {"Z", tr("digital zoom; then wheel and drag")},
        {"P", tr("save the picture")},
        {"R", tr("start or end a recording")},
        {tr("Shift+R"), tr("start or end recordings of all views")},
        {tr("Ctrl+O"), tr("open the folder of recordings and pictures")},
        {"O", tr("name and clock on or off")},
        {"G", tr("show pictures by OpenGL, or paint them")},
    };
}

Keys playbackKeys()
{
    return {
        {tr("L"), tr("go to the list; Enter shows a channel in the selected view")},
        {tr("Ctrl+1, Ctrl+2, Ctrl+4"), tr("1, 2 or 4 playbacks side by side")},
        {tr("1 to 4, Tab"), tr("select a playback")},
        {tr("Enter, double click"), tr("show only this playback, or all")},
        {tr("Del"), tr("make the selected view empty")},
        {tr("Space"), tr("play or pause; again after an end or a refusal")},
        {tr("Shift+Space"), tr("stop")},
        {tr("Left, Right"), tr("ten seconds back or on; a minute with Ctrl")},
        {tr("Page up, Page down"), tr("the day before, the day after")},
        {"[  ]", tr("slower, faster")},
        {"T", tr("all playbacks together, or each by itself")},
        {tr("I, O, U"), tr("mark from this time, to this time, forget the mark")},
        {"D", tr("download what is marked")},
        {tr("Ctrl++, Ctrl+-, Ctrl+0"), tr("more or less of the day on the line, all of it")},
        {tr("M, +, -"), tr("sound on or off, louder, quieter")},
        {"S", tr("fit, fill, own size")},
        {"P", tr("save the picture under its time in the recording")},
        {tr("Ctrl+O"), tr("open the folder of recordings and pictures")},
    };
}

Keys downloadKeys()
{
    return {
        {tr("L"), tr("go to the list; Enter chooses a camera")},
        {tr("Tab"), tr("from field to field and button to button")},
        {tr("Page up, Page down"), tr("the same span of the day before, of the day after")},
        {tr("Ctrl+Enter"), tr("put the span into the queue")},
        {tr("Space"), tr("press the button that has the focus")},
        {tr("Ctrl+Del"), tr("take all that have ended out of the list; files stay")},
    };
}

} // namespace

void showKeys(PageTabs::Page page, QWidget *parent)
{
    QDialog dialog(parent);
    dialog.setWindowTitle(tr("Keys"));
    auto *layout = new QGridLayout(&dialog);
    layout->setContentsMargins(3 * theme::gap, 2 * theme::gap, 3 * theme::gap, 2 * theme::gap);
    layout->setHorizontalSpacing(3 * theme::gap);
    Keys keys = page == PageTabs::Live       ? liveKeys()
                : page == PageTabs::Playback ? playbackKeys()
                                             : downloadKeys();
    keys += Keys{
        {tr("F2, F3, F4"), tr("live, playback, downloads")},
        {"F", tr("full screen")},
        {tr("Esc"), tr("back")},
        {tr("Ctrl+N"), tr("add a camera by its address")},
        {tr("Ctrl+Q"), tr("quit")},
    };
    for (int row = 0; row < keys.size(); ++row) {
        layout->addWidget(new QLabel(keys[row].first), row, 0);
        auto *meaning = new QLabel(keys[row].second);
        meaning->setObjectName(QStringLiteral("dim"));
        layout->addWidget(meaning, row, 1);
    }
    dialog.exec();
}
