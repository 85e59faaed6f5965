// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// VideoMode_Opengl from the camera to the screen, for an address and for a device: each picture is
// read back from the X server.
#include "core_opengl/yuvwidget.h"
#include "livecase.h"
#include "support/graphicsdriver.h"
#include "support/privatepulse.h"
#include "support/rtspserver.h"
#include "systemcase.h"

#include <QScreen>
#include <QVBoxLayout>
#include <QWindow>

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr int kEnough = 10; ///< pictures
constexpr int kDeadlineMs = 60000;

/// Any widget that plays, set to OpenGL as a host does it, which notes the counter of each picture
/// that it shows.
template<typename Base>
class OnScreen : public Base
{
public:
    template<typename... Arguments>
    explicit OnScreen(Arguments &&...arguments) : Base(std::forward<Arguments>(arguments)...)
    {
        this->setVideoMode(VideoMode_Opengl);
        QMetaObject::invokeMethod(this, "newOpenglWidgets");
    }

    QVector<qint64> seen; ///< -1 where none could be read
    int sent = 0;         ///< pictures that reached the widget, shown or not
    bool reads = true;

    /// Waits for more pictures, each later than the one before; empty, or what is wrong.
    QString faultOfMore()
    {
        seen.clear();
        if (!waitFor([&] { return seen.size() >= kEnough; }, kDeadlineMs))
            return QStringLiteral("%1 pictures").arg(seen.size());
        for (int i = 0; i < seen.size(); ++i)
            if (reads && (seen[i] < 0 || (i > 0 && seen[i] <= seen[i - 1])))
                return QStringLiteral("%1 after %2").arg(seen[i]).arg(i > 0 ? seen[i - 1] : -1);
        return QString();
    }
    /// Waits until pictures have come that nobody could see.
    bool getsUnseen()
    {
        const int before = sent;
        seen.clear();
        return waitFor([&] { return sent >= before + kEnough; }, kDeadlineMs) && seen.isEmpty();
    }

protected:
    using Base::receiveFrame;
    void receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU, quint8 *dataV,
                      quint32 linesizeY, quint32 linesizeU, quint32 linesizeV) override
    {
        const bool counts = this->sender() == this->videoThread && this->isRunning;
        Base::receiveFrame(width, height, dataY, dataU, dataV, linesizeY, linesizeU, linesizeV);
        sent += counts;
        const QWindow *window = this->window()->windowHandle();
        if (!counts || !this->isVisible() || this->getIsMinimized() || !window->isExposed())
            return;
        this->yuvWidget->updateGL();
        if (!reads) {
            seen.append(0);
            return;
        }
        const QPoint corner = this->mapTo(this->window(), QPoint());
        const QImage shown = QGuiApplication::primaryScreen()
                                 ->grabWindow(this->window()->winId(), corner.x(), corner.y(),
                                              this->width(), this->height())
                                 .toImage();
        const auto counter = readCounter(shown, this->targetRect);
        if (!counter && seen.isEmpty())
            return; // the window is being laid out
        seen.append(counter ? qint64(*counter) : -1);
    }
};

using PlayOnScreen = OnScreen<PlayView>;
using LiveOnScreen = OnScreen<LiveView>;

/// Through all that may happen to a window.
template<typename View, typename Start>
QString lifeOfAWindow(View *view, Start start)
{
    QWidget first(nullptr, Qt::FramelessWindowHint);
    first.resize(640, 360);
    QWidget second(nullptr, Qt::FramelessWindowHint);
    second.resize(700, 500);
    const auto put = [&](QWidget *window) {
        delete window->layout();
        auto *layout = new QVBoxLayout(window);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(view);
        view->show();
        window->show();
        return waitFor([&] { return window->windowHandle()->isExposed(); });
    };
    const auto step = [&](const char *name, bool done) {
        if (!done)
            return QStringLiteral("%1 failed").arg(name);
        const QString fault = view->faultOfMore();
        return fault.isEmpty() ? QString() : QStringLiteral("%1: %2").arg(name, fault);
    };
    QString fault;
    const auto is = [&](const QString &result) {
        fault = result;
        return result.isEmpty();
    };
    if (is(step("first window", put(&first) && start()))) {
        first.hide();
        bool unseen = view->getsUnseen();
        first.show();
        if (is(step("hidden",
                    unseen && waitFor([&] { return first.windowHandle()->isExposed(); })))) {
            first.showMinimized();
            unseen =
                waitFor([&] { return !first.windowHandle()->isExposed(); }) && view->getsUnseen();
            first.showNormal();
            if (is(step("minimised",
                        unseen && waitFor([&] { return first.windowHandle()->isExposed(); }))) &&
                is(step("second window", put(&second)))) {
                second.showFullScreen();
                is(step("full screen", waitFor([&] { return second.width() > 1000; })));
            }
        }
    }
    view->setParent(nullptr);
    return fault;
}

} // namespace

