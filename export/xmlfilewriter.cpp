// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "export/xmlfilewriter.h"

#include <QFile>
#include <QTextCodec>

#include <array>
#include <charconv>
#include <cmath>

namespace
{

// What QFile buffers. A larger piece would pass by its buffer, and QFile would forget that the piece failed
// when it is closed; what stays in the buffer fails once more then.
constexpr std::size_t pieceSize = 16384;  // bytes
constexpr std::size_t indentation = 4;    // blanks per level
constexpr double plainWholeNumbers = 1e6; // from here on six digits need an exponent

bool isPlainWholeNumber(double value)
{
    return std::abs(value) < plainWholeNumbers && value == std::trunc(value);
}

QString escapedMark(QChar character)
{
    switch (character.unicode()) {
    case '<':
        return QStringLiteral("&lt;");
    case '>':
        return QStringLiteral("&gt;");
    case '&':
        return QStringLiteral("&amp;");
    case '"':
        return QStringLiteral("&quot;");
    case '\t':
        return QStringLiteral("&#9;");
    case '\n':
        return QStringLiteral("&#10;");
    case '\r':
        return QStringLiteral("&#13;");
    default:
        return QString();
    }
}

bool isAllowed(QChar character)
{
    return character.unicode() >= 0x20 && character.unicode() < 0xfffe;
}

QString escaped(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (const QChar character : text) {
        const QString mark = escapedMark(character);
        if (!mark.isNull())
            result.append(mark);
        else if (isAllowed(character))
            result.append(character);
    }
    return result;
}

} // namespace

XmlFileWriter::XmlFileWriter(QFile *file)
    : m_file(file)
{
}

void XmlFileWriter::startDocument()
{
    m_text += R"(<?xml version="1.0" encoding="UTF-8"?>)";
}

void XmlFileWriter::endDocument()
{
    m_text += '\n';
    handOverFullPieces();
    handOver(m_text);
    m_text.clear();
    if (!m_failed)
        m_file->flush();
}

void XmlFileWriter::startElement(std::string_view name)
{
    closeStartTag();
    startLine();
    m_text += '<';
    write(name);
    m_openElements.push_back(name);
    m_inStartTag = true;
}

void XmlFileWriter::endElement()
{
    const std::string_view name = m_openElements.back();
    m_openElements.pop_back();
    if (m_inStartTag) {
        m_text += "/>";
        m_inStartTag = false;
    } else {
        startLine();
        m_text += "</";
        write(name);
        m_text += '>';
    }
    handOverFullPieces();
}

void XmlFileWriter::attribute(std::string_view name, std::string_view plainValue)
{
    beginAttribute(name);
    write(plainValue);
    m_text += '"';
}

void XmlFileWriter::attribute(std::string_view name, int value)
{
    std::array<char, 12> digits; // a sign, ten digits and one to spare
    const char *end = std::to_chars(digits.begin(), digits.end(), value).ptr;
    attribute(name, std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
}

void XmlFileWriter::attribute(std::string_view name, double value)
{
    if (isPlainWholeNumber(value))
        attribute(name, static_cast<int>(value));
    else
        attribute(name, QString::number(value, 'g', 6).toStdString());
}

void XmlFileWriter::textAttribute(std::string_view name, const QString &value)
{
    beginAttribute(name);
    writeEncoded(escaped(value));
    m_text += '"';
}

void XmlFileWriter::closeStartTag()
{
    if (m_inStartTag)
        m_text += '>';
}

void XmlFileWriter::startLine()
{
    m_text += '\n';
    m_text.append(indentation * m_openElements.size(), ' ');
}

void XmlFileWriter::beginAttribute(std::string_view name)
{
    m_text += ' ';
    write(name);
    m_text += "=\"";
}

void XmlFileWriter::write(std::string_view text)
{
    if (m_encodable)
        m_text += text;
}

void XmlFileWriter::writeEncoded(const QString &text)
{
    static const QTextCodec *utf8 = QTextCodec::codecForName("UTF-8");
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    const QByteArray bytes = utf8->fromUnicode(text.constData(), text.size(), &state);
    if (state.invalidChars == 0)
        write(std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
    m_encodable = m_encodable && state.invalidChars == 0 && state.remainingChars == 0;
}

void XmlFileWriter::handOver(std::string_view piece)
{
    // Not after a failure: the next write would clear the file's error.
    const auto size = static_cast<qint64>(piece.size());
    m_failed = m_failed || m_file->write(piece.data(), size) != size;
}

void XmlFileWriter::handOverFullPieces()
{
    std::size_t done = 0;
    for (; m_text.size() - done >= pieceSize; done += pieceSize)
        handOver(std::string_view(m_text).substr(done, pieceSize));
    m_text.erase(0, done);
}
