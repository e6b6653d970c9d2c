// SPDX-FileCopyrightText: 2026 the Palu developers
// SPDX-License-Identifier: MIT

/// A program that links one layer whole, and nothing above it.
int main()
{
    return 0;
}
