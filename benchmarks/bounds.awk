# SPDX-FileCopyrightText: 2026 the Palu developers
# SPDX-License-Identifier: MIT
#
# The table of bounds; follows results.awk, and bounds.txt is the last file. Rows of which nothing was measured are left
# out where `partly` is set. Ends with status 1 when something that the table needs could not be measured.

function trimmed(text) {
    gsub(/^ +| +$/, "", text)
    return text
}

# The value of a benchmark, or "" with a note of what is missing.
function measured(name, by) {
    if ((name, by) in value && !(name in failure))
        return value[name, by]
    missing = missing (missing ? ", " : "") name
    if (name in failure)
        missing = missing " (" failure[name] ")"
    return ""
}

# Slope of the line through the logarithms of "size=name" pairs, by least squares.
function growth(list, by,    pairs, pair, n, i, x, y, value_, sx, sy, sxx, sxy) {
    n = split(list, pairs, ";")
    for (i = 1; i <= n; ++i) {
        split(trimmed(pairs[i]), pair, "=")
        value_ = measured(pair[2], by)
        if (value_ == "")
            continue
        x = log(pair[1])
        y = log(value_)
        sx += x; sy += y; sxx += x * x; sxy += x * y
        slowest = value_
    }
    return missing ? "" : (n * sxy - sx * sy) / (n * sxx - sx * sx)
}

function shown(number, by) {
    return by == "wall" || by == "cpu" ? sprintf("%.2f ms", number) : sprintf("%.2f", number)
}

function row(what, first, floor, by, outcome, bound, holds) {
    printf "%-64s %12s %12s %10s %10s  %-5s %s\n", what, first, floor, outcome, bound, by, holds
}

function judge(what, list, floorName, by, kind, operator, bound,    first, second, result, format) {
    missing = ""
    format = "%.2f"
    if (kind == "growth") {
        result = growth(list, by)
        first = slowest
    } else {
        first = measured(list, by)
        second = floorName ? measured(floorName, by) : ""
        if (!missing) {
            result = kind == "ratio" ? first / second : kind == "more" ? first - second : first
            format = kind == "more" ? "%+.1f" : "%.2f"
        }
    }
    if (missing) {
        if (partly)
            return
        unmeasured = 1
        printf "%-64s not measured: %s\n", what, missing
        return
    }
    row(what, shown(first, by), second == "" ? "" : shown(second, by), by, sprintf(format, result), operator " " bound,
        (operator == "<=" ? result <= bound : result >= bound) ? "yes" : "no")
}

FILENAME ~ /bounds\.txt$/ && /\|/ && !/^#/ {
    split($0, cell, "|")
    if (!heads++)
        row("what", "measured", "floor", "by", "ratio", "bound", "holds")
    split(trimmed(cell[5]), bound, " ")
    judge(trimmed(cell[1]), trimmed(cell[2]), trimmed(cell[3]), trimmed(cell[4]), bound[1], bound[2], bound[3])
}

END {
    exit unmeasured
}
