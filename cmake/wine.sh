#!/usr/bin/env bash
# Runs a Windows program under Wine, without a display, in a Windows of its own below build/: wine.sh PROGRAM [ARGUMENT]...
# wine.sh --end ends what runs there.
set -euo pipefail
if [ $# = 0 ]; then
    echo "usage: wine.sh PROGRAM [ARGUMENT]... | --end" >&2
    exit 2
fi
wine=/usr/lib/wine
home=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")/build/wine
export WINEPREFIX=$home/prefix WINEDEBUG=-all,err+module WINEDLLOVERRIDES=mscoree,mshtml=
export WINEDLLPATH=$home # the system's libraries for programs of 32 bits, see ./dev

# Its output and its hold on the lock would outlast it, with the server and the services that it starts.
quietly()
{
    "$@" </dev/null >/dev/null 2>&1 9>&-
}

end()
{
    quietly "$wine/wineserver" -k || true
    quietly "$wine/wineserver" -w
}

mkdir -p "$home"
exec 9>"$home/lock"
flock 9
if [ "$1" = --end ]; then
    [ ! -d "$WINEPREFIX" ] || end
    exit 0
fi

# A Windows is made once. Its first run is left with services half set up.
if [ ! -e "$home/made" ]; then
    [ ! -d "$WINEPREFIX" ] || end
    rm -rf "$WINEPREFIX"
    mkdir "$WINEPREFIX"
    quietly "$wine/wine64" wineboot -i
    end
    touch "$home/made"
fi
# The services start before the first program. The server ends when nothing has run for five minutes; its code is 2 when
# it was there already.
if quietly "$wine/wineserver" -p300; then
    quietly "$wine/wine64" wineboot -i
fi
exec 9>&-

# What a program starts in its Windows, the desktop for instance, may outlast it: the reader of a pipe would wait for that.
if [ ! -p /dev/stdout ]; then
    exec "$wine/wine64" "$@"
fi
written=$(mktemp -d)
trap 'rm -r "$written"' EXIT
for try in 1 2 3; do
    code=0
    "$wine/wine64" "$@" >"$written/output" 2>"$written/errors" || code=$?
    # Once in some thousands of times Wine doesn't start a program, and says so or nothing at all.
    if [ $code = 0 ] || { [ -s "$written/output" ] || [ -s "$written/errors" ]; } &&
        ! grep -qs '^ShellExecuteEx failed' "$written/output" "$written/errors"; then
        break
    fi
    echo "wine.sh: Wine failed to start $1, code $code (attempt $try)" >&2
done
cat "$written/output"
cat "$written/errors" >&2
exit $code
