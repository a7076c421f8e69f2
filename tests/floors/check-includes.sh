#!/bin/sh
# Includes go down the floors only. Usage: check-includes.sh SOURCE_DIRECTORY
# A folder is a floor, and the few files that stand on another one are named. A file may include its own folder and what
# stands on a lower floor. Prints every other include and exits with 1 when there is one.
set -eu
cd "$1"

find lib src sim -name '*.cpp' -o -name '*.h' | sort | xargs awk '
BEGIN {
    # Ascending; a file or folder that is not listed here may include and be included by nothing.
    count = split("lib src/platform src/ftdi src/base src/Chip45 src/OABR-Switch src/models src/cli src/FlashDlg " \
                  "src/window src/cli/CLIDialog src/Controls src/ConfigDlg src/FlashDlg/FlashPanel src/ConfigManager " \
                  "src src/programs src/programs/oabr", order, " ")
    for (i = 1; i <= count; ++i) floor[order[i]] = i
}
# The floor that a path stands on: its own entry, else that of its folder; lib/console is a room of lib.
function place(path,    file) {
    file = path
    sub(/\.(h|cpp)$/, "", file)
    if (file in floor) return file
    sub(/\/[^\/]*$/, "", file)
    if (file == "lib/console") return "lib"
    return file
}
function refuse(why) {
    printf "%s:%d: %s: %s\n", FILENAME, FNR, $2, why
    failed = 1
}
function system_header(name) {
    return match(name, /^<(wx|asio|libftdi1|libusb|tinyxml|windows|nlohmann|toml|CLI)/)
}
/^#include </ {
    from = place(FILENAME)
    if (from == "lib" && system_header($2)) refuse("the device library needs the standard library and threads only")
    if ((from == "src/platform" || from == "src/ftdi" || from ~ /^sim/) && $2 ~ /^<wx/) refuse("the toolkit begins at the host floor")
}
/^#include "/ {
    from = place(FILENAME)
    included = $2
    gsub(/"/, "", included)
    if (included == "oabr_version.h") next
    to = place(included)
    if (from ~ /^sim/) {
        if (to != "sim" && to != "lib") refuse("the simulated device uses the library and nothing else")
    } else if (!(from in floor)) {
        refuse("the folder " from " is on no floor")
    } else if (!(to in floor)) {
        refuse("the product includes what is no part of it")
    } else if (floor[to] > floor[from] || (from == "src/platform" && to == "lib")) {
        refuse(from " stands below " to)
    } else if (from == "src/ftdi" && to == "lib" && included != "lib/virtual_link.h") {
        refuse("the converter knows nothing of the device behind it")
    }
}
END { exit failed }
'
