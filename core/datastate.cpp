// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/datastate.h"

#include "core/framebounds.h"

#include <algorithm>
#include <limits>

DataState *g_state = nullptr;

namespace
{

QRectF loadedVideoRectangle()
{
    if (!g_state || !g_state->video)
        return QRectF();
    return QRectF(0, 0, g_state->video->width, g_state->video->height);
}

} // namespace

DataState::DataState(QObject *parent)
    : QObject(parent)
{
    static constexpr const char *palette[] = {
        "#222222", "#F3C300", "#875692", "#F38400", "#A1CAF1", "#BE0032", "#C2B280",
        "#848482", "#008856", "#E68FAC", "#0067A5", "#F99379", "#604E97", "#F6A600",
        "#B3446C", "#DCD300", "#882D17", "#8DB600", "#654522", "#E25822", "#2B3D26"};
    for (const char *color : palette)
        colors.append(QColor(QLatin1String(color)));
    TrackedObject::newID = 0;
    FrameBounds::setVideo(loadedVideoRectangle);
}

DataState::~DataState()
{
    qDeleteAll(objects);
    objects.clear();
    delete video;
}

void DataState::keepNewIdsApart() const
{
    for (const TrackedObject *object : objects) {
        if (object->id >= TrackedObject::newID && object->id < std::numeric_limits<qint32>::max())
            TrackedObject::newID = object->id + 1;
    }
}

void DataState::setFrame(int frame)
{
    if (!videoLoaded || frame < 0 || frame >= video->frameCount || frame == currentFrame)
        return;
    currentFrame = frame;
    emit hasChanged(FrameChanged);
}

void DataState::nextFrame()
{
    if (!video || currentFrame >= video->frameCount - 1)
        return;
    ++currentFrame;
    emit hasChanged(FrameChanged);
}

void DataState::prevFrame()
{
    if (currentFrame < 1)
        return;
    --currentFrame;
    emit hasChanged(FrameChanged);
}

void DataState::addObject()
{
    auto *object = new TrackedObject(this);
    objects.append(object);
    currentObjectId = object->id;
    emit hasChanged(ObjectListChanged | ObjectSelectionChanged);
}

TrackedObject *DataState::getCurrentObject() const
{
    return currentObjectId == -1 ? nullptr : getObjectById(currentObjectId);
}

void DataState::setCurrentObject(int id)
{
    currentObjectId = id;
    emit hasChanged(ObjectSelectionChanged);
}

TrackedObject *DataState::getObjectById(int id) const
{
    const auto found = std::find_if(objects.cbegin(), objects.cend(),
                                    [id](const TrackedObject *object) { return object->id == id; });
    return found == objects.cend() ? nullptr : *found;
}

void DataState::deleteObject(int id)
{
    TrackedObject *object = getObjectById(id);
    if (!object) {
        qWarning("Could not find object with this ID");
        return;
    }
    objects.removeOne(object);
    const bool wasCurrent = currentObjectId == id;
    if (objects.isEmpty()) {
        currentObjectId = -1;
    } else if (wasCurrent) {
        // A second object with the same id can exist after reading a project; it must not become current.
        const bool skipFirst = objects.first()->id == id && objects.size() > 1;
        currentObjectId = objects.at(skipFirst ? 1 : 0)->id;
    }
    const bool selectionChanged = wasCurrent || objects.isEmpty();
    emit hasChanged(selectionChanged ? ObjectListChanged | ObjectSelectionChanged : ObjectListChanged);
}

QList<TrackedObject *> DataState::getZOrderSortedList(int frame) const
{
    QList<TrackedObject *> sorted = objects;
    std::sort(sorted.begin(), sorted.end(), TrackedObject::combareByZOrderOfFrame(frame));
    return sorted;
}
