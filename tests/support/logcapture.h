// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QString>
#include <QtGlobal>
#include <QVector>

/// Collects the messages of the Qt log, with their context, from all threads while it is in scope.
class LogCapture
{
public:
    struct Message {
        QtMsgType type;
        QString text;
        QString category;
        QString file;
        QString function;
    };

    LogCapture();
    ~LogCapture();

    QVector<Message> messages() const;
    /// The texts of the warnings.
    QStringList warnings() const;
    bool contains(const QString &text) const;

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    mutable QMutex m_mutex;
    QVector<Message> m_messages;
    QtMessageHandler m_previous;
};
