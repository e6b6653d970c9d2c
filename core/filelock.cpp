// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "core/filelock.h"

#include <cerrno>

#include <sys/file.h>

FileLock::FileLock(const QString &path)
    : m_file(path)
{
    if (!m_file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        m_error = m_file.errorString();
    else
        m_excludesOthers = ::flock(m_file.handle(), LOCK_EX | LOCK_NB) == 0;
    if (m_error.isEmpty() && !m_excludesOthers && errno == EWOULDBLOCK)
        m_error = QStringLiteral("another program is writing it");
}
