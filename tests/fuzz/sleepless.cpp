// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// For targets that run the loop of a stream thread on their own thread: its pauses, of which one
// input may ask for thousands, last no time. Stands before the function of the same name in Qt's
// library, for everything in the process.
#include <QThread>

void QThread::msleep(unsigned long) {}