class TestOpengl : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        announceStop(log.get());
        announceRtspStop(log.get());
        log->expectMatching(Logger::Warning,
                            QRegularExpression("^\\(ffvdthr\\)no audio stream in "));
        QVERIFY(Vantra::init());
    }
    void tearDown() override
    {
        Vantra::release();
        keepGraphicsDriver();
    }

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void address_isShown_whateverBecomesOfItsWindow();
    void device_isShown_whateverBecomesOfItsWindow_data();
    void device_isShown_whateverBecomesOfItsWindow();
    void sixteenViews_areShown();
    void picture_stays_whenTheThreadHasEnded();
};

void TestOpengl::address_isShown_whateverBecomesOfItsWindow()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264:none:640x360:gop=10"}), qPrintable(server.log()));
    PlayOnScreen view(server.url("cam"));
    QCOMPARE(lifeOfAWindow(&view, [&] { return view.start(); }), QString());
    QVERIFY(endPlay(&view));
}

void TestOpengl::device_isShown_whateverBecomesOfItsWindow_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<int>("codec");
    QTest::newRow("orvo") << int(HTransportOrvo) << int(HCodecH264);
    QTest::newRow("zelk") << int(HTransportZelk) << int(HCodecH265);
    QTest::newRow("rtsp") << int(HTransportRtsp) << int(HCodecH264);
}

void TestOpengl::device_isShown_whateverBecomesOfItsWindow()
{
    QFETCH(int, protocol);
    QFETCH(int, codec);
    const auto transport = static_cast<HTransportProtocol>(protocol);
    const Simulation sim = simulateDevice(smallDevice(transport, 1, 1, codec));
    LiveOnScreen view(transport);
    QCOMPARE(lifeOfAWindow(&view, [&] { return view.begin(sim.device, 0, 0); }), QString());
    view.finish();
}

void TestOpengl::sixteenViews_areShown()
{
    const Simulation sim = simulateDevice(smallDevice(HTransportOrvo, 4, 1));
    QWidget window(nullptr, Qt::FramelessWindowHint);
    window.resize(1280, 720);
    auto *grid = new QGridLayout(&window);
    std::vector<std::unique_ptr<LiveOnScreen>> views;
    for (int i = 0; i < 16; ++i) {
        views.push_back(std::make_unique<LiveOnScreen>(HTransportOrvo));
        views.back()->reads = i % 5 == 0;
        grid->addWidget(views.back().get(), i / 4, i % 4);
    }
    window.show();
    QVERIFY(waitFor([&] { return window.windowHandle()->isExposed(); }));
    for (int i = 0; i < 16; ++i)
        QVERIFY(views[size_t(i)]->begin(sim.device, i % 4, 0));
    for (const auto &view : views)
        QCOMPARE(view->faultOfMore(), QString());
    for (const auto &view : views) {
        view->finish();
        view->setParent(nullptr);
    }
}

void TestOpengl::picture_stays_whenTheThreadHasEnded()
{
    const Simulation sim = simulateDevice(smallDevice(HTransportOrvo, 1, 1));
    LiveOnScreen view(HTransportOrvo);
    view.setWindowFlags(Qt::FramelessWindowHint);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(waitFor([&] { return view.windowHandle()->isExposed(); }));
    QCOMPARE(view.faultOfMore(), QString());
    const qint64 last = view.seen.last();
    view.finish();
    Vantra::release(); // waits for the thread: decoder and planes are gone
    auto *surface = view.findChild<YuvWidget *>(QStringLiteral("yuvWidget"));
    QVERIFY(surface);
    surface->resize(surface->size() - QSize(1, 1));
    surface->updateGL();
    const QImage shown = QGuiApplication::primaryScreen()->grabWindow(view.winId()).toImage();
    const auto counter = readCounter(shown);
    QVERIFY(counter);
    QVERIFY(*counter >= last);
    QVERIFY(Vantra::init());
}

QTEST_MAIN(TestOpengl)
#include "tst_opengl.moc"
