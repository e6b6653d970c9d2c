# SPDX-FileCopyrightText: 2026 the Palu developers
# SPDX-License-Identifier: MIT
#
# The table of all benchmarks; follows results.awk. A benchmark is named "title", or "title/method" where several methods
# do the same work: then the last column holds the time that each other method takes divided by that of the method "palu".

function speed(name) {
    if (label[name])
        return label[name]
    if (items[name])
        return sprintf("%.1f frames/s", items[name])
    if (bytes[name])
        return sprintf("%.1f MB/s", bytes[name] / 1e6)
    return ""
}

function factor(name, title) {
    title = name
    if (!sub(/\/[^\/]*$/, "", title) || name == title "/palu" || !value[title "/palu", "wall"])
        return ""
    return sprintf("%.2f x", value[name, "wall"] / value[title "/palu", "wall"])
}

END {
    format = "%-76s %12s %12s %8s %17s  %s\n"
    printf format, "benchmark", "wall", "cpu", "spread", "speed", "palu is faster by"
    for (i = 1; i <= count; ++i) {
        name = names[i]
        if (name in failure)
            printf "%-76s skipped: %s\n", name, failure[name]
        else
            printf format, name, sprintf("%.2f ms", value[name, "wall"]), sprintf("%.2f ms", value[name, "cpu"]),
                   deviation[name] ? sprintf("%.0f %%", deviation[name] / value[name, "wall"] * 100) : "", speed(name), factor(name)
    }
}
