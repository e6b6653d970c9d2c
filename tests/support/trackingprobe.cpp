// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "tests/support/trackingprobe.h"

#include "Models/keyframe.h"
#include "Models/trackedobject.h"
#include "Models/videocontainer.h"

#include <QFile>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QtTest>

ChangeCounter::ChangeCounter(const TrackedObject *object)
{
    for (const KeyFrame *keyFrame : object->keyFrames) {
        m_counts.append(0);
        QObject::connect(
            keyFrame, &KeyFrame::hasChanged, &m_context,
            [this, frame = keyFrame->frame](int flags) {
                const QMutexLocker lock(&m_mutex);
                if (flags == KeyFrame::PolygonChanged)
                    ++m_counts[frame];
            },
            Qt::DirectConnection);
    }
}

QList<int> ChangeCounter::counts()
{
    const QMutexLocker lock(&m_mutex);
    return m_counts;
}

int ChangeCounter::total()
{
    int sum = 0;
    for (int count : counts())
        sum += count;
    return sum;
}

void spoilImage(const VideoContainer &video, int frame, const QByteArray &bytes)
{
    QFile file(video.getFramePath(frame));
    QVERIFY(file.remove());
    if (bytes.isNull())
        return;
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

bool namesImage(const QString &warning, int frame, const VideoContainer &video)
{
    return warning.contains(QRegularExpression(QStringLiteral("\\bframe %1\\b").arg(frame))) &&
           warning.contains(video.getFramePath(frame)) && warning.contains(QStringLiteral("read"));
}
