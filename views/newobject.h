// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT
#pragma once

/// Objects that the user adds.
namespace NewObject
{

/// Adds an object to the project in use and makes it the current one; the first one makes the window reload.
/// Where there is not enough memory for it, the status bar says so and the project stays as it is.
void add();

} // namespace NewObject
