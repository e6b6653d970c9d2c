// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/gui/projecttest.h"

#include "core/datastate.h"
#include "core/mainwindow.h"
#include "tests/support/testproject.h"

#include <QtTest>

#include <utility>

void ProjectTest::initTestCase()
{
    m_clip = encodeClip(m_clips.path(), "my clip", 10);
    QVERIFY(!m_clip.isEmpty());
}

void ProjectTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_program = std::make_unique<ProgramFixture>();
}

void ProjectTest::cleanup()
{
    m_program.reset();
    m_folder.reset();
}

void ProjectTest::makeProject()
{
    QCOMPARE(m_program->newProject(m_clip), QString());
    for (const char *name : {"red car", "gone", "Küche \"1\" & <2>"}) {
        g_state->addObject();
        g_state->objects.last()->changeName(QString::fromUtf8(name));
    }
    g_state->deleteObject(1);
    annotate(g_state->objects.at(0), 2, rectangle(10.25, 20.5, 40, 30));
    annotate(g_state->objects.at(0), 7, rectangle(60, 20, 40, 30), KeyFrame::Occluded);
    annotate(g_state->objects.at(1), 0, rectangle(100, 100, 20, 20));
    annotate(g_state->objects.at(1), 9, rectangle(150, 100, 20, 20));
    std::swap(g_state->objects.at(0)->keyFrames.at(5)->zOrder,
              g_state->objects.at(1)->keyFrames.at(5)->zOrder);
    g_state->setFrame(4);
    (*m_program)->reload();
}

QString ProjectTest::savedProject()
{
    makeProject();
    const QString file = path("saved.palu");
    if (!m_program->saveAs(file).isEmpty() || !m_program->newProject(m_clip).isEmpty())
        qFatal("cannot prepare a saved project");
    return file;
}
