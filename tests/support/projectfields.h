// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

class DataState;

/// Every field of the objects of a project, to the last bit, those that no project file holds included: the
/// last frame's entry, and the object pointers. Current frame and object are left out.
QByteArray projectFields(const DataState &state);
