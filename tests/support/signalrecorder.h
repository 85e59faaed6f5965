// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QObject>
#include <QStringList>
#include <QThread>
#include <QVariant>
#include <QVector>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace vantratest {

/// Notes every emission of the signals it watches, in one order across all of them, with the thread
/// that emitted. The note is made within the emission, before any queued receiver runs.
///
///     SignalRecorder recorder;
///     recorder.watch(&thread, &MyThread::opened, "opened");
///     QCOMPARE(recorder.names(), QStringList({"opened"}));
class SignalRecorder
{
    Q_DISABLE_COPY(SignalRecorder)

public:
    struct Call
    {
        QString name;
        QThread *thread;        ///< to be compared only, it may be gone
        QVariantList arguments; ///< invalid where the type is no metatype
    };

    SignalRecorder() = default;
    ~SignalRecorder()
    {
        for (const auto &connection : m_connections)
            QObject::disconnect(connection);
    }

    /// Select one of several overloads with qOverload<...>(). False if nothing was connected.
    template<typename Sender, typename Class, typename... Arguments>
    bool watch(Sender *sender, void (Class::*signal)(Arguments...), const QString &name)
    {
        m_connections.push_back(QObject::connect(
            sender, signal, [notes = m_notes, name](const std::decay_t<Arguments> &...values) {
                Call call{name, QThread::currentThread(), {toVariant(values)...}};
                std::lock_guard<std::mutex> lock(notes->mutex);
                notes->calls.push_back(std::move(call));
            }));
        return bool(m_connections.back());
    }

    QVector<Call> calls() const
    {
        std::lock_guard<std::mutex> lock(m_notes->mutex);
        return QVector<Call>(m_notes->calls.cbegin(), m_notes->calls.cend());
    }

    QVector<Call> calls(const QString &name) const
    {
        QVector<Call> result;
        for (const Call &call : calls()) {
            if (call.name == name)
                result.append(call);
        }
        return result;
    }

    int count(const QString &name) const { return calls(name).size(); }

    /// Names of all emissions, in order.
    QStringList names() const
    {
        QStringList result;
        for (const Call &call : calls())
            result.append(call.name);
        return result;
    }

    void clear()
    {
        std::lock_guard<std::mutex> lock(m_notes->mutex);
        m_notes->calls.clear();
    }

private:
    struct Notes
    {
        std::mutex mutex;
        std::vector<Call> calls;
    };

    template<typename T>
    static QVariant toVariant(const T &value)
    {
        if constexpr (QMetaTypeId2<T>::Defined)
            return QVariant::fromValue(value);
        else
            return (void)value, QVariant();
    }

    /// Shared with the connections: an emission may be under way while the recorder is destroyed.
    std::shared_ptr<Notes> m_notes = std::make_shared<Notes>();
    std::vector<QMetaObject::Connection> m_connections;
};

} // namespace vantratest
