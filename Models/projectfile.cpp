// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectfile.h"

#include "core/datastate.h"
#include "core/safefile.h"
#include "Models/projectlimits.h"
#include "Models/projectsnapshot.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFileDevice>
#include <QIODevice>
#include <QSize>
#include <QtEndian>

#include <limits>

namespace
{

constexpr int streamVersion = QDataStream::Qt_5_2;
constexpr quint32 nullStringLength = 0xFFFFFFFF;
constexpr qint64 pointSize = 16;        // bytes: two doubles
constexpr qint64 keyFrameMinSize = 16;  // bytes: frame, type, point count, stacking value
constexpr qint64 spanSize = 12;         // bytes: type, start, end
constexpr qint64 objectHeadMinSize = 8; // bytes: length of the name, id

qint64 bytesLeft(const QDataStream &stream)
{
    return stream.device() ? stream.device()->bytesAvailable() : 0;
}

void setCorrupt(QDataStream &stream)
{
    stream.resetStatus(); // an earlier "read past end" would keep the new status out
    stream.setStatus(QDataStream::ReadCorruptData);
}

bool isCorrupt(const QDataStream &stream)
{
    return stream.status() == QDataStream::ReadCorruptData;
}

/// Reads a string whose length is checked against what is left before any memory is taken for it.
QString readString(QDataStream &stream)
{
    const QByteArray head = stream.device() ? stream.device()->peek(sizeof(quint32)) : QByteArray();
    if (head.size() == sizeof(quint32)) {
        quint32 length = 0;
        QDataStream(head) >> length;
        if (length != nullStringLength && (length % 2 != 0 || length > bytesLeft(stream) - head.size())) {
            setCorrupt(stream);
            return QString();
        }
    }
    QString text;
    stream >> text;
    return text;
}

/// Whether a polygon of `count` points can be in the rest of the data. Asking for the rest costs more than
/// reading an outline; few points are read without it.
bool canHold(const QDataStream &stream, quint32 count)
{
    constexpr quint32 fewPoints = 4096;
    constexpr quint32 mostPoints = std::numeric_limits<int>::max() / pointSize;
    return count <= fewPoints || (count <= mostPoints && count <= bytesLeft(stream) / pointSize);
}

/// Reads the points as they lie in memory, but for the order of the bytes.
bool readPoints(QDataStream &stream, QPolygonF &polygon)
{
    static_assert(sizeof(QPointF) == pointSize);
    const int size = polygon.size() * static_cast<int>(pointSize);
    if (stream.readRawData(reinterpret_cast<char *>(polygon.data()), size) != size)
        return false;
    qFromBigEndian<quint64>(polygon.data(), qsizetype(2) * polygon.size(), polygon.data());
    return true;
}

QPolygonF readPolygon(QDataStream &stream)
{
    quint32 count = 0;
    stream >> count;
    if (!canHold(stream, count)) {
        setCorrupt(stream);
        return QPolygonF();
    }
    QPolygonF polygon(static_cast<int>(count));
    if (count == 0 || readPoints(stream, polygon))
        return polygon;
    setCorrupt(stream);
    return QPolygonF();
}

template <class Type>
Type readType(QDataStream &stream, Type greatest)
{
    qint32 value = 0;
    stream >> value;
    if (value < 0 || value > greatest) {
        setCorrupt(stream);
        return Type(0);
    }
    return static_cast<Type>(value);
}

// Straight into the fields: nothing is announced and no span is rebuilt while a project is being read.
void readKeyFrame(QDataStream &stream, KeyFrame &keyFrame)
{
    qint32 frame = 0;
    stream >> frame;
    if (frame != keyFrame.frame)
        setCorrupt(stream);
    if (isCorrupt(stream))
        return;
    keyFrame.type = readType(stream, KeyFrame::Automatic);
    if (isCorrupt(stream))
        return;
    keyFrame.polygon = readPolygon(stream);
    stream >> keyFrame.zOrder;
}

/// Reads one span that must start at `start` and advance without leaving the video.
void readSpan(QDataStream &stream, FrameSpan &span, int start, int lastFrame)
{
    span.type = readType(stream, FrameSpan::Occluded);
    stream >> span.start >> span.end;
    if (span.start != start || span.end <= span.start || span.end > lastFrame)
        setCorrupt(stream);
}

// The reader goes one frame past each span's end, the writer does not; both meet the same ends, and setting
// the entries up to the end inclusive lets the next span take over the shared frame.
void readSpanChain(QDataStream &stream, TrackedObject &object)
{
    const int frameCount = object.keyFrames.size();
    int start = 0;
    for (int frame = 0; frame < frameCount && frameCount > 1; ++frame) {
        FrameSpan *span = object.frameSpans.first();
        if (frame > 0)
            span = new FrameSpan(&object, FrameSpan::Hidden, frame, frame + 1);
        readSpan(stream, *span, start, frameCount - 1);
        if (isCorrupt(stream))
            return;
        for (int i = span->start; i <= span->end; ++i)
            object.frameSpans[i] = span;
        start = span->end;
        frame = start;
        if (frame >= frameCount - 1)
            return;
    }
}

qint64 objectMinSize(int frameCount)
{
    return objectHeadMinSize + frameCount * keyFrameMinSize + (frameCount > 1 ? spanSize : 0);
}

/// Returns, for the user, why objects that the file may well hold are not taken; else nothing.
QString readObjects(QDataStream &stream, DataState &state)
{
    qint32 count = 0;
    stream >> count;
    const int frameCount = state.video ? state.video->frameCount : 0;
    if (count < 0 || count > bytesLeft(stream) / objectMinSize(frameCount)) {
        setCorrupt(stream);
        return QString();
    }
    if (!ProjectLimits::canHoldObjects(frameCount, count)) {
        setCorrupt(stream);
        return QCoreApplication::translate("ProjectFile",
                                           "there is not enough memory for %1 objects with %2 frames")
            .arg(count)
            .arg(frameCount);
    }
    for (qint32 i = 0; i < count && !isCorrupt(stream); ++i) {
        state.addObject();
        stream >> *state.objects.last();
    }
    return QString();
}

/// The same for all that operator>> reads.
QString readState(QDataStream &stream, DataState &state)
{
    state.version = readString(stream);
    if (isCorrupt(stream))
        return QString();
    stream >> state.currentFrame;
    QString problem = readObjects(stream, state);
    if (isCorrupt(stream))
        return problem;
    qint32 nextId = 0;
    stream >> nextId;
    if (nextId < 0)
        setCorrupt(stream);
    else
        TrackedObject::newID = nextId;
    return QString();
}

void writeHeader(QDataStream &stream, const QString &videoName, qint32 frameCount, QSize frameSize)
{
    stream << videoName << DataState::formatVersion() << frameCount << frameSize;
}

void writeKeyFrame(QDataStream &stream, qint32 frame, KeyFrame::Type type, const QPolygonF &polygon,
                   qint32 zOrder)
{
    stream << frame << static_cast<qint32>(type) << polygon << zOrder;
}

void writeSpan(QDataStream &stream, FrameSpan::Type type, qint32 start, qint32 end)
{
    stream << static_cast<qint32>(type) << start << end;
}

void writeObject(QDataStream &stream, const ObjectSnapshot &object)
{
    stream << object.name << object.id;
    for (int number = 0; number < object.frameCount(); ++number) {
        const FrameSnapshot &frame = object.frame(number);
        writeKeyFrame(stream, number, frame.type, frame.polygon, frame.zOrder);
    }
    if (object.frameCount() < 2) // the chain of a single frame is not stored
        return;
    for (const SpanSnapshot &span : object.chain.spans)
        writeSpan(stream, span.type, span.start, span.end);
}

} // namespace

