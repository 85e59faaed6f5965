// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaMethod>
#include <QStringList>

#include <optional>

namespace vantratest {

/// Signatures of the methods of one type, and of one access where given, that the class itself
/// declares, in the order of its meta-object.
inline QStringList methodsOf(const QMetaObject &meta, QMetaMethod::MethodType type,
                             std::optional<QMetaMethod::Access> access = std::nullopt)
{
    QStringList found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == type && (!access || method.access() == *access))
            found << QString::fromLatin1(method.methodSignature());
    }
    return found;
}

} // namespace vantratest
