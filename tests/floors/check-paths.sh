#!/bin/sh
# What README.md and docs/how-to.md name is there. Usage: check-paths.sh SOURCE_DIRECTORY
# Prints each path of the source tree that is not, and exits with 1 when there is one.
set -eu
cd "$1"
missing=0
for path in $(grep -oE '`(bench|docs|lib|packaging|resources|sim|src|tests|tools)/[^` ]*`' README.md docs/how-to.md | tr -d '\`' | sort -u); do
    found=0
    for match in ${path#*:}; do [ ! -e "$match" ] || found=1; done  # `FILE.*` is a pattern
    [ $found = 1 ] || { echo "$path: there is no such file"; missing=1; }
done
exit $missing
