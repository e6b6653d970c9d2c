// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/logcapture.h"

#include <QStringList>

namespace
{
LogCapture *g_capture = nullptr;
}

LogCapture::LogCapture()
{
    g_capture = this;
    m_previous = qInstallMessageHandler(handle);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
    g_capture = nullptr;
}

QVector<LogCapture::Message> LogCapture::messages() const
{
    QMutexLocker lock(&m_mutex);
    return m_messages;
}

QStringList LogCapture::warnings() const
{
    QStringList texts;
    for (const Message &message : messages()) {
        if (message.type == QtWarningMsg)
            texts.append(message.text);
    }
    return texts;
}

bool LogCapture::contains(const QString &text) const
{
    for (const Message &message : messages()) {
        if (message.text.contains(text))
            return true;
    }
    return false;
}

void LogCapture::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QMutexLocker lock(&g_capture->m_mutex);
    g_capture->m_messages.append({type, text, QString::fromUtf8(context.category),
                                  QString::fromUtf8(context.file), QString::fromUtf8(context.function)});
}
