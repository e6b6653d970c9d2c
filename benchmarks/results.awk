# SPDX-FileCopyrightText: 2026 the Palu developers
# SPDX-License-Identifier: MIT
#
# Reads the CSV output of the benchmark programs: medians of each benchmark by its plain name. Counters have columns of
# their own, which the head of each file names.
#
#     "name",iterations,real_time,cpu_time,time_unit,bytes_per_second,items_per_second,label,error_occurred,message

FNR == 1 {
    split("", counter)
}

/^name,/ {
    columns = split($0, column, ",")
    for (i = 11; i <= columns; ++i) {
        gsub(/"/, "", column[i])
        counter[i] = column[i]
    }
}

/^"/ {
    quote = index(substr($0, 2), "\"")
    name = substr($0, 2, quote - 1)
    fields = split(substr($0, quote + 3), field, ",") # field[1] is the second column
    aggregate = ""
    if (match(name, /_(mean|median|stddev|cv)$/)) {
        aggregate = substr(name, RSTART + 1)
        name = substr(name, 1, RSTART - 1)
    }
    gsub(/\/(iterations|repeats):[0-9]+|\/(real|manual|process)_time/, "", name)
    if (!(name in seen)) {
        seen[name] = 1
        names[++count] = name
    }
    if (field[8] == "true")
        failure[name] = field[9]
    else if (aggregate == "median" || aggregate == "") { # "": a single repetition
        value[name, "wall"] = field[2] # milliseconds
        value[name, "cpu"] = field[3]
        bytes[name] = field[5]
        items[name] = field[6]
        label[name] = field[7]
        gsub(/"/, "", label[name])
        for (i in counter)
            value[name, counter[i]] = field[i - 1]
    } else if (aggregate == "stddev")
        deviation[name] = field[2]
}
