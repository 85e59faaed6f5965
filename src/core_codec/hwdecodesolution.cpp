// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/hwdecodesolution.h"

#include "core_codec/hwdecodequery_p.h"
#include "log.h"

#include <QHash>
#include <QMutex>

#include <utility>

#ifdef Q_OS_WIN
#include "core_codec/dxva2query_p.h"
#endif

namespace {

constexpr char kLogTag[] = "(hwdslt)";

// Null where there is nothing to ask.
hwdecode::Query machineQuery()
{
#ifdef Q_OS_WIN
    return [](const std::vector<hwdecode::Size> &sizes, const hwdecode::Found &found) {
        return hwdecode::queryDxva2(hwdecode::systemDxva2(), sizes, found);
    };
#else
    return {};
#endif
}

QMutex mutex;                  // guards what follows, one access at a time
QHash<QString, int> solutions; // key to bits of Solution; 0: asked for, and no. Never cleared
hwdecode::Query queryInForce = machineQuery();

hwdecode::Query currentQuery()
{
    const QMutexLocker locker(&mutex);
    return queryInForce;
}

void saveSupported(const char *codec, hwdecode::Size size)
{
    const QString key =
        HwDecodeSolution::makeKey(QString::fromLatin1(codec), size.width, size.height);
    const QMutexLocker locker(&mutex);
    solutions[key] |= HwDecodeSolution::Solution_DXVA2;
}

} // namespace

hwdecode::Query hwdecode::exchangeQuery(Query query)
{
    const QMutexLocker locker(&mutex);
    return std::exchange(queryInForce, std::move(query));
}

bool HwDecodeSolution::preQuery()
{
    // A host that starts on a system without DXVA2 has not asked for it: no line about that.
    if (currentQuery())
        queryAndSaveSolutions({{352, 288},
                               {640, 360},
                               {640, 480},
                               {800, 448},
                               {704, 576},
                               {1280, 720},
                               {1920, 1080},
                               {2304, 1296},
                               {2560, 1440},
                               {2880, 1616},
                               {3840, 2160}});
    return true;
}

void HwDecodeSolution::queryAndSaveSolutions(const QList<QSize> &sizes)
{
    std::vector<hwdecode::Size> asked;
    asked.reserve(static_cast<size_t>(sizes.size()));
    for (const QSize &size : sizes)
        asked.push_back({size.width(), size.height()});

    hwdecode::Outcome outcome{hwdecode::Step::CreateDirect3D};
    if (const hwdecode::Query query = currentQuery())
        outcome = query(asked, saveSupported);
    if (outcome.isFailure())
        VANTRA_LOG(Logger::Error) << QString::fromStdString(hwdecode::failureText(outcome));
}

bool HwDecodeSolution::contains(const QString &codec, int width, int height)
{
    const QString key = makeKey(codec, width, height);
    const QMutexLocker locker(&mutex);
    return solutions.contains(key);
}

bool HwDecodeSolution::isSupported(const QString &codec, int width, int height, int solution)
{
    if (!contains(codec, width, height))
        queryAndSaveSolutions({QSize(width, height)});

    // What is still not there was refused, and is entered as that: to ask again would cost as much
    // again. An answer that another thread has got meanwhile stands.
    const QString key = makeKey(codec, width, height);
    const QMutexLocker locker(&mutex);
    return solutions[key] & solution;
}

QString HwDecodeSolution::makeKey(const QString &codec, int width, int height)
{
    return QStringLiteral("%1_%2*%3").arg(codec, QString::number(width), QString::number(height));
}
