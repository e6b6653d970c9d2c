// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Writing, reading and exporting a large project.
#include "benchmarks/support/benchproject.h"
#include "export/exportxml.h"
#include "Models/projectfile.h"
#include "tests/support/testproject.h"

#include <benchmark/benchmark.h>

#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

bool write(const QString &path, const DataState &state)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QDataStream stream(&file);
    ProjectFile::write(stream, state);
    return stream.status() == QDataStream::Ok && file.commit();
}

bool read(const QString &path, DataState &state)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDataStream stream(&file);
    ProjectFile::readVideoName(stream);
    return ProjectFile::read(stream, state);
}

/// A large project and a file for it.
struct Fixture {
    explicit Fixture(int vertices = BenchProject::vertexCount)
    {
        BenchProject::addObjects(*project, vertices);
    }

    TestProject project{BenchProject::frameCount};
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("project.palu"));
};

void writeProject(benchmark::State &state)
{
    Fixture fixture;
    for (auto _ : state) {
        if (!write(fixture.path, *fixture.project)) {
            state.SkipWithError("the project was not written");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture.path).size());
}

void readProject(benchmark::State &state)
{
    Fixture fixture;
    bool good = write(fixture.path, *fixture.project);
    for (auto _ : state) {
        state.PauseTiming();
        auto target = std::make_unique<TestProject>(BenchProject::frameCount);
        state.ResumeTiming();
        good = good && read(fixture.path, **target);
        state.PauseTiming();
        good = good && target->state()->objects.size() == BenchProject::objectCount;
        target.reset();
        state.ResumeTiming();
        if (!good) {
            state.SkipWithError("the project was not read");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture.path).size());
}

constexpr int exportedVertices = 30; // of every outline

bool exportXml(const QString &path, DataState *state, bool boundingBoxes)
{
    QFile file(path);
    return ExportXML(state, &file, boundingBoxes).saveXML() && file.flush();
}

/// The elements of an XML document with all texts ready, for writing them without any other work.
class Elements
{
public:
    explicit Elements(const QString &path)
    {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        QXmlStreamReader reader(&file);
        reader.setNamespaceProcessing(false); // the name spaces are attributes like others then
        while (!reader.atEnd())
            append(reader.readNext(), reader);
    }

    bool write(const QString &path) const
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return false;
        QXmlStreamWriter writer(&file);
        writer.writeStartDocument();
        writer.setAutoFormatting(true);
        for (const Token &token : m_tokens)
            writeToken(writer, token);
        writer.writeEndDocument();
        return !writer.hasError() && file.flush();
    }

private:
    /// An element's begin has a name only, its end nothing, an attribute both.
    struct Token {
        QString name;
        QString value;
    };

    static void writeToken(QXmlStreamWriter &writer, const Token &token)
    {
        if (token.name.isNull())
            writer.writeEndElement();
        else if (token.value.isNull())
            writer.writeStartElement(token.name);
        else
            writer.writeAttribute(token.name, token.value);
    }

    void append(QXmlStreamReader::TokenType type, const QXmlStreamReader &reader)
    {
        if (type == QXmlStreamReader::EndElement)
            m_tokens.emplace_back();
        if (type != QXmlStreamReader::StartElement)
            return;
        m_tokens.push_back({shared(reader.qualifiedName()), QString()});
        const QXmlStreamAttributes attributes = reader.attributes();
        for (const QXmlStreamAttribute &attribute : attributes)
            m_tokens.push_back({shared(attribute.qualifiedName()), shared(attribute.value())});
    }

    // Equal texts share their memory, or a large document would not fit.
    QString shared(const QStringRef &text) { return *m_texts.insert(text.toString()); }

    QSet<QString> m_texts;
    std::vector<Token> m_tokens;
};

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void exportWithPalu(benchmark::State &state, bool boundingBoxes)
{
    Fixture fixture(exportedVertices);
    for (auto _ : state) {
        if (!exportXml(fixture.path, fixture.project.state(), boundingBoxes)) {
            state.SkipWithError("the project was not exported");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture.path).size());
}

/// The least that an export takes which leaves the writing to Qt.
void writeWithQt(benchmark::State &state, bool boundingBoxes)
{
    Fixture fixture(exportedVertices);
    const QString copy = fixture.dir.filePath(QStringLiteral("copy.xml"));
    bool good = exportXml(fixture.path, fixture.project.state(), boundingBoxes);
    const Elements elements(fixture.path);
    for (auto _ : state)
        good = good && elements.write(copy);
    if (!good || contents(copy) != contents(fixture.path))
        state.SkipWithError("the documents differ");
    state.SetBytesProcessed(state.iterations() * QFileInfo(copy).size());
}

const bool exportsRegistered = [] {
    for (const bool boundingBoxes : {false, true}) {
        const std::string title =
            std::string("export ") + (boundingBoxes ? "boxes" : "polygons") + ", 10000 frames x 10 objects/";
        for (const auto &[method, function] :
             {std::pair("palu", exportWithPalu), std::pair("Qt's writer", writeWithQt)}) {
            benchmark::RegisterBenchmark((title + method).c_str(), function, boundingBoxes)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();

} // namespace

BENCHMARK(writeProject)
    ->Name("write a project, 10000 frames x 10 objects")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(readProject)
    ->Name("read a project, 10000 frames x 10 objects")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
