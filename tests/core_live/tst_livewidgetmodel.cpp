// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Thousands of random steps of two and three live widgets on two devices, against a small model of
// who counts what. VANTRA_TEST_SEED repeats a run, VANTRA_TEST_STEPS makes it longer.
#include "livewidgetcase.h"
#include "support/privatepulse.h"
#include "support/seed.h"

#include <QtTest>

#include <array>
#include <random>
#include <vector>

using namespace livefakes;
using namespace vantratest;

namespace {

constexpr int kChannels = 2;
constexpr int kStreams = 2; ///< per channel
constexpr int kDevices = 2;

/// What is to be known of one stream thread.
struct StreamModel
{
    QSharedPointer<AbstractVideoThread> thread;
    int previews = 0;
    bool records = false;
    bool owned = false;
    bool running = false; ///< once everything has settled
    bool ordered = false; ///< to stop, since everything had settled last
    /// Not known: it was to be started again for a widget that has left before.
    bool uncertain = false;

    int references() const { return previews + (records ? 1 : 0); }
};

struct SetModel
{
    PtrDevLiveThrSet set;
    std::vector<StreamModel> streams;
    bool bound = true; ///< not ended with the library

    int references() const
    {
        int sum = 0;
        for (const StreamModel &stream : streams)
            sum += stream.references();
        return bound ? sum : 0;
    }
};

struct WidgetModel
{
    std::unique_ptr<LiveView> view;
    int device = 0;
    int channel = 0;
    int mask = -1;
    bool started = false;
    std::shared_ptr<SetModel> set;
    int shown = -1; ///< flat index
    std::array<bool, kChannels * kStreams> previewing{};

    int index(int stream) const { return channel * kStreams + stream; }
};

/// The widgets, and beside them what they are to do to the streams.
class World
{
public:
    World(int widgets, unsigned int seed) : random(seed)
    {
        for (int i = 0; i < kDevices; ++i)
            devices.push_back(scriptedDevice(deviceScript(kChannels, kStreams, HTransportOrvo)));
        used.resize(kDevices);
        models.resize(size_t(widgets));
        for (WidgetModel &model : models)
            renew(model);
    }

    /// One random step; returns its name.
    QString step()
    {
        WidgetModel &model = models[size_t(pick(int(models.size())))];
        const int stream = pick(kStreams);
        switch (pick(24)) {
        case 0:
        case 1:
        case 2:
        case 3:
        case 4:
            start(model);
            return "start";
        case 5:
        case 6:
        case 7:
            playStart(model, stream);
            return "playStart";
        case 8:
        case 9:
        case 10:
            playStop(model);
            playStart(model, stream, true);
            return "replay";
        case 11:
        case 12:
        case 13:
            playStop(model);
            model.view->playStop(pick(2));
            return "playStop";
        case 14:
        case 15:
        case 16:
        case 17:
            stop(model, false);
            model.view->stop(false);
            return "stop";
        case 18:
            stop(model, true);
            model.view->stop(true);
            return "stop by force";
        case 19:
            stop(model, false);
            model.view->close();
            return "close";
        case 20:
            settle(); // a start that waits for the end of a thread goes with its widget
            model.view.reset();
            renew(model);
            return "delete";
        case 21:
            record(model, true);
            return "record";
        case 22:
            record(model, false);
            return "record no more";
        default:
            if (pick(4) == 0) {
                endLibrary();
                return "end and begin of the library";
            }
            init(model);
            return "init";
        }
    }

