// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/devicecalls.h"

#include <QMetaEnum>
#include <QMutexLocker>

namespace vantrasim {

namespace {

bool isFrequent(DeviceOp operation)
{
    return operation <= DeviceOp::serialNumber || operation == DeviceOp::readFrame ||
           operation == DeviceOp::vodReadFrame || operation == DeviceOp::vodReadDLFrame ||
           operation == DeviceOp::getCodecInfo || operation == DeviceOp::setCodecInfo;
}

QString textOf(const QVariant &argument)
{
    if (argument.type() != QVariant::List)
        return argument.toString();
    QStringList fields;
    for (const QVariant &field : argument.toList())
        fields << textOf(field);
    return QLatin1Char('{') + fields.join(QLatin1String(", ")) + QLatin1Char('}');
}

} // namespace

void DeviceCalls::note(DeviceOp operation, const QVariantList &arguments)
{
    const QMutexLocker lock(&m_mutex);
    ++m_counts[std::size_t(operation)];
    if (!m_keepAll && isFrequent(operation))
        return;
    m_calls.push_back({operation, arguments});
    if (m_calls.size() > kLongest)
        m_calls.pop_front();
}

qint64 DeviceCalls::count(DeviceOp operation) const
{
    const QMutexLocker lock(&m_mutex);
    return m_counts[std::size_t(operation)];
}

int DeviceCalls::count(DeviceOp operation, const QVariantList &first) const
{
    int found = 0;
    for (const DeviceCall &call : calls(operation))
        found += call.arguments.mid(0, first.size()) == first ? 1 : 0;
    return found;
}

QVector<DeviceCall> DeviceCalls::calls() const
{
    const QMutexLocker lock(&m_mutex);
    return QVector<DeviceCall>(m_calls.begin(), m_calls.end());
}

QVector<DeviceCall> DeviceCalls::calls(DeviceOp operation) const
{
    QVector<DeviceCall> found;
    for (const DeviceCall &call : calls()) {
        if (call.operation == operation)
            found << call;
    }
    return found;
}

QStringList DeviceCalls::texts() const
{
    QStringList lines;
    const auto names = QMetaEnum::fromType<DeviceOp>();
    for (const DeviceCall &call : calls()) {
        QStringList arguments;
        for (const QVariant &argument : call.arguments)
            arguments << textOf(argument);
        lines << QStringLiteral("%1(%2)").arg(QLatin1String(names.valueToKey(int(call.operation))),
                                              arguments.join(QLatin1String(", ")));
    }
    return lines;
}

void DeviceCalls::keepAll(bool on)
{
    const QMutexLocker lock(&m_mutex);
    m_keepAll = on;
}

void DeviceCalls::clear()
{
    const QMutexLocker lock(&m_mutex);
    m_counts.fill(0);
    m_calls.clear();
}

} // namespace vantrasim