QDataStream &operator<<(QDataStream &stream, const TrackedObject &object)
{
    stream << object.name << object.id;
    for (const KeyFrame *keyFrame : object.keyFrames)
        writeKeyFrame(stream, keyFrame->frame, keyFrame->type, keyFrame->polygonSnapshot(), keyFrame->zOrder);
    const int lastFrame = object.keyFrames.size() - 1;
    for (int frame = 0; frame < lastFrame; frame = object.frameSpans.at(frame)->end) {
        const FrameSpan *span = object.frameSpans.at(frame);
        writeSpan(stream, span->type, span->start, span->end);
    }
    return stream;
}

QDataStream &operator>>(QDataStream &stream, TrackedObject &object)
{
    object.name = readString(stream);
    if (isCorrupt(stream))
        return stream;
    stream >> object.id;
    for (KeyFrame *keyFrame : qAsConst(object.keyFrames)) {
        readKeyFrame(stream, *keyFrame);
        if (isCorrupt(stream))
            return stream;
    }
    readSpanChain(stream, object);
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const DataState &state)
{
    stream << state.version << state.currentFrame << static_cast<qint32>(state.objects.size());
    for (const TrackedObject *object : state.objects)
        stream << *object;
    return stream << TrackedObject::newID;
}

QDataStream &operator>>(QDataStream &stream, DataState &state)
{
    readState(stream, state);
    return stream;
}

