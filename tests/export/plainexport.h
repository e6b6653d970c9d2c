// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

class DataState;

/// The XML export once more, straight from the rules of the format with Qt's own writer and without any care
/// for speed. Shares no code with the program's exporter.
QByteArray plainExport(const DataState &state, bool boundingBoxes);
