// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "uitoolkit/svgicon_p.h"

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>
#include <QSvgRenderer>

#include <algorithm>
#include <memory>

namespace {

constexpr int kIconSide = 16;  ///< pixels, where the button has room for it
constexpr int kIconMargin = 2; ///< pixels between the icon and each edge of the button
const QLatin1String kFitterName("svgIconFitter");

class SvgIconEngine final : public QIconEngine
{
public:
    SvgIconEngine(std::shared_ptr<QSvgRenderer> renderer, const QString &path)
        : m_renderer(std::move(renderer)), m_path(path)
    {
    }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        if (mode == QIcon::Normal) {
            render(painter, rect);
            return;
        }
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        QPixmap picture = pixmap(rect.size() * ratio, mode, state);
        picture.setDevicePixelRatio(ratio);
        painter->drawPixmap(rect, picture);
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) override
    {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        if (picture.isNull())
            return picture;
        QPainter painter(&picture);
        render(&painter, QRect(QPoint(), size));
        painter.end();
        if (mode == QIcon::Normal || !qobject_cast<QApplication *>(qApp))
            return picture;
        QStyleOption option;
        option.palette = QApplication::palette();
        return QApplication::style()->generatedIconPixmap(mode, picture, &option);
    }

    QIconEngine *clone() const override { return new SvgIconEngine(m_renderer, m_path); }
    QString key() const override { return QStringLiteral("vantra-svg"); }
    QString iconName() const override { return m_path; }

private:
    void render(QPainter *painter, const QRect &rect)
    {
        const QSizeF size =
            QSizeF(m_renderer->defaultSize()).scaled(rect.size(), Qt::KeepAspectRatio);
        QRectF place(QPointF(), size);
        place.moveCenter(QRectF(rect).center());
        painter->setRenderHint(QPainter::Antialiasing);
        m_renderer->render(painter, place);
    }

    const std::shared_ptr<QSvgRenderer> m_renderer; ///< shared by copies of the icon
    const QString m_path;
};

/// Follows the size of a button. An icon adds to what its button asks of a layout, so it grows
/// beyond the usual size only in a button whose own size is limited: else both would push each
/// other up.
class IconFitter final : public QObject
{
    Q_DISABLE_COPY(IconFitter)

public:
    explicit IconFitter(QAbstractButton *button) : QObject(button)
    {
        setObjectName(kFitterName);
        button->installEventFilter(this);
    }

    static void fit(QAbstractButton *button)
    {
        const int limit = std::min(button->maximumWidth(), button->maximumHeight());
        int side =
            limit < QWIDGETSIZE_MAX ? std::max(kIconSide, limit - 2 * kIconMargin) : kIconSide;
        side = std::min(side, std::min(button->width(), button->height()) - 2 * kIconMargin);
        side = std::max(side, 1);
        button->setIconSize(QSize(side, side));
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Resize)
            fit(static_cast<QAbstractButton *>(watched));
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

QIcon svgIcon(const QString &path)
{
    if (!QFile::exists(path))
        return QIcon();
    if (!path.endsWith(QLatin1String(".svg"), Qt::CaseInsensitive)) {
        const QPixmap picture(path);
        return picture.isNull() ? QIcon() : QIcon(picture);
    }
    auto renderer = std::make_shared<QSvgRenderer>(path);
    return renderer->isValid() ? QIcon(new SvgIconEngine(std::move(renderer), path)) : QIcon();
}

void fitIconToButton(QAbstractButton *button)
{
    if (!button->findChild<QObject *>(kFitterName, Qt::FindDirectChildrenOnly))
        new IconFitter(button); // owned by the button
    IconFitter::fit(button);
}
