// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/videowidgethelpers.h"

#include <QLabel>
#include <QPixmap>

namespace {

constexpr QSize kLargestPreview(1280, 720);

} // namespace

QLabel *showSnapPreview(QLabel *label, const QImage &image)
{
    QPixmap pixmap = QPixmap::fromImage(image);
    if (pixmap.width() > kLargestPreview.width() || pixmap.height() > kLargestPreview.height())
        pixmap = pixmap.scaled(kLargestPreview, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (!label) {
        label = new QLabel;
        label->setWindowTitle(QStringLiteral("截图预览"));
        label->setAlignment(Qt::AlignCenter);
    }
    label->setPixmap(pixmap);
    label->resize(pixmap.size());
    label->raise();
    label->show();
    return label;
}

void scaleImage(QImage &image, const QSize &size, ScaleMode scaleMode, bool fast)
{
    if (image.isNull())
        return;
    const bool fits = image.width() <= size.width() && image.height() <= size.height();
    if (scaleMode == ScaleMode_Auto && fits)
        return;
    const bool keepAspect = scaleMode == ScaleMode_Auto || scaleMode == ScaleMode_Aspect;
    image = image.scaled(size, keepAspect ? Qt::KeepAspectRatio : Qt::IgnoreAspectRatio,
                         fast ? Qt::FastTransformation : Qt::SmoothTransformation);
}
