// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "Models/projectsnapshot.h"

#include "core/datastate.h"

#include <algorithm>

ChainSnapshot::ChainSnapshot(const TrackedObject &object)
{
    for (const FrameSpan *span : object.spanChain()) {
        if (span == object.frameSpans.last())
            lastEntry = spans.size();
        spans.append({span->type, span->start, span->end});
    }
}

ObjectSnapshot::ObjectSnapshot(const TrackedObject &object)
    : name(object.name)
    , id(object.id)
    , chain(object)
    , m_frameCount(object.keyFrames.size())
{
    for (int first = 0; first < m_frameCount; first += blockSize) {
        QVector<FrameSnapshot> block(std::min(blockSize, m_frameCount - first));
        for (int i = 0; i < block.size(); ++i) {
            const KeyFrame *keyFrame = object.keyFrames.at(first + i);
            block[i] = {keyFrame->polygonSnapshot(), keyFrame->zOrder, keyFrame->type};
        }
        m_blocks.append(block);
    }
}

void ObjectSnapshot::setFrame(int number, const FrameSnapshot &frame)
{
    m_blocks[number / blockSize][number % blockSize] = frame;
}

ProjectSnapshot::ProjectSnapshot(const DataState &state)
    : videoName(state.video->fileName())
    , frameCount(state.video->frameCount)
    , frameSize(state.video->width, state.video->height)
    , version(state.version)
    , currentFrame(state.currentFrame)
    , nextId(TrackedObject::newID)
{
}
