#!/bin/sh
# Every source file is formatted as .clang-format says. Usage: check-format.sh SOURCE_DIRECTORY
# Each version of clang-format lays some lines out in another way, so one is pinned: Debian 12's. Prints what differs and
# exits with 1 when something does, or when that version is not at hand.
set -eu
cd "$1"
pinned=14

for format in "clang-format-$pinned" clang-format; do
    found=$("$format" --version 2>/dev/null) || found=
    case $found in
        *" version $pinned."*)
            find bench lib sim src tests tools -name '*.cpp' -o -name '*.h' |
                xargs -P 2 -n 16 "$format" --dry-run -Werror --ferror-limit=1 || {
                echo "'clang-format -i FILE' mends it" >&2
                exit 1
            }
            exit 0
            ;;
    esac
done
echo "the format is checked with clang-format $pinned, Debian 12's (tools/install-deps installs it there); found here: ${found:-none}" >&2
exit 1
