// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

// Writing, reading and exporting a large project.
#include "benchmarks/support/benchproject.h"
#include "benchmarks/support/plainproject.h"
#include "export/exportxml.h"
#include "Models/projectfile.h"
#include "tests/support/testproject.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
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

#include <unistd.h>

namespace
{

/// Like ProjectFile::save(): the content is on the disk before the file takes its place.
bool writePlainly(const QString &path, const PlainProject &project)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QDataStream stream(&file);
    project.write(stream);
    return stream.status() == QDataStream::Ok && file.flush() && ::fdatasync(file.handle()) == 0 &&
           file.commit();
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

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

constexpr int vertices = 30; // of every outline

/// A large project and a file for it, made once.
struct Fixture {
    Fixture() { BenchProject::addObjects(*project, vertices); }

    TestProject project{BenchProject::frameCount};
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("project.palu"));
    const QString xmlPath = dir.filePath(QStringLiteral("project.xml"));
    const QString copy = dir.filePath(QStringLiteral("copy"));
};

/// A large project, made once.
Fixture &fixture()
{
    static std::unique_ptr<Fixture> instance;
    if (!instance) {
        instance = std::make_unique<Fixture>();
        qAddPostRoutine([] { instance.reset(); });
    }
    return *instance;
}

bool save()
{
    QString error;
    return ProjectFile::save(fixture().path, *fixture().project, &error);
}

void saveProject(benchmark::State &state)
{
    bool good = true;
    fixture();
    for (auto _ : state)
        good = good && save();
    if (!good)
        state.SkipWithError("the project was not written");
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture().path).size());
}

void savePlainly(benchmark::State &state)
{
    PlainProject project;
    bool good = save() && project.load(fixture().path);
    for (auto _ : state)
        good = good && writePlainly(fixture().copy, project);
    if (!good || contents(fixture().copy) != contents(fixture().path))
        state.SkipWithError("the files differ");
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture().path).size());
}

void openProject(benchmark::State &state)
{
    bool good = save();
    for (auto _ : state) {
        state.PauseTiming();
        auto target = std::make_unique<TestProject>(BenchProject::frameCount);
        state.ResumeTiming();
        good = good && read(fixture().path, **target);
        state.PauseTiming();
        good = good && target->state()->objects.size() == BenchProject::objectCount;
        target.reset();
        state.ResumeTiming();
    }
    if (!good)
        state.SkipWithError("the project was not read");
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture().path).size());
}

void openPlainly(benchmark::State &state)
{
    bool good = save();
    for (auto _ : state) {
        state.PauseTiming();
        auto target = std::make_unique<PlainProject>();
        state.ResumeTiming();
        good = good && target->load(fixture().path);
        state.PauseTiming();
        target.reset();
        state.ResumeTiming();
    }
    if (!good)
        state.SkipWithError("the file was not read");
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture().path).size());
}

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

void exportWithPalu(benchmark::State &state, bool boundingBoxes)
{
    bool good = true;
    fixture();
    for (auto _ : state)
        good = good && exportXml(fixture().xmlPath, fixture().project.state(), boundingBoxes);
    if (!good)
        state.SkipWithError("the project was not exported");
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture().xmlPath).size());
}

/// The least that an export takes which leaves the writing to Qt.
void writeWithQt(benchmark::State &state, bool boundingBoxes)
{
    bool good = exportXml(fixture().xmlPath, fixture().project.state(), boundingBoxes);
    const Elements elements(fixture().xmlPath);
    for (auto _ : state)
        good = good && elements.write(fixture().copy);
    if (!good || contents(fixture().copy) != contents(fixture().xmlPath))
        state.SkipWithError("the documents differ");
    state.SetBytesProcessed(state.iterations() * QFileInfo(fixture().xmlPath).size());
}

template <class... Arguments>
void add(const std::string &name, Arguments &&...arguments)
{
    benchmark::RegisterBenchmark(name.c_str(), std::forward<Arguments>(arguments)...)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    const std::string size = ", 10000 frames x 10 objects x 30 vertices/";
    add("save a project" + size + "palu", saveProject);
    add("save a project" + size + "plain stream", savePlainly);
    add("open a project" + size + "palu", openProject);
    add("open a project" + size + "plain stream", openPlainly);
    for (const bool boundingBoxes : {false, true}) {
        const std::string title = std::string("export ") + (boundingBoxes ? "boxes" : "polygons") + size;
        add(title + "palu", exportWithPalu, boundingBoxes);
        add(title + "Qt's writer", writeWithQt, boundingBoxes);
    }
    return true;
}();

} // namespace
