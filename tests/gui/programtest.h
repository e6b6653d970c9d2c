// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/gui/programfixture.h"

#include <QObject>

#include <memory>

/// What the tests of the whole window start from: a program of its own for every test.
class ProgramTest : public QObject
{
    Q_OBJECT

public:
    static void initMain() { useTemporaryHome(); }

private slots:
    void init();
    void cleanup();

protected:
    std::unique_ptr<ProgramFixture> m_program;
};
