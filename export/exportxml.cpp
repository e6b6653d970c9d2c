// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "export/exportxml.h"

#include "core/datastate.h"

#include <QFile>
#include <QXmlStreamWriter>

#include <cmath>

namespace
{

const QString viperNamespace = QStringLiteral("http://lamp.cfar.umd.edu/viper#");
const QString viperDataNamespace = QStringLiteral("http://lamp.cfar.umd.edu/viperdata#");

QString rounded(double value)
{
    return QString::number(std::round(value), 'g', 6);
}

QString withoutBlanks(QString name)
{
    return name.replace(QLatin1Char(' '), QLatin1Char('_'));
}

QString annotationMode(KeyFrame::Type type)
{
    switch (type) {
    case KeyFrame::None:
        return QStringLiteral("NA");
    case KeyFrame::Visible:
    case KeyFrame::Occluded:
        return QStringLiteral("Manual");
    case KeyFrame::Automatic:
        return QStringLiteral("Automatic");
    }
    return QString();
}

/// Word for a value of KeyFrame::Type or FrameSpan::Type, which agree from 0 to 2.
QString objectModeOfValue(int value)
{
    static const QString words[] = {QStringLiteral("NA"), QStringLiteral("Visible"),
                                    QStringLiteral("Occluded")};
    return words[value];
}

/// The span over a frame. The last frame's entry can name an earlier span; then the one before reaches it.
const FrameSpan *coveringSpan(const TrackedObject &object, int frame)
{
    const FrameSpan *span = object.frameSpans.at(frame);
    const bool covers = span->start <= frame && frame <= span->end;
    return covers || frame == 0 ? span : object.frameSpans.at(frame - 1);
}

QString objectMode(const KeyFrame &keyFrame)
{
    if (keyFrame.type == KeyFrame::Automatic)
        return objectModeOfValue(coveringSpan(*keyFrame.object, keyFrame.frame)->type);
    return objectModeOfValue(keyFrame.type);
}

QString frameSpanText(int first, int last)
{
    return QString::number(first) + QLatin1Char(':') + QString::number(last);
}

bool isHiddenThroughout(const TrackedObject &object)
{
    const QList<FrameSpan *> spans = object.getFrameSpans();
    return spans.size() == 1 && spans.first()->type == FrameSpan::Hidden;
}

/// One document; a small function per element.
class Document
{
public:
    Document(QFile *file, const DataState &state, bool boundingBoxes)
        : m_xml(file)
        , m_state(state)
        , m_boundingBoxes(boundingBoxes)
    {
    }

    void write()
    {
        m_xml.writeStartDocument();
        m_xml.setAutoFormatting(true);
        m_xml.writeStartElement(QStringLiteral("viper"));
        attribute("xmlns", viperNamespace);
        attribute("xmlns:data", viperDataNamespace);
        writeConfig();
        writeData();
        m_xml.writeEndElement();
        m_xml.writeEndDocument();
    }

private:
    void attribute(const char *name, const QString &value)
    {
        m_xml.writeAttribute(QLatin1String(name), value);
    }

    void writeConfig()
    {
        m_xml.writeStartElement(QStringLiteral("config"));
        writeInformationDescriptor();
        for (const TrackedObject *object : m_state.objects)
            writeObjectDescriptor(*object);
        m_xml.writeEndElement();
    }

    void writeInformationDescriptor()
    {
        m_xml.writeStartElement(QStringLiteral("descriptor"));
        attribute("type", QStringLiteral("FILE"));
        attribute("name", QStringLiteral("Information"));
        for (const char *name : {"NUMFRAMES", "FPS", "H-FRAME-SIZE", "V-FRAME-SIZE"}) {
            m_xml.writeStartElement(QStringLiteral("attribute"));
            attribute("dynamic", QStringLiteral("false"));
            attribute("type", QStringLiteral("dvalue"));
            attribute("name", QLatin1String(name));
            m_xml.writeEndElement();
        }
        m_xml.writeEndElement();
    }

    // Declares the bounding box in both variants.
    void writeObjectDescriptor(const TrackedObject &object)
    {
        m_xml.writeStartElement(QStringLiteral("descriptor"));
        attribute("type", QStringLiteral("OBJECT"));
        attribute("name", withoutBlanks(object.name));
        m_xml.writeStartElement(QStringLiteral("attribute"));
        attribute("dynamic", isHiddenThroughout(object) ? QStringLiteral("false") : QStringLiteral("true"));
        attribute("type", QStringLiteral("bbox"));
        attribute("name", QStringLiteral("BoundingBox"));
        m_xml.writeEndElement();
        m_xml.writeEndElement();
    }

