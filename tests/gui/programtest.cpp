// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/programtest.h"

void ProgramTest::init()
{
    m_program = std::make_unique<ProgramFixture>();
}

void ProgramTest::cleanup()
{
    m_program.reset();
}
