// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/loggedtest.h"

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

/// What the tests of recordings share: a new folder for each test, and a log of which nothing is
/// unexpected and of which nothing that was announced is missing.
class RecordCase : public vantratest::LoggedTest
{
protected:
    void setUp() override { folder = std::make_unique<QTemporaryDir>(); }
    void tearDown() override { QCOMPARE(log->missing(), QStringList()); }

    QString path(const QString &name = QStringLiteral("a.mp4")) const
    {
        return folder->filePath(name);
    }

    std::unique_ptr<QTemporaryDir> folder;
};
