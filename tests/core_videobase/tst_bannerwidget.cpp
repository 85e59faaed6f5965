// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What a banner is made of and how it is laid out. What its buttons show is tested beside this.

#include "bannertools.h"

#include "support/pixels.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include <limits>
#include <memory>

using namespace vantratest;

namespace {

QLabel *labelOf(const BannerWidget &banner)
{
    return banner.findChild<QLabel *>();
}

// Lays the banner out as on a screen, without one.
void showLaidOut(BannerWidget &banner, const QSize &size)
{
    banner.setAttribute(Qt::WA_DontShowOnScreen);
    banner.resize(size);
    banner.show();
}

bool callRecorderStateChanged(BannerWidget &banner)
{
    return QMetaObject::invokeMethod(&banner, "recorderStateChanged", Qt::DirectConnection,
                                     Q_ARG(RecorderState, RecorderState_Recording),
                                     Q_ARG(QString, QStringLiteral("a.mp4")));
}

class RecordingBanner final : public BannerWidget
{
public:
    void setRecording(bool recording) { isRecording = recording; }
};

} // namespace

class TestBannerWidget : public QObject
{
    Q_OBJECT

private slots:
    void initially_hasDefaultsAndOnlyTheLabel();
    void interface_keepsOrderAndSignatures();
    void setBannerPara_storesAllFields_andTouchesNothing();
    void horizontal_labelThenButtons_data();
    void horizontal_labelThenButtons();
    void vertical_stretchThenButtons_data();
    void vertical_stretchThenButtons();
    void initButton_replacesButtonsAndLayout();
    void initButton_showsTheNewOnes_inAShownBanner();
    void initButton_keepsOldOnes_onLengthMismatch();
    void initButton_givesNoTip_whereTipsAreMissing();
    void initButton_boundsGaps_thatNoScreenHolds();
    void initButton_isSafe_duringClick();
    void initButton_isSafe_duringNestedClicks();
    void click_mayDeleteTheBanner();
    void label_livesAndDiesWithBanner();
    void initStyle_buildsTheStyle();
    void initStyle_paintsTheBackground();
    void initStyle_takesEffect_beforeTheFirstShowing();
    void showInfo_isNotSeen_inVerticalBanner();
    void showInfo_marksRecording_onlyInSubclass();
};

void TestBannerWidget::initially_hasDefaultsAndOnlyTheLabel()
{
    const BannerWidget banner;
    const BannerPara para = banner.getBannerPara();
    QCOMPARE(para.margins, QMargins(5, 0, 3, 0));
    QCOMPARE(para.spacing, 2);
    QCOMPARE(para.bgAlpha, 100);
    QCOMPARE(para.bgColor, QColor(0x33, 0x33, 0x33));
    QCOMPARE(para.textColor, QColor(0xFF, 0xFF, 0xFF));
    QCOMPARE(para.pressColor, QColor(0x5E, 0xC7, 0xD9));
    QCOMPARE(para.position, 0);
    QVERIFY(para.icons.isEmpty() && para.names.isEmpty() && para.tips.isEmpty());
    QVERIFY(para.text.isEmpty());

    QVERIFY(banner.testAttribute(Qt::WA_StyledBackground));
    QVERIFY(buttonNames(banner).isEmpty());
    auto *layout = qobject_cast<QHBoxLayout *>(banner.layout());
    QVERIFY(layout);
    QCOMPARE(layout->count(), 1);
    QCOMPARE(layout->itemAt(0)->widget(), labelOf(banner));
}

void TestBannerWidget::interface_keepsOrderAndSignatures()
{
    const QMetaObject &meta = BannerWidget::staticMetaObject;
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const QString access = method.methodType() == QMetaMethod::Signal ? QStringLiteral("signal")
                               : method.access() == QMetaMethod::Private ? QStringLiteral("private")
                                                                         : QStringLiteral("public");
        methods << access + QLatin1Char(' ') + QString::fromLatin1(method.methodSignature());
    }
    QCOMPARE(methods, QStringList({
                          QStringLiteral("signal btnClicked(QString)"),
                          QStringLiteral("private btnClicked()"),
                          QStringLiteral("private receivePlayFinsh()"),
                          QStringLiteral("private receiveMuted(bool)"),
                          QStringLiteral("private recorderStateChanged(RecorderState,QString)"),
                          QStringLiteral("public setBannerPara(BannerPara)"),
                          QStringLiteral("public initButton()"),
                          QStringLiteral("public initStyle()"),
                          QStringLiteral("public showInfo(QString)"),
                          QStringLiteral("public changeStatus(QString,QString,QString)"),
                      }));
}

