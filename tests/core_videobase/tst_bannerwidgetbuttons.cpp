// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What the buttons of a banner show, and what changes it.

#include "bannertools.h"

#include <QSignalSpy>
#include <QTest>

using namespace vantratest;

namespace {

bool call(BannerWidget &banner, const char *slot)
{
    return QMetaObject::invokeMethod(&banner, slot, Qt::DirectConnection);
}

bool callMuted(BannerWidget &banner, bool muted)
{
    return QMetaObject::invokeMethod(&banner, "receiveMuted", Qt::DirectConnection,
                                     Q_ARG(bool, muted));
}

} // namespace

class TestBannerWidgetButtons : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void click_togglesNameAndIcon_data();
    void click_togglesNameAndIcon();
    void secondClick_togglesBack();
    void click_replacesTextWhereverItStands();
    void changeStatus_changesOnlyFirstMatch();
    void changeStatus_changesNothing_withoutMatch();
    void receiveMuted_followsSound();
    void receiveMuted_changesNothing_withoutSoundButton();
    void receiveMuted_goesByTheEndOfTheName();
    void receivePlayFinsh_unmutes();
    void button_doesNotTakeFocus();
};

void TestBannerWidgetButtons::initTestCase()
{
    // The tests below tell these pictures apart.
    const QList<QImage> icons{iconFrom(kMicIcon), iconFrom(kMicClosedIcon), iconFrom(kSoundIcon),
                              iconFrom(kMutedIcon), iconFrom(QStringLiteral(":/primary/snap.svg"))};
    for (int i = 0; i < icons.size(); ++i) {
        QVERIFY(!icons.at(i).isNull());
        for (int j = 0; j < i; ++j)
            QVERIFY(icons.at(i) != icons.at(j));
    }
}

void TestBannerWidgetButtons::click_togglesNameAndIcon_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("icon");

    const QString same = QStringLiteral(":/primary/snap.svg");
    QTest::newRow("talk") << "btnTalk"
                          << "btnTalkMuted" << kMicClosedIcon;
    QTest::newRow("talk muted") << "btnTalkMuted"
                                << "btnTalk" << kMicIcon;
    QTest::newRow("sound") << "btnSound"
                           << "btnMuted" << kMutedIcon;
    QTest::newRow("muted") << "btnMuted"
                           << "btnSound" << kSoundIcon;
    QTest::newRow("prefix") << "live_3_btnSound"
                            << "live_3_btnMuted" << kMutedIcon;
    QTest::newRow("any name that ends with TalkMuted") << "xTalkMuted"
                                                       << "xTalk" << kMicIcon;
    QTest::newRow("no btn before Talk") << "xTalk"
                                        << "xTalk" << same;
    QTest::newRow("no btn before Sound") << "xSound"
                                         << "xSound" << same;
    QTest::newRow("something behind") << "btnSound2"
                                      << "btnSound2" << same;
    QTest::newRow("another button") << "btnSnap"
                                    << "btnSnap" << same;
    QTest::newRow("no name") << ""
                             << "" << same;
}

void TestBannerWidgetButtons::click_togglesNameAndIcon()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QFETCH(QString, icon);
    BannerWidget banner;
    rebuild(banner, paraWith({name, QStringLiteral("other")}));
    QStringList received;
    QString nameAtSignal;
    connect(&banner, QOverload<const QString &>::of(&BannerWidget::btnClicked), &banner,
            [&](const QString &text) {
                received << text;
                nameAtSignal = buttonAt(banner, 0)->objectName();
            });
    buttonAt(banner, 0)->click();
    QCOMPARE(received, QStringList(expected));
    QCOMPARE(nameAtSignal, expected); // changed before the signal
    QCOMPARE(buttonNames(banner), QStringList({expected, QStringLiteral("other")}));
    QCOMPARE(iconOf(buttonAt(banner, 0)), iconFrom(icon));
}

void TestBannerWidgetButtons::secondClick_togglesBack()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSound")}));
    QSignalSpy spy(&banner, SIGNAL(btnClicked(QString)));
    buttonAt(banner, 0)->click();
    buttonAt(banner, 0)->click();
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnSound")));
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("btnMuted"));
    QCOMPARE(spy.at(1).at(0).toString(), QStringLiteral("btnSound"));
    QCOMPARE(iconOf(buttonAt(banner, 0)), iconFrom(kSoundIcon));
}

void TestBannerWidgetButtons::click_replacesTextWhereverItStands()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("SoundRoom_btnSound")}));
    buttonAt(banner, 0)->click();
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("MutedRoom_btnMuted")));
    buttonAt(banner, 0)->click();
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("SoundRoom_btnSound")));
}