void ProjectFile::write(QDataStream &stream, const DataState &state)
{
    stream.setVersion(streamVersion);
    const VideoContainer &video = *state.video;
    writeHeader(stream, video.fileName(), video.frameCount, QSize(video.width, video.height));
    stream << state;
}

void ProjectFile::write(QDataStream &stream, const ProjectSnapshot &project)
{
    stream.setVersion(streamVersion);
    writeHeader(stream, project.videoName, project.frameCount, project.frameSize);
    stream << project.version << project.currentFrame << static_cast<qint32>(project.objects.size());
    for (const ObjectSnapshot &object : project.objects)
        writeObject(stream, object);
    stream << project.nextId;
}

QString ProjectFile::readVideoName(QDataStream &stream)
{
    stream.setVersion(streamVersion);
    const QString name = readString(stream);
    const bool tooShort = stream.status() != QDataStream::Ok;
    return tooShort ? QStringLiteral("error.error") : name;
}

QString ProjectFile::videoFilter(const QString &videoName)
{
    // A pattern cannot hold a blank.
    QString pattern = videoName;
    pattern.replace(QLatin1Char(' '), QLatin1Char('*'));
    return QStringLiteral("Video (") + pattern + QStringLiteral(");;All files (*)");
}

bool ProjectFile::read(QDataStream &stream, DataState &state, QString *problem)
{
    stream.setVersion(streamVersion);
    const QString version = readString(stream);
    qint32 frameCount = 0;
    QSize size;
    stream >> frameCount >> size;
    const VideoContainer *video = state.video;
    const bool matches = !isCorrupt(stream) && video && version == DataState::formatVersion() &&
                         frameCount == video->frameCount && size == QSize(video->width, video->height);
    if (!matches) // what follows was written for another format or video and means nothing here
        return false;
    const QString tooLarge = readState(stream, state);
    if (problem)
        *problem = tooLarge;
    if (isCorrupt(stream))
        return false;
    state.currentFrame = qBound(0, state.currentFrame, frameCount - 1);
    return true;
}

bool ProjectFile::save(const QString &path, const DataState &state, QString *error)
{
    const auto writer = [&state](QFileDevice &file) {
        QDataStream stream(&file);
        write(stream, state);
        return stream.status() == QDataStream::Ok;
    };
    const SafeFile::Outcome outcome = SafeFile::replace(path, writer, error);
    if (outcome == SafeFile::Outcome::Replaced)
        return true;
    const bool opened = outcome != SafeFile::Outcome::NotOpened;
    qWarning(opened ? "could not save %s: %s" : "could not open %s: %s", qUtf8Printable(path),
             qUtf8Printable(*error));
    if (!opened)
        error->clear();
    return false;
}