void TestBannerWidget::setBannerPara_storesAllFields_andTouchesNothing()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSnap")}));
    const QPointer<QPushButton> button = buttonAt(banner, 0);
    const QString style = banner.styleSheet();

    BannerPara para = paraWith({QStringLiteral("a"), QStringLiteral("b")}, 3);
    para.margins = QMargins(1, 2, 3, 4);
    para.spacing = 9;
    para.bgAlpha = 8;
    para.bgColor = Qt::red;
    para.textColor = Qt::green;
    para.pressColor = Qt::blue;
    para.text = QStringLiteral("gate");
    banner.setBannerPara(para);

    QVERIFY(button);
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnSnap")));
    QCOMPARE(banner.styleSheet(), style);
    const BannerPara stored = banner.getBannerPara();
    QCOMPARE(stored.margins, para.margins);
    QCOMPARE(stored.spacing, 9);
    QCOMPARE(stored.bgAlpha, 8);
    QCOMPARE(stored.bgColor, QColor(Qt::red));
    QCOMPARE(stored.textColor, QColor(Qt::green));
    QCOMPARE(stored.pressColor, QColor(Qt::blue));
    QCOMPARE(stored.position, 3);
    QCOMPARE(stored.icons, para.icons);
    QCOMPARE(stored.names, para.names);
    QCOMPARE(stored.tips, para.tips);
    QCOMPARE(stored.text, para.text);
}

void TestBannerWidget::horizontal_labelThenButtons_data()
{
    QTest::addColumn<int>("position");
    QTest::newRow("top") << 0;
    QTest::newRow("bottom") << 1;
    QTest::newRow("unknown") << 7;
}

void TestBannerWidget::horizontal_labelThenButtons()
{
    QFETCH(int, position);
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSnap"), QStringLiteral("btnSound")}, position));
    showLaidOut(banner, QSize(300, 25));

    auto *layout = qobject_cast<QHBoxLayout *>(banner.layout());
    QVERIFY(layout);
    QCOMPARE(layout->contentsMargins(), QMargins(5, 0, 3, 0));
    QCOMPARE(layout->spacing(), 2);
    QCOMPARE(layout->count(), 3);
    QCOMPARE(layout->itemAt(0)->widget(), labelOf(banner));
    // From the right: margin 3, button 20, spacing 2, button 20, spacing 2, the label to margin 5.
    QCOMPARE(layout->itemAt(2)->geometry(), QRect(277, 0, 20, 25));
    QCOMPARE(layout->itemAt(1)->geometry(), QRect(255, 0, 20, 25));
    QCOMPARE(layout->itemAt(0)->geometry(), QRect(5, 0, 248, 25));
    for (int i : {0, 1}) {
        const QPushButton *button = buttonAt(banner, i);
        QCOMPARE(layout->itemAt(i + 1)->widget(), button);
        QVERIFY(button->isVisible());
        QCOMPARE(button->minimumWidth(), 20);
        QCOMPARE(button->maximumWidth(), 20);
        QCOMPARE(button->sizePolicy().horizontalPolicy(), QSizePolicy::Preferred);
        QCOMPARE(button->sizePolicy().verticalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(iconOf(button), iconFrom(QStringLiteral(":/primary/snap.svg")));
    }
    QCOMPARE(buttonAt(banner, 0)->toolTip(), QStringLiteral("tip of btnSnap"));
    QCOMPARE(buttonAt(banner, 1)->toolTip(), QStringLiteral("tip of btnSound"));
}

void TestBannerWidget::vertical_stretchThenButtons_data()
{
    QTest::addColumn<int>("position");
    QTest::newRow("left") << 2;
    QTest::newRow("right") << 3;
}

void TestBannerWidget::vertical_stretchThenButtons()
{
    QFETCH(int, position);
    BannerWidget banner;
    BannerPara para = paraWith({QStringLiteral("btnSnap"), QStringLiteral("btnSound")}, position);
    para.margins = QMargins(1, 2, 3, 4);
    para.spacing = 6;
    rebuild(banner, para);
    showLaidOut(banner, QSize(25, 300));

    auto *layout = qobject_cast<QVBoxLayout *>(banner.layout());
    QVERIFY(layout);
    QCOMPARE(layout->contentsMargins(), QMargins(1, 2, 3, 4));
    QCOMPARE(layout->spacing(), 6);
    QCOMPARE(layout->count(), 3);
    QVERIFY(layout->itemAt(0)->spacerItem());
    // From below: margin 4, button 20, spacing 6, button 20.
    QCOMPARE(layout->itemAt(2)->geometry(), QRect(1, 276, 21, 20));
    QCOMPARE(layout->itemAt(1)->geometry(), QRect(1, 250, 21, 20));
    for (int i : {0, 1}) {
        const QPushButton *button = buttonAt(banner, i);
        QCOMPARE(layout->itemAt(i + 1)->widget(), button);
        QVERIFY(button->isVisible());
        QCOMPARE(button->minimumHeight(), 20);
        QCOMPARE(button->maximumHeight(), 20);
        QCOMPARE(button->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(button->sizePolicy().verticalPolicy(), QSizePolicy::Preferred);
    }
}

void TestBannerWidget::initButton_replacesButtonsAndLayout()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("a"), QStringLiteral("b")}));
    const QPointer<QPushButton> oldButton = buttonAt(banner, 0);
    const QPointer<QLayout> oldLayout = banner.layout();
    const QPointer<QLabel> label = labelOf(banner);
    oldButton->click(); // a click that is over delays nothing

    rebuild(banner, paraWith({QStringLiteral("c")}, 2));
    QVERIFY(!oldButton);
    QVERIFY(!oldLayout);
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("c")));
    QVERIFY(qobject_cast<QVBoxLayout *>(banner.layout()));

    rebuild(banner, BannerPara());
    QVERIFY(buttonNames(banner).isEmpty());
    QCOMPARE(banner.layout()->count(), 1);
    QCOMPARE(banner.layout()->itemAt(0)->widget(), label.data());
}

