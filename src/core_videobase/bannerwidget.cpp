// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/bannerwidget.h"

#include "uitoolkit/quihelper.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QVariant>

namespace {

constexpr int kPositionLeft = 2;
constexpr int kPositionRight = 3;
constexpr int kButtonExtent = 20; // pixels along the row
// Beyond any screen. Qt adds up what a layout is told, and overflows.
constexpr int kLargestGap = 1 << 16; // pixels

const QLatin1String kMicIcon(":/primary/mic.svg");
const QLatin1String kMicClosedIcon(":/primary/mic-close.svg");
const QLatin1String kSoundIcon(":/primary/volume.svg");
const QLatin1String kMutedIcon(":/primary/close_volume.svg");

int boundedGap(int gap)
{
    return qBound(-kLargestGap, gap, kLargestGap);
}

struct Toggle
{
    QLatin1String ending; // of the button's name before the click
    QLatin1String from;   // what is replaced in the name,
    QLatin1String to;     // and by what
    QLatin1String icon;
};

// In the order in which they are tried; the first match counts.
const Toggle kToggles[] = {
    {QLatin1String("btnTalk"), QLatin1String("Talk"), QLatin1String("TalkMuted"), kMicClosedIcon},
    {QLatin1String("TalkMuted"), QLatin1String("TalkMuted"), QLatin1String("Talk"), kMicIcon},
    {QLatin1String("btnSound"), QLatin1String("Sound"), QLatin1String("Muted"), kMutedIcon},
    {QLatin1String("btnMuted"), QLatin1String("Muted"), QLatin1String("Sound"), kSoundIcon},
};

} // namespace

BannerWidget::BannerWidget(QWidget *parent) : QWidget(parent), infoLabel(new QLabel(this))
{
    setAttribute(Qt::WA_StyledBackground, true);
    initButton();
    initStyle();
}

BannerWidget::~BannerWidget() = default;

BannerPara BannerWidget::getBannerPara() const
{
    return bannerPara;
}

void BannerWidget::setBannerPara(const BannerPara &para)
{
    bannerPara = para;
}

void BannerWidget::initButton()
{
    if (bannerPara.icons.size() != bannerPara.names.size())
        return;
    deleteButtons();
    delete layout();

    const bool vertical =
        bannerPara.position == kPositionLeft || bannerPara.position == kPositionRight;
    // The label stays the banner's child whether a layout holds it or not.
    infoLabel->setVisible(!vertical);
    QBoxLayout *box = nullptr;
    if (vertical) {
        box = new QVBoxLayout;
        box->addStretch();
    } else {
        box = new QHBoxLayout;
        box->addWidget(infoLabel);
    }
    const QMargins &margins = bannerPara.margins;
    box->setContentsMargins(boundedGap(margins.left()), boundedGap(margins.top()),
                            boundedGap(margins.right()), boundedGap(margins.bottom()));
    box->setSpacing(boundedGap(bannerPara.spacing));
    setLayout(box);
    for (int i = 0; i < bannerPara.names.size(); ++i)
        addButton(i, vertical);
}

void BannerWidget::deleteButtons()
{
    const QList<QPushButton *> old = buttons;
    buttons.clear();
    for (QPushButton *button : old) {
        if (!clicking.contains(button)) {
            delete button;
            continue;
        }
        // Its click handler is still on the stack: out of sight now, gone with the event loop.
        button->disconnect(this);
        button->hide();
        button->setParent(nullptr);
        button->deleteLater();
    }
}

void BannerWidget::addButton(int index, bool vertical)
{
    auto *button = new QPushButton;
    connect(button, &QPushButton::clicked, this, QOverload<>::of(&BannerWidget::btnClicked));
    button->setObjectName(bannerPara.names.at(index));
    button->setToolTip(bannerPara.tips.value(index));
    if (vertical) {
        button->setFixedHeight(kButtonExtent);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    } else {
        button->setFixedWidth(kButtonExtent);
        button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    }
    button->setFocusPolicy(Qt::NoFocus); // a click does not take the focus from the video
    QUIHelper::setSvgIcon(button, bannerPara.icons.at(index));
    layout()->addWidget(button);
    buttons.append(button);
}

void BannerWidget::initStyle()
{
    setProperty("form", QStringLiteral("banner"));
    const QColor &bg = bannerPara.bgColor;
    const QString background = QStringLiteral("rgba(%1,%2,%3,%4)")
                                   .arg(bg.red())
                                   .arg(bg.green())
                                   .arg(bg.blue())
                                   .arg(bannerPara.bgAlpha);
    QStringList qss;
    qss << QStringLiteral("#bannerWidget{background:%1;border:none;}").arg(background)
        << QStringLiteral("QLabel{margin:0px;padding:0px;}")
        << QStringLiteral("QPushButton,QLabel{color:%1;}").arg(bannerPara.textColor.name())
        << QStringLiteral("QPushButton:pressed{color:%1;}").arg(bannerPara.pressColor.name())
        << QStringLiteral("QPushButton{border:none;padding:0px;background:rgba(0,0,0,0);}");
    // Until a widget is polished, as it is when shown, Qt goes by the first sheet that it has
    // parsed. In the constructor there is no other, and the name that the style goes by is missing
    // yet.
    if (!objectName().isEmpty())
        ensurePolished();
    setStyleSheet(qss.join(QString()));
}

void BannerWidget::showInfo(const QString &text)
{
    infoText = text;
    infoLabel->setText(isRecording ? text + QStringLiteral(" 录制中...") : text);
}

void BannerWidget::changeStatus(const QString &objNameSrc, const QString &objNameDst,
                                const QString &icon)
{
    for (QPushButton *button : qAsConst(buttons)) {
        QString name = button->objectName();
        if (!name.endsWith(objNameSrc))
            continue;
        button->setObjectName(name.replace(objNameSrc, objNameDst));
        QUIHelper::setSvgIcon(button, icon);
        return;
    }
}

void BannerWidget::btnClicked()
{
    auto *button = qobject_cast<QPushButton *>(sender());
    if (!button)
        return;
    QString name = button->objectName();
    for (const Toggle &toggle : kToggles) {
        if (!name.endsWith(toggle.ending))
            continue;
        QUIHelper::setSvgIcon(button, toggle.icon);
        button->setObjectName(name.replace(toggle.from, toggle.to));
        break;
    }

    // A receiver may rebuild the buttons, run an event loop, or delete the banner.
    const QPointer<BannerWidget> guard(this);
    clicking.append(button);
    emit btnClicked(name);
    if (guard)
        clicking.removeLast();
}

void BannerWidget::receivePlayFinsh()
{
    changeStatus(QStringLiteral("Muted"), QStringLiteral("Sound"), kSoundIcon);
}

void BannerWidget::receiveMuted(bool muted)
{
    if (muted)
        changeStatus(QStringLiteral("Sound"), QStringLiteral("Muted"), kMutedIcon);
    else
        changeStatus(QStringLiteral("Muted"), QStringLiteral("Sound"), kSoundIcon);
}

void BannerWidget::recorderStateChanged(const RecorderState &, const QString &)
{
    showInfo(infoText);
}