    /// What differs from the model, at once; empty if nothing does.
    QString difference()
    {
        for (int device = 0; device < kDevices; ++device) {
            const auto set =
                DevLiveThrSetManager::Instance()->getVideoThreadSet(devices.at(size_t(device)));
            const auto &wanted = used.at(size_t(device));
            if (set != (wanted ? wanted->set : PtrDevLiveThrSet()))
                return QString("set of device %1").arg(device);
        }
        for (const auto &set : allSets()) {
            int owned = 0;
            for (size_t i = 0; i < set->streams.size(); ++i) {
                const StreamModel &stream = set->streams.at(i);
                if (stream.thread->previewRef() != stream.previews)
                    return QString("previewRef of stream %1 is %2, not %3")
                        .arg(i)
                        .arg(int(stream.thread->previewRef()))
                        .arg(stream.previews);
                if (stream.thread->referenceCount() != stream.references())
                    return QString("referenceCount of stream %1").arg(i);
                if (stream.thread->isOwned() != stream.owned)
                    return QString("isOwned of stream %1").arg(i);
                owned += stream.owned;
            }
            if (set->set->getDevPtr()) { // not ended yet
                if (set->set->referenceCount() != set->references())
                    return "referenceCount of a set";
                if (set->set->isOwned() != (owned > 0))
                    return "isOwned of a set";
            }
        }
        for (const WidgetModel &model : models) {
            const AbstractVideoThread *shown =
                model.shown < 0 ? nullptr
                                : model.set->streams.at(size_t(model.shown)).thread.data();
            if (model.view->videoThread.data() != shown)
                return "shown stream of a widget";
        }
        return {};
    }

    /// Waits until the threads that are to run do, and the others do not; what differs, if they
    /// never do.
    QString settle()
    {
        QString difference;
        waitFor([&] {
            difference.clear();
            for (const auto &set : allSets()) {
                for (size_t i = 0; i < set->streams.size(); ++i) {
                    const StreamModel &stream = set->streams.at(i);
                    const auto *thread = dynamic_cast<LiveThread *>(stream.thread.data());
                    const bool runs = thread->isRunning();
                    const bool isEnding = runs && thread->isStopAsked();
                    if (isEnding || (!stream.uncertain && runs != stream.running))
                        difference = QString("stream %1 is to run: %2").arg(i).arg(stream.running);
                }
            }
            return difference.isEmpty();
        });
        for (const auto &set : allSets()) {
            for (StreamModel &stream : set->streams)
                stream.ordered = false;
        }
        return difference;
    }

private:
    int pick(int count) { return int(random() % unsigned(count)); }

    std::vector<std::shared_ptr<SetModel>> allSets() const
    {
        std::vector<std::shared_ptr<SetModel>> all;
        const auto add = [&](const std::shared_ptr<SetModel> &set) {
            if (set && std::find(all.begin(), all.end(), set) == all.end())
                all.push_back(set);
        };
        for (const auto &set : used)
            add(set);
        for (const WidgetModel &model : models)
            add(model.set);
        return all;
    }

    void renew(WidgetModel &model)
    {
        model = WidgetModel();
        model.view = std::make_unique<LiveView>();
        model.view->noStreamControl = true; // no sound here; recordings are started on the threads
        init(model);
    }

    void init(WidgetModel &model)
    {
        if (model.started)
            return;
        const std::array<int, 5> masks{-1, 1, 2, 3, 4};
        model.device = pick(kDevices);
        model.channel = pick(8) == 0 ? kChannels : pick(kChannels);
        const int mask = masks.at(size_t(pick(int(masks.size()))));
        // All is added to what the mask held.
        model.mask = mask == -1 ? model.mask | 3 : mask;
        model.view->init(devices.at(size_t(model.device)), model.channel, mask);
    }

    void start(WidgetModel &model)
    {
        QVERIFY(model.view->start());
        if (model.started)
            return;
        auto &set = used.at(size_t(model.device));
        if (!set) {
            set = std::make_shared<SetModel>();
            set->set = DevLiveThrSetManager::Instance()->getVideoThreadSet(
                devices.at(size_t(model.device)));
            QVERIFY(set->set);
            for (const auto &thread : set->set->getChannelThreads()) {
                StreamModel stream;
                stream.thread = thread;
                set->streams.push_back(stream);
            }
        }
        model.started = true;
        model.set = set;
        model.shown = -1;
        model.previewing.fill(false);
        for (int stream = 0; stream < kStreams && model.channel < kChannels; ++stream) {
            if (!(model.mask & (1 << stream)))
                continue;
            StreamModel &joined = set->streams.at(size_t(model.index(stream)));
            joined.owned = true;
            joined.running = true;
            joined.uncertain = false;
        }
    }