void TestBannerWidget::initButton_showsTheNewOnes_inAShownBanner()
{
    BannerWidget banner;
    showLaidOut(banner, QSize(300, 25));
    rebuild(banner, paraWith({QStringLiteral("btnSnap")}));
    QTRY_VERIFY(buttonAt(banner, 0)->isVisible());
    QTRY_COMPARE(buttonAt(banner, 0)->geometry(), QRect(277, 0, 20, 25));
    QVERIFY(labelOf(banner)->isVisible());
}

void TestBannerWidget::initButton_keepsOldOnes_onLengthMismatch()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("a")}));
    const QPointer<QPushButton> button = buttonAt(banner, 0);
    const QPointer<QLayout> layout = banner.layout();

    BannerPara para = paraWith({QStringLiteral("b"), QStringLiteral("c")}, 2);
    para.icons.removeLast();
    rebuild(banner, para);
    QVERIFY(button && layout);
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("a")));
    QCOMPARE(banner.layout(), layout.data());
}

void TestBannerWidget::initButton_givesNoTip_whereTipsAreMissing()
{
    BannerWidget banner;
    BannerPara para = paraWith({QStringLiteral("a"), QStringLiteral("b")});
    para.tips.removeLast();
    rebuild(banner, para);
    QCOMPARE(buttonNames(banner), QStringList({QStringLiteral("a"), QStringLiteral("b")}));
    QCOMPARE(buttonAt(banner, 0)->toolTip(), QStringLiteral("tip of a"));
    QVERIFY(buttonAt(banner, 1)->toolTip().isEmpty());
}

void TestBannerWidget::initButton_boundsGaps_thatNoScreenHolds()
{
    constexpr int kMost = std::numeric_limits<int>::max();
    constexpr int kLeast = std::numeric_limits<int>::min();
    for (const int position : {0, 2}) {
        BannerWidget banner;
        BannerPara para = paraWith({"btnA", "btnB"}, position);
        para.margins = QMargins(kMost, kLeast, kLeast, kMost);
        para.spacing = kMost;
        banner.setBannerPara(para);
        banner.initButton();
        QCOMPARE(banner.layout()->contentsMargins().left(), 65536);
        QCOMPARE(banner.layout()->contentsMargins().bottom(), 65536);
        QCOMPARE(banner.layout()->spacing(), 65536);
        QCOMPARE(banner.getBannerPara().margins, para.margins);
        banner.resize(300, 25);
        QVERIFY(!banner.grab(QRect(0, 0, 300, 25)).isNull()); // lays out, and paints
    }
}

