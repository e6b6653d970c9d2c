// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "export/exportxml.h"

#include "core/datastate.h"
#include "export/xmlfilewriter.h"

#include <QFile>

#include <cmath>
#include <string>

namespace
{

constexpr const char *viperNamespace = "http://lamp.cfar.umd.edu/viper#";
constexpr const char *viperDataNamespace = "http://lamp.cfar.umd.edu/viperdata#";

QString withoutBlanks(QString name)
{
    return name.replace(QLatin1Char(' '), QLatin1Char('_'));
}

const char *annotationMode(KeyFrame::Type type)
{
    switch (type) {
    case KeyFrame::None:
        return "NA";
    case KeyFrame::Visible:
    case KeyFrame::Occluded:
        return "Manual";
    case KeyFrame::Automatic:
        return "Automatic";
    }
    return "";
}

/// Word for a value of KeyFrame::Type or FrameSpan::Type, which agree from 0 to 2.
const char *objectModeOfValue(int value)
{
    static const char *const words[] = {"NA", "Visible", "Occluded"};
    return words[value];
}

/// The span over a frame. The last frame's entry can name an earlier span; then the one before reaches it.
const FrameSpan *coveringSpan(const TrackedObject &object, int frame)
{
    const FrameSpan *span = object.frameSpans.at(frame);
    const bool covers = span->start <= frame && frame <= span->end;
    return covers || frame == 0 ? span : object.frameSpans.at(frame - 1);
}

const char *objectMode(const KeyFrame &keyFrame)
{
    if (keyFrame.type == KeyFrame::Automatic)
        return objectModeOfValue(coveringSpan(*keyFrame.object, keyFrame.frame)->type);
    return objectModeOfValue(keyFrame.type);
}

std::string frameSpanText(int first, int last)
{
    return std::to_string(first) + ':' + std::to_string(last);
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
        m_xml.startDocument();
        m_xml.startElement("viper");
        m_xml.attribute("xmlns", viperNamespace);
        m_xml.attribute("xmlns:data", viperDataNamespace);
        writeConfig();
        writeData();
        m_xml.endElement();
        m_xml.endDocument();
    }

private:
    void writeConfig()
    {
        m_xml.startElement("config");
        writeInformationDescriptor();
        for (const TrackedObject *object : m_state.objects)
            writeObjectDescriptor(*object);
        m_xml.endElement();
    }

    void writeInformationDescriptor()
    {
        m_xml.startElement("descriptor");
        m_xml.attribute("type", "FILE");
        m_xml.attribute("name", "Information");
        for (const char *name : {"NUMFRAMES", "FPS", "H-FRAME-SIZE", "V-FRAME-SIZE"}) {
            m_xml.startElement("attribute");
            m_xml.attribute("dynamic", "false");
            m_xml.attribute("type", "dvalue");
            m_xml.attribute("name", name);
            m_xml.endElement();
        }
        m_xml.endElement();
    }

    // Declares the bounding box in both variants.
    void writeObjectDescriptor(const TrackedObject &object)
    {
        m_xml.startElement("descriptor");
        m_xml.attribute("type", "OBJECT");
        m_xml.textAttribute("name", withoutBlanks(object.name));
        m_xml.startElement("attribute");
        m_xml.attribute("dynamic", isHiddenThroughout(object) ? "false" : "true");
        m_xml.attribute("type", "bbox");
        m_xml.attribute("name", "BoundingBox");
        m_xml.endElement();
        m_xml.endElement();
    }

    void writeData()
    {
        m_xml.startElement("data");
        m_xml.startElement("sourcefile");
        m_xml.textAttribute("filename", m_state.video->fileName());
        writeInformation();
        for (const TrackedObject *object : m_state.objects)
            writeObject(*object);
        m_xml.endElement();
        m_xml.endElement();
    }

    void writeInformation()
    {
        const VideoContainer &video = *m_state.video;
        m_xml.startElement("file");
        m_xml.attribute("id", "0");
        m_xml.attribute("name", "Information");
        writeInformationValue("NUMFRAMES", video.frameCount);
        writeInformationValue("FPS", video.fps);
        // Height and width stand under each other's name; readers of these files expect them so.
        writeInformationValue("H-FRAME-SIZE", video.height);
        writeInformationValue("V-FRAME-SIZE", video.width);
        m_xml.endElement();
    }

    template <typename Number>
    void writeInformationValue(const char *name, Number value)
    {
        m_xml.startElement("attribute");
        m_xml.attribute("name", name);
        m_xml.startElement("data:dvalue");
        m_xml.attribute("value", value);
        m_xml.endElement();
        m_xml.endElement();
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
        m_xml.startElement("object");
        m_xml.attribute("id", object.id);
        m_xml.attribute("framespan", frameSpanText(annotated.first()->frame, annotated.last()->frame));
        m_xml.textAttribute("name", name);
        m_xml.startElement("attribute");
        m_xml.textAttribute("name", name); // the object's own name, not the declared "BoundingBox"
        for (const KeyFrame *keyFrame : qAsConst(annotated))
            writeKeyFrame(*keyFrame);
        m_xml.endElement();
        m_xml.endElement();
    }

    void writeKeyFrame(const KeyFrame &keyFrame)
    {
        m_xml.startElement(m_boundingBoxes ? "data:bbox" : "data:polygone");
        const QRectF box = keyFrame.polygon.boundingRect();
        m_xml.attribute("x", std::round(box.left()));
        m_xml.attribute("y", std::round(box.top()));
        m_xml.attribute("width", std::round(box.width()));
        m_xml.attribute("height", std::round(box.height()));
        if (!m_boundingBoxes) {
            m_xml.attribute("zorder", keyFrame.zOrder);
            m_xml.attribute("annotationmode", annotationMode(keyFrame.type));
            m_xml.attribute("objectmode", objectMode(keyFrame));
        }
        m_xml.attribute("framespan", frameSpanText(keyFrame.frame, keyFrame.frame));
        if (!m_boundingBoxes)
            writePoints(keyFrame.polygon);
        m_xml.endElement();
    }

    void writePoints(const QPolygonF &polygon)
    {
        for (const QPointF &point : polygon) {
            m_xml.startElement("data:point");
            m_xml.attribute("x", std::round(point.x()));
            m_xml.attribute("y", std::round(point.y()));
            m_xml.endElement();
        }
    }

    XmlFileWriter m_xml;
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
