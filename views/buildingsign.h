// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Tells the user, while it is in scope, that the window is busy with making many items of its views: a wait
/// cursor and a text in the status bar, which is painted at once. Of several signs the outermost one shows.
class BuildingSign
{
public:
    /// Shows nothing where there are so few `items` that making them takes less than half a second.
    explicit BuildingSign(qint64 items);
    ~BuildingSign();

    BuildingSign(const BuildingSign &) = delete;
    BuildingSign &operator=(const BuildingSign &) = delete;

    /// The least number of items with a sign.
    static constexpr qint64 many = 200'000;

private:
    bool m_shown;
};