void TestBannerWidget::initButton_isSafe_duringClick()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSnap"), QStringLiteral("btnSound")}));
    showLaidOut(banner, QSize(300, 25));
    const QPointer<QPushButton> clicked = buttonAt(banner, 0);
    const QPointer<QPushButton> other = buttonAt(banner, 1);
    QStringList received;
    bool alive = false;
    connect(&banner, QOverload<const QString &>::of(&BannerWidget::btnClicked), &banner,
            [&](const QString &name) {
                received << name;
                rebuild(banner, paraWith({QStringLiteral("btnNew")}));
                alive = clicked; // its click handler is still on the stack
            });
    QTest::mouseClick(clicked, Qt::LeftButton);
    QVERIFY(alive);
    QCOMPARE(received, QStringList(QStringLiteral("btnSnap")));
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnNew")));
    QVERIFY(!other);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!clicked);
}

void TestBannerWidget::initButton_isSafe_duringNestedClicks()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("outer"), QStringLiteral("inner")}));
    const QPointer<QPushButton> outer = buttonAt(banner, 0);
    const QPointer<QPushButton> inner = buttonAt(banner, 1);
    QStringList received;
    bool alive = false;
    connect(&banner, QOverload<const QString &>::of(&BannerWidget::btnClicked), &banner,
            [&](const QString &name) {
                received << name;
                if (name == QLatin1String("outer")) {
                    inner->click();
                    return;
                }
                rebuild(banner, paraWith({QStringLiteral("btnNew")}));
                alive = inner && outer;
            });
    outer->click();
    QVERIFY(alive);
    QCOMPARE(received, QStringList({QStringLiteral("outer"), QStringLiteral("inner")}));
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnNew")));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!outer && !inner);
    // Nothing is taken for a click in progress any more.
    const QPointer<QPushButton> latest = buttonAt(banner, 0);
    rebuild(banner, BannerPara());
    QVERIFY(!latest);
}

void TestBannerWidget::click_mayDeleteTheBanner()
{
    auto *banner = new BannerWidget;
    rebuild(*banner, paraWith({QStringLiteral("btnClose")}));
    const QPointer<BannerWidget> guard(banner);
    connect(banner, QOverload<const QString &>::of(&BannerWidget::btnClicked), qApp,
            [banner] { delete banner; });
    buttonAt(*banner, 0)->click();
    QVERIFY(!guard);
}

void TestBannerWidget::label_livesAndDiesWithBanner()
{
    auto banner = std::make_unique<BannerWidget>();
    const QPointer<QLabel> label = labelOf(*banner);
    QVERIFY(label);
    rebuild(*banner, paraWith({QStringLiteral("a")}, 2)); // no layout holds it
    QVERIFY(label);
    rebuild(*banner, paraWith({QStringLiteral("a")}, 0));
    QCOMPARE(labelOf(*banner), label.data());
    rebuild(*banner, paraWith({QStringLiteral("a")}, 3));
    banner.reset();
    QVERIFY(!label);
}

void TestBannerWidget::initStyle_buildsTheStyle()
{
    BannerWidget banner;
    QCOMPARE(banner.property("form").toString(), QStringLiteral("banner"));
    QCOMPARE(banner.styleSheet(),
             QStringLiteral("#bannerWidget{background:rgba(51,51,51,100);border:none;}"
                            "QLabel{margin:0px;padding:0px;}"
                            "QPushButton,QLabel{color:#ffffff;}"
                            "QPushButton:pressed{color:#5ec7d9;}"
                            "QPushButton{border:none;padding:0px;background:rgba(0,0,0,0);}"));

    BannerPara para;
    para.bgColor = QColor(1, 20, 255, 7); // its own alpha does not count
    para.bgAlpha = 0;
    para.textColor = Qt::red;
    para.pressColor = Qt::green;
    banner.setBannerPara(para);
    banner.initStyle();
    QCOMPARE(banner.styleSheet(),
             QStringLiteral("#bannerWidget{background:rgba(1,20,255,0);border:none;}"
                            "QLabel{margin:0px;padding:0px;}"
                            "QPushButton,QLabel{color:#ff0000;}"
                            "QPushButton:pressed{color:#00ff00;}"
                            "QPushButton{border:none;padding:0px;background:rgba(0,0,0,0);}"));
}

