#!/bin/sh
# Inverts a text matrix: every value v becomes MAXIMUM - v (255 unless given).
#
#     invert.sh INPUT OUTPUT [MAXIMUM]
#
# Comment lines and empty lines (which part the planes of a 3d matrix) are copied as they are.
# The Script node runs it as
#
#     sh "%ORVADIR%/examples/scripts/invert.sh" %IN0% %OUT0% 255
set -eu
if [ $# -lt 2 ] || [ $# -gt 3 ]; then
    echo "usage: invert.sh INPUT OUTPUT [MAXIMUM]" >&2
    exit 2
fi
# Nine significant digits keep every float of the matrix exact.
awk -v maximum="${3:-255}" -v CONVFMT=%.9g '
    /^#/ || NF == 0 { print; next }
    {
        line = ""
        for (i = 1; i <= NF; ++i) line = line (maximum - $i) " "
        print line
    }
' "$1" > "$2"
