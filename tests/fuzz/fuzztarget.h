// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/// What a fuzzer runs: each target is a program of its own that defines run(). The fuzzer makes up inputs for
/// it; the tests replay those that lie in tests/fuzz/corpus.
namespace FuzzTarget
{

/// Takes the input to the part that is tested. A fault ends the process.
void run(const QByteArray &input);

/// Ends the process with `problem`, unless that is empty.
void require(const QString &problem);

} // namespace FuzzTarget
