// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <string>
#include <string_view>
#include <vector>

class QFile;

/// Writes elements and attributes as an indented XML document in UTF-8, byte for byte as QXmlStreamWriter
/// with automatic formatting does, but gathers the text and forms whole numbers by itself, which takes a
/// fraction of the time.
///
/// After a write that failed nothing more is written; QFile::error() tells of it, and does so again when the
/// file is closed. Names and plain values are ASCII text that has nothing to escape.
class XmlFileWriter
{
public:
    /// `file` is open for writing and stays the caller's.
    explicit XmlFileWriter(QFile *file);

    void startDocument();
    /// Hands all that is left to the disk; every element has ended.
    void endDocument();
    /// `name` is a literal: the end tag needs it again.
    void startElement(std::string_view name);
    void endElement();

    /// Attributes of the element that started last, before any element inside it.
    void attribute(std::string_view name, std::string_view plainValue);
    void attribute(std::string_view name, int value);
    /// As QString::number() writes the value with six digits.
    void attribute(std::string_view name, double value);
    /// A text of any characters. Those that XML has no place for are left out. Half a surrogate pair has no
    /// UTF-8; behind it only the marks of the document follow, no names and no values, so that no reader
    /// takes the document for a sound one.
    void textAttribute(std::string_view name, const QString &value);

private:
    void closeStartTag();
    void startLine();
    void beginAttribute(std::string_view name);
    void write(std::string_view text);
    void writeEncoded(const QString &text);
    void handOver(std::string_view piece);
    void handOverFullPieces();

    QFile *m_file;
    std::string m_text; // not handed to the file yet
    std::vector<std::string_view> m_openElements;
    bool m_inStartTag = false;
    bool m_encodable = true;
    bool m_failed = false;
};
