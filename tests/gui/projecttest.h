// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/gui/programfixture.h"

#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <memory>

/// What the tests of saving, opening and exporting start from: the program, a clip and an empty folder.
class ProjectTest : public QObject
{
    Q_OBJECT

public:
    static void initMain() { useTemporaryHome(); }

private slots:
    void initTestCase();

protected slots:
    void init();
    void cleanup();

protected:
    /// A project on the clip with three objects (the middle one deleted) and two key frames each.
    void makeProject();
    /// Saves it and starts an empty one on the same clip.
    QString savedProject();
    /// In the empty folder.
    QString path(const QString &name) const { return m_folder->filePath(name); }

    QString m_clip;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ProgramFixture> m_program;

private:
    QTemporaryDir m_clips;
};
