// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/export/plainexport.h"

#include "core/datastate.h"

#include <QBuffer>
#include <QXmlStreamWriter>

#include <cmath>

namespace
{

using Attributes = QVector<std::pair<QString, QString>>;

QString underscored(const TrackedObject &object)
{
    return object.name.split(QLatin1Char(' ')).join(QLatin1Char('_'));
}

QString wholeNumber(double value)
{
    return QString::number(std::round(value), 'g', 6);
}

QString spanText(int first, int last)
{
    return QStringLiteral("%1:%2").arg(first).arg(last);
}

// Of two spans that share the frame, the later one.
int typeOfSpanOver(const TrackedObject &object, int frame)
{
    const FrameSpan *found = nullptr;
    for (const FrameSpan *span : object.frameSpans) {
        const bool covers = span->start <= frame && frame <= span->end;
        if (covers && (!found || span->start > found->start))
            found = span;
    }
    return found->type;
}

QString objectMode(const KeyFrame &keyFrame)
{
    const int type = keyFrame.type == KeyFrame::Automatic ? typeOfSpanOver(*keyFrame.object, keyFrame.frame)
                                                          : int(keyFrame.type);
    return QStringList({"NA", "Visible", "Occluded"}).at(type);
}

QVector<const KeyFrame *> outlined(const TrackedObject &object)
{
    QVector<const KeyFrame *> kept;
    for (const KeyFrame *keyFrame : object.keyFrames) {
        if (keyFrame->polygon.size() > 0)
            kept.append(keyFrame);
    }
    return kept;
}

class PlainWriter
{
public:
    PlainWriter(QIODevice *device, const DataState &state, bool boundingBoxes)
        : m_xml(device)
        , m_state(state)
        , m_boundingBoxes(boundingBoxes)
    {
        m_xml.writeStartDocument();
        m_xml.setAutoFormatting(true);
        begin("viper", {{"xmlns", "http://lamp.cfar.umd.edu/viper#"},
                        {"xmlns:data", "http://lamp.cfar.umd.edu/viperdata#"}});
        writeConfig();
        writeData();
        m_xml.writeEndElement();
        m_xml.writeEndDocument();
    }

private:
    void begin(const QString &name, const Attributes &attributes)
    {
        m_xml.writeStartElement(name);
        for (const auto &attribute : attributes)
            m_xml.writeAttribute(attribute.first, attribute.second);
    }

    void whole(const QString &name, const Attributes &attributes)
    {
        begin(name, attributes);
        m_xml.writeEndElement();
    }

    void writeConfig()
    {
        begin("config", {});
        begin("descriptor", {{"type", "FILE"}, {"name", "Information"}});
        for (const char *name : {"NUMFRAMES", "FPS", "H-FRAME-SIZE", "V-FRAME-SIZE"})
            whole("attribute", {{"dynamic", "false"}, {"type", "dvalue"}, {"name", name}});
        m_xml.writeEndElement();
        for (const TrackedObject *object : m_state.objects)
            writeDescriptor(*object);
        m_xml.writeEndElement();
    }

    void writeDescriptor(const TrackedObject &object)
    {
        const QList<FrameSpan *> spans = object.getFrameSpans();
        const bool hidden = spans.size() == 1 && spans.first()->type == FrameSpan::Hidden;
        begin("descriptor", {{"type", "OBJECT"}, {"name", underscored(object)}});
        whole("attribute",
              {{"dynamic", hidden ? "false" : "true"}, {"type", "bbox"}, {"name", "BoundingBox"}});
        m_xml.writeEndElement();
    }

    void writeData()
    {
        begin("data", {});
        begin("sourcefile", {{"filename", m_state.video->videoPath.split('/').last()}});
        writeInformation();
        for (const TrackedObject *object : m_state.objects)
            writeObject(*object);
        m_xml.writeEndElement();
        m_xml.writeEndElement();
    }

    void writeInformation()
    {
        const Attributes values{{"NUMFRAMES", QString::number(m_state.video->frameCount)},
                                {"FPS", QString::number(m_state.video->fps, 'g', 6)},
                                {"H-FRAME-SIZE", QString::number(m_state.video->height)},
                                {"V-FRAME-SIZE", QString::number(m_state.video->width)}};
        begin("file", {{"id", "0"}, {"name", "Information"}});
        for (const auto &value : values) {
            begin("attribute", {{"name", value.first}});
            whole("data:dvalue", {{"value", value.second}});
            m_xml.writeEndElement();
        }
        m_xml.writeEndElement();
    }

    void writeObject(const TrackedObject &object)
    {
        const QVector<const KeyFrame *> kept = outlined(object);
        if (kept.isEmpty())
            return;
        begin("object", {{"id", QString::number(object.id)},
                         {"framespan", spanText(kept.first()->frame, kept.last()->frame)},
                         {"name", underscored(object)}});
        begin("attribute", {{"name", underscored(object)}});
        for (const KeyFrame *keyFrame : kept)
            writeFrame(*keyFrame);
        m_xml.writeEndElement();
        m_xml.writeEndElement();
    }

    void writeFrame(const KeyFrame &keyFrame)
    {
        static const QStringList annotationModes{"NA", "Manual", "Manual", "Automatic"};
        const QRectF box = keyFrame.polygon.boundingRect();
        Attributes attributes{{"x", wholeNumber(box.left())},
                              {"y", wholeNumber(box.top())},
                              {"width", wholeNumber(box.width())},
                              {"height", wholeNumber(box.height())}};
        if (!m_boundingBoxes)
            attributes << Attributes{{"zorder", QString::number(keyFrame.zOrder)},
                                     {"annotationmode", annotationModes.at(keyFrame.type)},
                                     {"objectmode", objectMode(keyFrame)}};
        attributes.append({"framespan", spanText(keyFrame.frame, keyFrame.frame)});
        begin(m_boundingBoxes ? "data:bbox" : "data:polygone", attributes);
        for (const QPointF &point : m_boundingBoxes ? QPolygonF() : keyFrame.polygon)
            whole("data:point", {{"x", wholeNumber(point.x())}, {"y", wholeNumber(point.y())}});
        m_xml.writeEndElement();
    }

    QXmlStreamWriter m_xml;
    const DataState &m_state;
    bool m_boundingBoxes;
};

} // namespace

QByteArray plainExport(const DataState &state, bool boundingBoxes)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    PlainWriter(&buffer, state, boundingBoxes);
    return buffer.data();
}
