// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>
#include <random>
#include <vector>

class ProgramFixture;
class QWidget;

/// Uses the real window at random, the same for the same seed as far as timers allow: unfinished drags,
/// menus, tools and their Abort, New and Open in the middle of playback, undo, docks, closing. After every
/// step it looks at the project and the views.
class Monkey : public QObject
{
public:
    /// Works on the clip at `clip` and leaves files in `folder`.
    Monkey(unsigned seed, const QString &clip, const QString &folder);
    ~Monkey() override;

    /// Makes so many steps. Returns what was wrong after the last of them, with the steps before it.
    QString run(int steps);

private:
    /// Something a user can do; `weight` says how often.
    struct Deed {
        int weight;
        const char *name;
        std::function<void()> act;
    };

    int below(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }
    bool chance(int oneOf) { return below(oneOf) == 0; }
    std::vector<Deed> deeds();
    std::vector<Deed> mouseDeeds();
    std::vector<Deed> fileDeeds();
    void step();
    void startProgram();
    void restartIfClosed();
    void answerOffer();
    /// Called from a timer: answers what is modal and disturbs what runs.
    void disturb();
    void answerMenu(QWidget *popup);
    void answerFileDialog(QWidget *dialog);
    void answerProgress(QWidget *dialog);
    QString problem();
    QString viewProblem() const;
    QString undoProblem();

    QWidget *canvas();
    QPoint place(const QWidget *widget);
    void mouse(int kind);
    void contextMenu();
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void trigger(const char *action);
    void typeName();

    std::mt19937 m_random;
    QString m_clip;
    QString m_folder;
    std::unique_ptr<ProgramFixture> m_program;
    std::vector<Deed> m_deeds;
    QTimer m_disturber;
    QStringList m_lately;
    QWidget *m_pressed = nullptr; // where a mouse button is held
    int m_depth = 0;
};
