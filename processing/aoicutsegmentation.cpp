// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/aoicutsegmentation.h"

#include "core/datastate.h"
#include "core/modaljob.h"
#include "processing/grabcut.h"

#include <QCoreApplication>

#include <opencv2/core.hpp>

#include <stdexcept>
#include <string>

namespace
{

constexpr int grabCutRounds = 2;

void segmentKeyFrame(KeyFrame &keyFrame, const QString &imagePath)
{
    GrabCut grabCut(imagePath, keyFrame.polygonSnapshot());
    if (grabCut.image.empty())
        throw std::runtime_error("the image " + imagePath.toStdString() + " cannot be read");
    cv::setRNGSeed(keyFrame.frame); // results must not depend on what the thread did before
    grabCut.segmentImage(grabCutRounds, 1);
    keyFrame.setNewPolygon(grabCut.getObjectBondary());
}

} // namespace

AoiCutSegmentation::AoiCutSegmentation(DataState *dataState)
    : state(dataState)
{
}

void AoiCutSegmentation::runSegmenation()
{
    if (!state->video || !state->getCurrentObject())
        return;
    ModalJob::run(QCoreApplication::translate("AoiCutSegmentation", "Segment tracking"),
                  state->video->chunkEnds, segmentationWrapper(this));
}

void AoiCutSegmentation::segmentation(int &chunkEnd)
{
    const TrackedObject *object = state->getCurrentObject();
    if (!object)
        return;
    for (int frame = state->video->chunkStart(chunkEnd); frame < chunkEnd; ++frame) {
        KeyFrame *keyFrame = object->keyFrames.at(frame);
        if (keyFrame->type != KeyFrame::Automatic && keyFrame->type != KeyFrame::Visible)
            continue;
        try {
            segmentKeyFrame(*keyFrame, state->video->getFramePath(frame));
        } catch (const std::exception &error) {
            throw std::runtime_error("segmentation of frame " + std::to_string(frame) + ": " + error.what());
        }
    }
}
