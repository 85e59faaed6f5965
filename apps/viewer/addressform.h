// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "cameraaddress.h"

#include <QWidget>

class QLabel;
class QLineEdit;

/// A field for the address of a camera, a button, and a line that tells what is wrong with it.
class AddressForm final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(AddressForm)

public:
    explicit AddressForm(QWidget *parent = nullptr);

    void focusField();

signals:
    void accepted(const CameraAddress &address);

private:
    void submit();

    QLineEdit *m_field;
    QLabel *m_problem;
};
