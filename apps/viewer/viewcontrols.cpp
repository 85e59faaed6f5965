// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewcontrols.h"

#include "camerafiles.h"
#include "core_videobase/abstractvideowidget.h"
#include "openfolder.h"

#include <QCoreApplication>
#include <QDir>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ViewControls", text);
}

} // namespace

QString viewcontrols::changeVolume(AbstractVideoWidget *view, int *percent, int step)
{
    *percent = qBound(0, *percent + step, 100);
    view->setVolume(*percent);
    const QString words = tr("Volume %1 %").arg(*percent);
    return view->getWidgetPara().muted ? words + tr(", sound is off") : words;
}

QString viewcontrols::nextScaleMode(AbstractVideoWidget *view)
{
    switch (view->getScaleMode()) {
    case ScaleMode_Aspect:
        view->setScaleMode(ScaleMode_Fill);
        return tr("Fill the view");
    case ScaleMode_Fill:
        view->setScaleMode(ScaleMode_Auto);
        return tr("Own size");
    default:
        view->setScaleMode(ScaleMode_Aspect);
        return tr("Fit into the view");
    }
}

QString viewcontrols::showFolder(const CameraFiles &files)
{
    const QString folder = files.folder();
    return openFolder(folder) ? tr("The folder is open")
                              : tr("The files are in %1").arg(QDir::toNativeSeparators(folder));
}
