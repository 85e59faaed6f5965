// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/talkdesk.h"

#include <QMutexLocker>

namespace vantrasim {

HRetError TalkDesk::start()
{
    const QMutexLocker lock(&m_mutex);
    if (m_busy || m_talking)
        return HRetBusy;
    m_talking = true;
    ++m_talks;
    return HRetOk;
}

void TalkDesk::stop()
{
    const QMutexLocker lock(&m_mutex);
    m_talking = false;
}

HRetError TalkDesk::take(const char *data, int size)
{
    const QMutexLocker lock(&m_mutex);
    if (!m_talking || data == nullptr || size < 0)
        return HRetRefused;
    if (m_received.size() + size <= kLongest) {
        m_received.append(data, size);
        m_blocks.append(size);
    }
    return HRetOk;
}

void TalkDesk::setBusy(bool busy)
{
    const QMutexLocker lock(&m_mutex);
    m_busy = busy;
}

bool TalkDesk::isTalking() const
{
    const QMutexLocker lock(&m_mutex);
    return m_talking;
}

int TalkDesk::talks() const
{
    const QMutexLocker lock(&m_mutex);
    return m_talks;
}

QByteArray TalkDesk::received() const
{
    const QMutexLocker lock(&m_mutex);
    return QByteArray(m_received.constData(), m_received.size()); // shared with nobody
}

QVector<int> TalkDesk::blocks() const
{
    const QMutexLocker lock(&m_mutex);
    QVector<int> blocks = m_blocks;
    blocks.detach(); // shared with nobody
    return blocks;
}

void TalkDesk::clear()
{
    const QMutexLocker lock(&m_mutex);
    m_received.clear();
    m_blocks.clear();
}

} // namespace vantrasim