    void writeData()
    {
        m_xml.writeStartElement(QStringLiteral("data"));
        m_xml.writeStartElement(QStringLiteral("sourcefile"));
        attribute("filename", m_state.video->fileName());
        writeInformation();
        for (const TrackedObject *object : m_state.objects)
            writeObject(*object);
        m_xml.writeEndElement();
        m_xml.writeEndElement();
    }

    void writeInformation()
    {
        const VideoContainer &video = *m_state.video;
        m_xml.writeStartElement(QStringLiteral("file"));
        attribute("id", QStringLiteral("0"));
        attribute("name", QStringLiteral("Information"));
        writeInformationValue("NUMFRAMES", QString::number(video.frameCount));
        writeInformationValue("FPS", QString::number(video.fps, 'g', 6));
        // Height and width stand under each other's name; readers of these files expect them so.
        writeInformationValue("H-FRAME-SIZE", QString::number(video.height));
        writeInformationValue("V-FRAME-SIZE", QString::number(video.width));
        m_xml.writeEndElement();
    }

    void writeInformationValue(const char *name, const QString &value)
    {
        m_xml.writeStartElement(QStringLiteral("attribute"));
        attribute("name", QLatin1String(name));
        m_xml.writeStartElement(QStringLiteral("data:dvalue"));
        attribute("value", value);
        m_xml.writeEndElement();
        m_xml.writeEndElement();
    }

    void writeObject(const TrackedObject &object)
    {
        QList<const KeyFrame *> annotated;
        for (const KeyFrame *keyFrame : object.keyFrames) {
            if (!keyFrame->polygon.isEmpty())
                annotated.append(keyFrame);
        }
        if (annotated.isEmpty())
            return;
        const QString name = withoutBlanks(object.name);
        m_xml.writeStartElement(QStringLiteral("object"));
        attribute("id", QString::number(object.id));
        attribute("framespan", frameSpanText(annotated.first()->frame, annotated.last()->frame));
        attribute("name", name);
        m_xml.writeStartElement(QStringLiteral("attribute"));
        attribute("name", name); // the object's own name, not the declared "BoundingBox"
        for (const KeyFrame *keyFrame : qAsConst(annotated))
            writeKeyFrame(*keyFrame);
        m_xml.writeEndElement();
        m_xml.writeEndElement();
    }

    void writeKeyFrame(const KeyFrame &keyFrame)
    {
        m_xml.writeStartElement(m_boundingBoxes ? QStringLiteral("data:bbox")
                                                : QStringLiteral("data:polygone"));
        const QRectF box = keyFrame.polygon.boundingRect();
        attribute("x", rounded(box.left()));
        attribute("y", rounded(box.top()));
        attribute("width", rounded(box.width()));
        attribute("height", rounded(box.height()));
        if (!m_boundingBoxes) {
            attribute("zorder", QString::number(keyFrame.zOrder));
            attribute("annotationmode", annotationMode(keyFrame.type));
            attribute("objectmode", objectMode(keyFrame));
        }
        attribute("framespan", frameSpanText(keyFrame.frame, keyFrame.frame));
        if (!m_boundingBoxes)
            writePoints(keyFrame.polygon);
        m_xml.writeEndElement();
    }

    void writePoints(const QPolygonF &polygon)
    {
        for (const QPointF &point : polygon) {
            m_xml.writeStartElement(QStringLiteral("data:point"));
            attribute("x", rounded(point.x()));
            attribute("y", rounded(point.y()));
            m_xml.writeEndElement();
        }
    }

    QXmlStreamWriter m_xml;
    const DataState &m_state;
    bool m_boundingBoxes;
};

} // namespace

ExportXML::ExportXML(DataState *dataState, QFile *target, bool onlyBoxes)
    : state(dataState)
    , file(target)
    , boundingBoxes(onlyBoxes)
{
}

bool ExportXML::saveXML() const
{
    if (!file->open(QIODevice::WriteOnly))
        return false;
    Document(file, *state, boundingBoxes).write();
    return true;
}
