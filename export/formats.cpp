// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#include "export/formats.h"

#include "export/exportxml.h"

#include <QStringList>

#include <algorithm>

namespace
{

template <bool boundingBoxes>
bool writeXml(DataState *state, QFile *file)
{
    return ExportXML(state, file, boundingBoxes).saveXML();
}

} // namespace

const std::vector<ExportFormat> &ExportFormats::all()
{
    static const std::vector<ExportFormat> formats{
        {"Polygon lables - ViPER like", "Polygon lables - ViPER like (*.xml)", "xml", writeXml<false>},
        // The blank is part of the filter.
        {"ViPER Bounding Box", "ViPER Bounding Box (*.xml )", "xml", writeXml<true>},
    };
    return formats;
}

QString ExportFormats::dialogFilters()
{
    QStringList filters;
    for (const ExportFormat &format : all())
        filters.append(QString::fromUtf8(format.filter));
    return filters.join(QStringLiteral(";;"));
}

const ExportFormat &ExportFormats::fromFilter(const QString &filter)
{
    const auto named = std::find_if(all().begin(), all().end(), [&filter](const ExportFormat &format) {
        return filter.contains(QString::fromUtf8(format.name));
    });
    return named == all().end() ? all().front() : *named;
}
