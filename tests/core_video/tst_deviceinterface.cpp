// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How a stream thread is bound to a device.

#include "core_video/deviceinterface.h"
#include "core_video/ffmpegvideothread.h"
#include "support/logcapture.h"
#include "support/scriptedbackend.h"

#include <QtTest>

#include <type_traits>

using namespace vantratest;

static_assert(!std::is_polymorphic<DeviceInterface>::value, "a plain class");

namespace {

class BoundThread final : public FFmpegVideoThread, public DeviceInterface
{
};

} // namespace

class tst_DeviceInterface : public QObject
{
    Q_OBJECT

private slots:
    void init() { log = std::make_unique<LogCapture>(); }
    void cleanup()
    {
        QCOMPARE(log->unexpected(), QStringList());
        QCOMPARE(log->missing(), QStringList());
        log.reset();
    }

    void fields_areUnbound_whenNew();
    void fields_lieInOrder();
    void bindDevice_replacesTheDevice();
    void bindDevice_keepsTheDevice_whenGivenNull();
    void bindDevice_tellsNull_whenUnbound();
    void unbindDevice_letsGoOfTheDevice();
    void boundDevice_outlivesTheBinding();
    void setStreamChannel_takesTheChannelFirst();
    void isStreamExceedMax_tellsRefusalsInARow();
    void boundThread_isReachedByCrossCast();

private:
    std::unique_ptr<LogCapture> log;
};

void tst_DeviceInterface::fields_areUnbound_whenNew()
{
    const DeviceInterface binding;
    QCOMPARE(binding.channel, 0);
    QCOMPARE(binding.stream, 0);
    QCOMPARE(int(binding.exceedCount), 0);
    QVERIFY(!binding.device);
    QVERIFY(!binding.isStreamExceedMax());
}

void tst_DeviceInterface::fields_lieInOrder()
{
    const DeviceInterface binding;
    const void *fields[] = {&binding.channel, &binding.stream, &binding.exceedCount,
                            &binding.device};
    for (int i = 1; i < 4; ++i)
        QVERIFY(std::less<const void *>()(fields[i - 1], fields[i]));
}

void tst_DeviceInterface::bindDevice_replacesTheDevice()
{
    DeviceInterface binding;
    const auto first = scriptedDevice(std::make_shared<DeviceScript>());
    QWeakPointer<HNetDevice> released;
    {
        const auto shortLived = scriptedDevice(std::make_shared<DeviceScript>());
        released = shortLived;
        QCOMPARE(binding.bindDevice(shortLived), 0);
        QCOMPARE(binding.device, shortLived);
    }
    QVERIFY(released.toStrongRef()); // the binding is an owner of its own
    QCOMPARE(binding.boundDevice(), released.toStrongRef());
    QCOMPARE(binding.bindDevice(first), 0);
    QCOMPARE(binding.device, first);
    QVERIFY(!released.toStrongRef());
    QVERIFY(log->lines().isEmpty());
}

void tst_DeviceInterface::bindDevice_keepsTheDevice_whenGivenNull()
{
    log->expect(Logger::Error, "(dvitf)dev is null");
    auto script = std::make_shared<DeviceScript>();
    const auto device = scriptedDevice(script);
    DeviceInterface binding;
    QCOMPARE(binding.bindDevice(device), 0);
    QCOMPARE(binding.bindDevice({}), -1);
    QCOMPARE(binding.device, device);
    QCOMPARE(log->count(Logger::Error, "(dvitf)dev is null"), 1);
    QCOMPARE(log->lines().size(), 1);
    QCOMPARE(script->texts(), QStringList()); // binding asks the device nothing
}

void tst_DeviceInterface::bindDevice_tellsNull_whenUnbound()
{
    log->expect(Logger::Error, "(dvitf)dev is null");
    DeviceInterface binding;
    QCOMPARE(binding.bindDevice({}), -1);
    QVERIFY(!binding.device);
    const auto lines = log->lines();
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines[0].category, QString("vantra"));
    QCOMPARE(lines[0].file, QString("core_video/deviceinterface.cpp"));
}

void tst_DeviceInterface::unbindDevice_letsGoOfTheDevice()
{
    auto device = scriptedDevice(std::make_shared<DeviceScript>());
    const QWeakPointer<HNetDevice> watched = device;
    DeviceInterface binding;
    binding.bindDevice(device);
    binding.setStreamChannel(2, 1);
    binding.exceedCount = 3;
    device.reset();
    binding.unbindDevice();
    QVERIFY(!binding.device);
    QVERIFY(!watched.toStrongRef());
    QCOMPARE(binding.channel, 2); // only the device goes
    QCOMPARE(binding.stream, 1);
    QVERIFY(binding.isStreamExceedMax());
    binding.unbindDevice();
    QVERIFY(!binding.device);
}

void tst_DeviceInterface::boundDevice_outlivesTheBinding()
{
    DeviceInterface binding;
    QVERIFY(!binding.boundDevice());
    binding.bindDevice(scriptedDevice(std::make_shared<DeviceScript>()));
    auto share = binding.boundDevice();
    const QWeakPointer<HNetDevice> watched = share;
    binding.unbindDevice();
    QVERIFY(!binding.boundDevice());
    QVERIFY(!watched.isNull());
    share.reset();
    QVERIFY(watched.isNull());
}

void tst_DeviceInterface::setStreamChannel_takesTheChannelFirst()
{
    DeviceInterface binding;
    binding.setStreamChannel(5, 1);
    QCOMPARE(binding.channel, 5);
    QCOMPARE(binding.stream, 1);
}

void tst_DeviceInterface::isStreamExceedMax_tellsRefusalsInARow()
{
    DeviceInterface binding;
    ++binding.exceedCount;
    QVERIFY(binding.isStreamExceedMax());
    ++binding.exceedCount;
    QVERIFY(binding.isStreamExceedMax());
    binding.exceedCount = 0;
    QVERIFY(!binding.isStreamExceedMax());
    binding.exceedCount = -1;
    QVERIFY(!binding.isStreamExceedMax());
}

void tst_DeviceInterface::boundThread_isReachedByCrossCast()
{
    BoundThread bound;
    FFmpegVideoThread unbound;
    AbstractVideoThread *thread = &bound;
    auto *binding = dynamic_cast<DeviceInterface *>(thread);
    QCOMPARE(binding, static_cast<DeviceInterface *>(&bound));
    thread = &unbound;
    QVERIFY(!dynamic_cast<DeviceInterface *>(thread));
}

QTEST_GUILESS_MAIN(tst_DeviceInterface)
#include "tst_deviceinterface.moc"