void TestBannerWidgetButtons::changeStatus_changesOnlyFirstMatch()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSnap"), QStringLiteral("a_btnSound"),
                              QStringLiteral("b_btnSound")}));
    banner.changeStatus(QStringLiteral("Sound"), QStringLiteral("Off"), kMutedIcon);
    QCOMPARE(buttonNames(banner),
             QStringList({QStringLiteral("btnSnap"), QStringLiteral("a_btnOff"),
                          QStringLiteral("b_btnSound")}));
    QCOMPARE(iconOf(buttonAt(banner, 0)), iconFrom(QStringLiteral(":/primary/snap.svg")));
    QCOMPARE(iconOf(buttonAt(banner, 1)), iconFrom(kMutedIcon));
    QCOMPARE(iconOf(buttonAt(banner, 2)), iconFrom(QStringLiteral(":/primary/snap.svg")));
}

void TestBannerWidgetButtons::changeStatus_changesNothing_withoutMatch()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSound2")})); // the end counts
    banner.changeStatus(QStringLiteral("Sound"), QStringLiteral("Muted"), kMutedIcon);
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnSound2")));
    QCOMPARE(iconOf(buttonAt(banner, 0)), iconFrom(QStringLiteral(":/primary/snap.svg")));
}

void TestBannerWidgetButtons::receiveMuted_followsSound()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSound")}));
    QSignalSpy spy(&banner, SIGNAL(btnClicked(QString)));
    QVERIFY(callMuted(banner, true));
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnMuted")));
    QCOMPARE(iconOf(buttonAt(banner, 0)), iconFrom(kMutedIcon));
    QVERIFY(callMuted(banner, true)); // again: no button ends with "Sound" any more
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnMuted")));
    QVERIFY(callMuted(banner, false));
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnSound")));
    QCOMPARE(iconOf(buttonAt(banner, 0)), iconFrom(kSoundIcon));
    QCOMPARE(spy.count(), 0);
}

void TestBannerWidgetButtons::receiveMuted_changesNothing_withoutSoundButton()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSnap"), QStringLiteral("btnTalk")}));
    QVERIFY(callMuted(banner, true));
    QVERIFY(callMuted(banner, false));
    QCOMPARE(buttonNames(banner),
             QStringList({QStringLiteral("btnSnap"), QStringLiteral("btnTalk")}));
    for (int i : {0, 1})
        QCOMPARE(iconOf(buttonAt(banner, i)), iconFrom(QStringLiteral(":/primary/snap.svg")));
}

void TestBannerWidgetButtons::receiveMuted_goesByTheEndOfTheName()
{
    BannerWidget banner;
    const QStringList off{QStringLiteral("roomMuted"), QStringLiteral("btnMuted")};
    rebuild(banner, paraWith({QStringLiteral("roomSound"), QStringLiteral("btnMuted")}));
    QVERIFY(callMuted(banner, true)); // "btn" need not stand before it, as for a click
    QCOMPARE(buttonNames(banner), off);
    QVERIFY(callMuted(banner, false));
    QCOMPARE(buttonNames(banner).first(), QStringLiteral("roomSound"));
    QVERIFY(callMuted(banner, true));
    QVERIFY(call(banner, "receivePlayFinsh"));
    QCOMPARE(buttonNames(banner).first(), QStringLiteral("roomSound"));

    // Intended: a muted talk button ends with "Muted" too, and the first match is taken.
    rebuild(banner, paraWith({QStringLiteral("btnTalkMuted"), QStringLiteral("btnMuted")}));
    QVERIFY(callMuted(banner, false));
    QCOMPARE(buttonNames(banner),
             QStringList({QStringLiteral("btnTalkSound"), QStringLiteral("btnMuted")}));
}

void TestBannerWidgetButtons::receivePlayFinsh_unmutes()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnMuted")}));
    QVERIFY(call(banner, "receivePlayFinsh"));
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnSound")));
    QCOMPARE(iconOf(buttonAt(banner, 0)), iconFrom(kSoundIcon));
    QVERIFY(call(banner, "receivePlayFinsh"));
    QCOMPARE(buttonNames(banner), QStringList(QStringLiteral("btnSound")));
}

void TestBannerWidgetButtons::button_doesNotTakeFocus()
{
    BannerWidget banner;
    rebuild(banner, paraWith({QStringLiteral("btnSnap")}));
    QCOMPARE(buttonAt(banner, 0)->focusPolicy(), Qt::NoFocus);
}

QTEST_MAIN(TestBannerWidgetButtons)
#include "tst_bannerwidgetbuttons.moc"
