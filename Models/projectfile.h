// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class DataState;
class QDataStream;
class TrackedObject;
struct ProjectSnapshot;

/// The project state as it stands in a project file (see docs/file-format.md).
QDataStream &operator<<(QDataStream &stream, const DataState &state);
QDataStream &operator<<(QDataStream &stream, const TrackedObject &object);

/// Reads what operator<< wrote. Data that ends early reads as zeros; data that cannot be (absurd counts,
/// unknown types, a broken chain of spans) sets the stream's status to ReadCorruptData and ends the reading.
QDataStream &operator>>(QDataStream &stream, DataState &state);
/// The same for one object, which must have been made for the loaded video.
QDataStream &operator>>(QDataStream &stream, TrackedObject &object);

/// The .palu project file.
namespace ProjectFile
{

/// Writes the whole file. Sets the stream's format version; the caller checks status and device for errors.
void write(QDataStream &stream, const DataState &state);
/// The same of a project as it stood, on any thread.
void write(QDataStream &stream, const ProjectSnapshot &project);

/// Reads the first item, the file name of the video; "error.error" if the data is too short for one.
QString readVideoName(QDataStream &stream);

/// File dialog filter that finds the video again; blanks become wildcards.
QString videoFilter(const QString &videoName);

/// Reads everything after the video name into `state`, whose video is loaded. Returns true when the file
/// matches the program's format and the video; otherwise the state is left half read and must be dropped.
/// Where the file may be in order but there is not enough memory for its objects, `problem` says so to the
/// user, as what follows a colon; else it becomes empty.
bool read(QDataStream &stream, DataState &state, QString *problem = nullptr);

/// Writes the project to the file at `path`. An old file there stays until the new one is whole on the disk;
/// in a folder that takes no new file it is written over, with the old content kept aside until then.
///
/// Returns false, with a warning in the log, when that fails. `error` then says why, for the user; it stays
/// empty when the file could not even be opened, so that nothing was touched.
bool save(const QString &path, const DataState &state, QString *error);

} // namespace ProjectFile