    void playStart(WidgetModel &model, int stream, bool replays = false)
    {
        if (!model.started && !replays)
            return; // an error in the log, tested elsewhere
        if (replays && model.started)
            model.view->replay(stream);
        else if (!replays)
            model.view->playStart(stream);
        if (!model.started || model.channel >= kChannels)
            return;
        model.shown = model.index(stream);
        bool &previewing = model.previewing.at(size_t(model.shown));
        if (!previewing)
            ++model.set->streams.at(size_t(model.shown)).previews;
        previewing = true;
    }

    void playStop(WidgetModel &model)
    {
        if (model.shown < 0)
            return;
        bool &previewing = model.previewing.at(size_t(model.shown));
        int &previews = model.set->streams.at(size_t(model.shown)).previews;
        if (previewing && previews > 0)
            --previews;
        previewing = false;
        model.shown = -1;
    }

    void stop(WidgetModel &model, bool force)
    {
        if (!model.started)
            return;
        for (StreamModel &stream : model.set->streams) {
            stream.owned = false;
            if (force || stream.references() < 1) {
                stream.running = stream.uncertain = false;
                stream.ordered = true;
            } else if (stream.ordered) {
                stream.uncertain = true;
            }
        }
        auto &inUse = used.at(size_t(model.device));
        if (model.set == inUse && model.set->references() < 1)
            release(inUse);
        model.started = false;
        model.set.reset();
        model.shown = -1;
    }

    static void release(std::shared_ptr<SetModel> &set)
    {
        for (StreamModel &stream : set->streams)
            stream.running = stream.uncertain = false;
        set.reset();
    }

    void record(WidgetModel &model, bool on)
    {
        if (!model.started || model.channel >= kChannels)
            return;
        StreamModel &main = model.set->streams.at(size_t(model.index(0)));
        if (on)
            main.thread->recordStart(AbstractVideoThread::MANUAL_RECORD);
        else
            main.thread->recordStop(AbstractVideoThread::MANUAL_RECORD);
        main.records = on;
    }

    void endLibrary()
    {
        for (const auto &set : allSets()) {
            for (StreamModel &stream : set->streams)
                stream.running = stream.uncertain = false;
        }
        Vantra::release();
        for (auto &set : used) {
            if (set)
                set->bound = false;
            set.reset();
        }
        for (const WidgetModel &model : models) {
            if (model.set)
                model.set->bound = false;
        }
        Vantra::init();
    }

    std::mt19937 random;
    std::vector<QSharedPointer<HNetDevice>> devices;
    std::vector<std::shared_ptr<SetModel>> used; ///< by device
    std::vector<WidgetModel> models;
};

} // namespace

class TestLiveWidgetModel : public LiveWidgetCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void randomSteps_countAsTheModelDoes_data()
    {
        QTest::addColumn<int>("widgets");
        QTest::addColumn<unsigned int>("seed");
        const std::optional<quint32> given = givenSeed();
        for (const int widgets : {2, 3}) {
            if (given)
                QTest::addRow("%d widgets, seed %u", widgets, *given) << widgets << *given;
            for (unsigned int i = 1; i <= 3 && !given; ++i)
                QTest::addRow("%d widgets, seed %u", widgets, i) << widgets << i;
        }
    }
    void randomSteps_countAsTheModelDoes()
    {
        QFETCH(int, widgets);
        QFETCH(unsigned int, seed);
        bool given = false;
        int steps = qEnvironmentVariableIntValue("VANTRA_TEST_STEPS", &given);
        if (!given)
            steps = 3000;
        World world(widgets, seed);
        for (int i = 0; i < steps; ++i) {
            const QString name = world.step();
            const QString difference = world.difference();
            QVERIFY2(difference.isEmpty(),
                     qPrintable(QString("step %1, %2: %3").arg(i).arg(name, difference)));
            if (i % 3 == 0)
                QCoreApplication::processEvents();
            if (i % 25 == 0)
                QCOMPARE(QString("step %1, %2: ").arg(i).arg(name) + world.settle(),
                         QString("step %1, %2: ").arg(i).arg(name));
        }
        QCOMPARE(world.settle(), QString());
    }
};

QTEST_MAIN(TestLiveWidgetModel)
#include "tst_livewidgetmodel.moc"
