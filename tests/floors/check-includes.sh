#!/bin/sh
# Includes go down the floors only. Usage: check-includes.sh SOURCE_DIRECTORY
# Prints every include that goes up and exits with 1 when there is one.
set -eu
cd "$1"
failed=0

# check FILES-PATTERN FORBIDDEN-PATTERN WHY
check() {
    hits=$(grep -rnE "^#include \"($2)" $1 || true)
    if [ -n "$hits" ]; then
        printf '%s:\n%s\n' "$3" "$hits"
        failed=1
    fi
}

check lib '(src|sim|tests|bench)/' 'The device library includes what stands above it'
check src/platform '(lib|src/[^p]|sim|tests|bench)' 'The platform floor includes what stands above or beside it'
check src/ftdi 'lib/|src/[^pf]|src/programs|src/[a-z]*\.h|sim/|tests/|bench/' 'The converter floor includes what stands above it'
check 'src/OABR-Switch src/Chip45' 'src/(Controls|ConfigDlg|programs)/|src/(MainFrame|Application|ConfigManager)|src/cli/CLIDialog|sim/|tests/' \
    'The host floor includes windows or programs'
check sim 'src/|tests/|bench/' 'The simulated device includes the tool'
check 'lib src' 'sim/|tests/|bench/' 'The product includes the simulator, tests or benchmarks'

system_headers=$(grep -rnE '^#include <(wx|asio|libftdi1|libusb|tinyxml|windows)' lib || true)
if [ -n "$system_headers" ]; then
    printf 'The device library needs more than the standard library and threads:\n%s\n' "$system_headers"
    failed=1
fi
wx_below=$(grep -rnE '^#include <wx/' src/platform src/ftdi || true)
if [ -n "$wx_below" ]; then
    printf 'Window toolkit below floor 3:\n%s\n' "$wx_below"
    failed=1
fi
exit $failed
