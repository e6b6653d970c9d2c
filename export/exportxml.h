// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

class DataState;
class QFile;

/// Writes the annotation of all objects as ViPER XML, with polygons or with bounding boxes only.
class ExportXML
{
public:
    /// `state` and `file` stay the caller's.
    ExportXML(DataState *state, QFile *file, bool boundingBoxes);

    /// Opens the file, writes the document and leaves the file open. Returns false, with nothing written,
    /// when the file cannot be opened for writing.
    bool saveXML() const;

    DataState *state;
    QFile *file;
    /// Write bounding boxes instead of polygons.
    bool boundingBoxes;
};
