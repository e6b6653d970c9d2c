# SPDX-FileCopyrightText: 2026 the Palu developers
# SPDX-License-Identifier: MIT
#
# Makes one table of the CSV output of the benchmark programs. A benchmark is named "title", or "title/method" where
# several methods do the same work: then the last column holds the time
# that each other method takes divided by that of the method "palu".

/^"/ {
    # "name",iterations,real_time,cpu_time,time_unit,bytes_per_second,items_per_second,label,error_occurred,message
    quote = index(substr($0, 2), "\"")
    name = substr($0, 2, quote - 1)
    split(substr($0, quote + 3), field, ",")
    aggregate = ""
    if (match(name, /_(mean|median|stddev|cv)$/)) {
        aggregate = substr(name, RSTART + 1)
        name = substr(name, 1, RSTART - 1)
    }
    gsub(/\/(iterations|repeats):[0-9]+|\/real_time|\/manual_time/, "", name)
    if (!(name in seen)) {
        seen[name] = 1
        names[++count] = name
    }
    if (field[8] == "true")
        failure[name] = field[9]
    else if (aggregate == "median" || aggregate == "") { # "": a single repetition
        time[name] = field[2] # milliseconds
        bytes[name] = field[5]
        items[name] = field[6]
        label[name] = field[7]
        gsub(/"/, "", label[name])
    } else if (aggregate == "stddev")
        deviation[name] = field[2]
}

function speed(name) {
    if (label[name])
        return label[name]
    if (items[name])
        return sprintf("%.1f frames/s", items[name])
    if (bytes[name])
        return sprintf("%.1f MB/s", bytes[name] / 1e6)
    return ""
}

function ratio(name, title) {
    title = name
    if (!sub(/\/[^\/]*$/, "", title) || name == title "/palu" || !time[title "/palu"])
        return ""
    return sprintf("%.2f x", time[name] / time[title "/palu"])
}

END {
    format = "%-58s %12s %8s %17s  %s\n"
    printf format, "benchmark", "median", "spread", "speed", "palu is faster by"
    for (i = 1; i <= count; ++i) {
        name = names[i]
        if (name in failure)
            printf "%-58s skipped: %s\n", name, failure[name]
        else
            printf format, name, sprintf("%.1f ms", time[name]), sprintf("%.0f %%", deviation[name] / time[name] * 100), speed(name), ratio(name)
    }
}
