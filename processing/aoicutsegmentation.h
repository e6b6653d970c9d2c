// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "processing/abortgrace.h"
#include "processing/framejob.h"

class DataState;
class KeyFrame;
class QString;

/// Refines the current object's visible and automatic polygons of the whole video by GrabCut, the frames in
/// parallel.
class AoiCutSegmentation
{
public:
    explicit AoiCutSegmentation(DataState *state);

    /// Segments all frames behind a progress dialog. Returns how that ended.
    FrameJob::Result runSegmenation();
    /// Segments the frames of the work split's chunk that ends before `chunkEnd`. Runs on a pool thread.
    /// Throws FrameJob::Error when a frame cannot be segmented; the frames before it keep their new polygons.
    /// So they do when the chunk is left some time after "Abort", in the middle of a frame if need be.
    void segmentation(int &chunkEnd);

    /// Function object of the parallel map: segments one chunk.
    struct segmentationWrapper {
        explicit segmentationWrapper(AoiCutSegmentation *owner)
            : segmentation(owner)
        {
        }
        void operator()(int &chunkEnd) const { segmentation->segmentation(chunkEnd); }

        AoiCutSegmentation *segmentation;
    };

    DataState *state;

private:
    bool mayGoOn() const { return !m_grace.isOver(); }
    void segmentKeyFrame(KeyFrame &keyFrame, const QString &imagePath) const;

    AbortGrace m_grace;
};
