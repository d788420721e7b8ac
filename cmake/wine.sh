#!/usr/bin/env bash
# Runs a Windows program under Wine, without a display, in a Windows of its own below build/: wine.sh PROGRAM [ARGUMENT]...
# wine.sh --end ends what runs there.
set -euo pipefail
wine=/usr/lib/wine
home=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")/build/wine
export WINEPREFIX=$home/prefix WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
export WINEDLLPATH=$home # the system's libraries for programs of 32 bits, see ./dev
runtime=(/usr/lib/gcc/i686-w64-mingw32/*-posix /usr/i686-w64-mingw32/lib) # the compiler's, for those programs
export WINEPATH="${WINEPATH:+$WINEPATH;}${runtime[0]};${runtime[1]}"

if [ "$1" = --end ]; then
    [ ! -d "$WINEPREFIX" ] || "$wine/wineserver" -k || true
    exit 0
fi

# The server and the services start first, with their output to nowhere: a program's output would stay open with them.
# The server's code is 2 when it is there already; it ends when nothing has run for five minutes.
mkdir -p "$WINEPREFIX"
exec 9>"$home/lock"
flock 9
if "$wine/wineserver" -p300 </dev/null >/dev/null 2>&1 9>&-; then
    "$wine/wine64" wineboot -i </dev/null >/dev/null 2>&1 9>&-
fi
exec 9>&-
exec "$wine/wine64" "$@"
