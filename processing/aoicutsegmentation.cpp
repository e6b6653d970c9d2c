// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "processing/aoicutsegmentation.h"

#include "core/datastate.h"
#include "core/leavablecall.h"
#include "processing/grabcut.h"

#include <QCoreApplication>

#include <opencv2/core.hpp>

#include <exception>
#include <string>

namespace
{

constexpr int grabCutRounds = 2;

QString tr(const char *text)
{
    return QCoreApplication::translate("AoiCutSegmentation", text);
}

FrameJob::Error failure(int frame, const QString &reasonForUser, const std::string &reason)
{
    return {frame, reasonForUser, "segmentation of frame " + std::to_string(frame) + ": " + reason};
}

} // namespace

void AoiCutSegmentation::segmentKeyFrame(KeyFrame &keyFrame, const QString &imagePath) const
{
    GrabCut grabCut(imagePath, keyFrame.polygonSnapshot());
    if (grabCut.image.empty())
        throw failure(keyFrame.frame, tr("its image cannot be read"),
                      "the image " + imagePath.toStdString() + " cannot be read");
    cv::setRNGSeed(keyFrame.frame); // results must not depend on what the thread did before
    try {
        if (!grabCut.segmentImage(grabCutRounds, 1, [this] { return mayGoOn(); }))
            return;
    } catch (const LeavableCall::TooManyLeft &error) {
        throw failure(keyFrame.frame, tr("what was aborted before is still being computed"), error.what());
    } catch (const std::exception &error) {
        throw failure(keyFrame.frame, tr("its outline leaves nothing to cut out"), error.what());
    }
    keyFrame.setNewPolygon(grabCut.getObjectBondary());
}

AoiCutSegmentation::AoiCutSegmentation(DataState *dataState)
    : state(dataState)
{
}

FrameJob::Result AoiCutSegmentation::runSegmenation()
{
    if (!state->video || !state->getCurrentObject())
        return {};
    m_grace.reset();
    return FrameJob::run(tr("Segment tracking"), state->video->chunkEnds, segmentationWrapper(this),
                         [this] { m_grace.start(); });
}

void AoiCutSegmentation::segmentation(int &chunkEnd)
{
    const TrackedObject *object = state->getCurrentObject();
    if (!object)
        return;
    for (int frame = state->video->chunkStart(chunkEnd); frame < chunkEnd && mayGoOn(); ++frame) {
        KeyFrame *keyFrame = object->keyFrames.at(frame);
        if (keyFrame->type == KeyFrame::Automatic || keyFrame->type == KeyFrame::Visible)
            segmentKeyFrame(*keyFrame, state->video->getFramePath(frame));
    }
}