void TestBannerWidget::initStyle_takesEffect_beforeTheFirstShowing()
{
    QWidget parent;
    parent.setStyleSheet(QStringLiteral("background-color:black;"));
    BannerWidget banner(&parent);
    banner.setObjectName(QStringLiteral("bannerWidget"));
    BannerPara para = paraWith({QStringLiteral("btnSnap")}, 2);
    para.margins = QMargins();
    rebuild(banner, para);
    buttonAt(banner, 0)->sizeHint(); // has Qt parse the style of the constructor
    para.bgColor = Qt::blue;
    para.bgAlpha = 255;
    banner.setBannerPara(para);
    banner.initStyle();
    banner.resize(25, 100);
    // All but the button at the end.
    QCOMPARE(vantratest::countOf(banner.grab().toImage().copy(0, 0, 25, 80), Qt::blue), 25 * 80);
}

void TestBannerWidget::initStyle_paintsTheBackground()
{
    BannerPara para;
    para.bgColor = Qt::green;
    para.bgAlpha = 255;
    para.textColor = Qt::red;
    BannerWidget banner;
    banner.setBannerPara(para);
    banner.initStyle();
    banner.resize(200, 25);
    QVERIFY(banner.grab().toImage().pixelColor(199, 12) != QColor(Qt::green));

    banner.setObjectName(QStringLiteral("bannerWidget")); // the style goes by this name
    banner.initStyle();
    QImage picture = banner.grab().toImage();
    QCOMPARE(vantratest::countOf(picture, Qt::green), 200 * 25);

    banner.showInfo(QStringLiteral("█████")); // solid blocks
    picture = banner.grab().toImage();
    QVERIFY(vantratest::countOf(picture, Qt::red) > 0);
    QVERIFY(vantratest::boundsOf(picture, Qt::red).left() >= 5); // margin
}

void TestBannerWidget::showInfo_isNotSeen_inVerticalBanner()
{
    for (int position : {2, 3}) {
        BannerWidget banner;
        banner.resize(100, 200);
        banner.showInfo(QStringLiteral("front"));
        const QLabel *label = labelOf(banner);
        QCOMPARE(label->text(), QStringLiteral("front"));
        const QImage horizontal = banner.grab().toImage();

        rebuild(banner, paraWith({}, position));
        const QImage before = banner.grab().toImage();
        QVERIFY(before != horizontal); // the text has gone
        banner.showInfo(QStringLiteral("back"));
        QCOMPARE(label->text(), QStringLiteral("back"));
        QCOMPARE(banner.grab().toImage(), before);
        showLaidOut(banner, banner.size());
        QVERIFY(!label->isVisible());

        rebuild(banner, paraWith({}, 0));
        QVERIFY(label->isVisible());
    }
}

void TestBannerWidget::showInfo_marksRecording_onlyInSubclass()
{
    BannerWidget plain;
    plain.showInfo(QStringLiteral("gate"));
    QVERIFY(callRecorderStateChanged(plain));
    QCOMPARE(labelOf(plain)->text(), QStringLiteral("gate"));

    RecordingBanner banner;
    banner.showInfo(QStringLiteral("gate"));
    banner.setRecording(true);
    QCOMPARE(labelOf(banner)->text(), QStringLiteral("gate"));
    QVERIFY(callRecorderStateChanged(banner));
    QCOMPARE(labelOf(banner)->text(), QStringLiteral("gate 录制中..."));
    banner.showInfo(QStringLiteral("yard"));
    QCOMPARE(labelOf(banner)->text(), QStringLiteral("yard 录制中..."));
    banner.setRecording(false);
    QVERIFY(callRecorderStateChanged(banner));
    QCOMPARE(labelOf(banner)->text(), QStringLiteral("yard"));
}

QTEST_MAIN(TestBannerWidget)
#include "tst_bannerwidget.moc"
