// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "livefakes.h"

#include "core_live/videothrmux/livethreadmaker_p.h"

namespace livefakes {

namespace {

QVector<QPointer<LiveThread>> &madeThreads()
{
    static QVector<QPointer<LiveThread>> made;
    return made;
}

AbstractVideoThread *make(HTransportProtocol protocol)
{
    if (protocol != HTransportOrvo && protocol != HTransportZelk && protocol != HTransportRtsp)
        return nullptr;
    auto *thread = new LiveThread;
    madeThreads().append(thread);
    return thread;
}

} // namespace

LiveThread::LiveThread() : FakeThread(nullptr) {}

LiveThread::~LiveThread()
{
    deafToStop = false;
    deafStops = 0;
    endRun();
}

void LiveThread::stop()
{
    ++stops;
    if (deafStops > 0)
        --deafStops;
    else
        AbstractVideoThread::stop();
}

void LiveThread::play()
{
    if (!heldBack)
        AbstractVideoThread::play();
}

void LiveThread::setTimedOut(bool opening, bool reading)
{
    openFailCount = opening ? 1 : 0;
    readTimedOut = reading;
}

bool LiveThread::open()
{
    return call([this] {
        isOk = true;
        emit receivePlayStart(0);
    });
}

bool LiveThread::close()
{
    return call([this] {
        isOk = false;
        emit receivePlayFinsh(this);
    });
}

void LiveThread::run()
{
    ++starts;
    FakeThread::run();
}

ThreadMaker::ThreadMaker()
{
    madeThreads().clear();
    liveThreadMaker = make;
}

ThreadMaker::~ThreadMaker()
{
    liveThreadMaker = makeLiveThread;
}

QVector<QPointer<LiveThread>> ThreadMaker::made()
{
    return madeThreads();
}

std::shared_ptr<vantratest::DeviceScript> deviceScript(int channels, int perChannel,
                                                       HTransportProtocol protocol)
{
    using Op = vantratest::DeviceScript::Op;
    auto script = std::make_shared<vantratest::DeviceScript>();
    script->setAnswer(Op::getChannelCount, channels);
    script->setAnswer(Op::getStreamCountPerChannel, perChannel);
    script->setAnswer(Op::getStreamCount, channels * perChannel);
    script->setAnswer(Op::getStreamProtocol, int(protocol));
    return script;
}

LiveThread *liveThread(const PtrDevLiveThrSet &set, int index)
{
    return dynamic_cast<LiveThread *>(set->getChannelThreads().value(index).data());
}

} // namespace livefakes
