// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_codec/hwdecodequery_p.h"

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QSize>
#include <QString>

namespace vantratest {

/// Answers for as long as it lives in the place of this machine's video card. What HwDecodeSolution
/// has learnt from it stays known in the process: take sizes that no other test takes.
class ScriptedCard
{
    Q_DISABLE_COPY(ScriptedCard)

public:
    ScriptedCard()
        : m_before(hwdecode::exchangeQuery(
              [this](const std::vector<hwdecode::Size> &sizes, const hwdecode::Found &found) {
                  return answer(sizes, found);
              }))
    {
    }
    ~ScriptedCard() { hwdecode::exchangeQuery(m_before); }

    // Set before the card is asked.
    QList<QPair<QByteArray, QSize>> decodes; ///< told in this order, if asked for
    hwdecode::Outcome outcome;               ///< a failure finds nothing
    /// Called in each query, on its thread, before it answers; the number of the query from 1.
    std::function<void(int)> whileAsked;

    /// What each query asked for, oldest first. Any thread.
    QList<QList<QSize>> asked() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_asked;
    }
    void forget()
    {
        const QMutexLocker locker(&m_mutex);
        m_asked.clear();
    }

private:
    hwdecode::Outcome answer(const std::vector<hwdecode::Size> &sizes, const hwdecode::Found &found)
    {
        QList<QSize> list;
        for (const hwdecode::Size size : sizes)
            list << QSize(size.width, size.height);
        int number = 0;
        {
            const QMutexLocker locker(&m_mutex);
            m_asked << list;
            number = m_asked.size();
        }
        if (whileAsked)
            whileAsked(number);
        if (outcome.isFailure())
            return outcome;
        for (const auto &form : decodes) {
            if (list.contains(form.second))
                found(form.first.constData(), {form.second.width(), form.second.height()});
        }
        return outcome;
    }

    mutable QMutex m_mutex;
    QList<QList<QSize>> m_asked;
    hwdecode::Query m_before;
};

} // namespace vantratest
