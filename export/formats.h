// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <vector>

class DataState;
class QFile;

/// A kind of file that the annotation can be exported as.
struct ExportFormat {
    /// What its file dialog filter, and no other one, contains.
    const char *name;
    /// As the file dialog takes it.
    const char *filter;
    /// Without the dot.
    const char *suffix;
    /// Opens the file and writes the annotation into it; false when the file cannot be opened for that.
    bool (*write)(DataState *state, QFile *file);
};

/// The formats that can be exported, in the order in which they are offered.
namespace ExportFormats
{

const std::vector<ExportFormat> &all();
/// The filters of all formats as one text for a file dialog.
QString dialogFilters();
/// The format of the filter that a file dialog returned; the first one where the filter names none.
const ExportFormat &fromFilter(const QString &filter);

} // namespace ExportFormats
