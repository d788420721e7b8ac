#!/usr/bin/env bash
# The symbols that the shared library shows: symbols.sh LIBRARY prints them, symbols.sh LIBRARY LIST compares them with the
# list in the tree. Left out are instantiations of templates: which of them stand outside their callers is the optimiser's
# choice, and the standard library's are not ours.
set -euo pipefail
export LC_ALL=C

show()
{
    nm -D --defined-only -C "$1" | cut -d ' ' -f 2- | grep -v '^[Wu] ' | cut -d ' ' -f 2- |
        grep -vE '^((typeinfo|typeinfo name|vtable|VTT) for )?std::' | sort -u
}

if [ $# = 1 ]; then
    show "$1"
elif ! diff -U 0 --label "$2" --label "$1" "$2" <(show "$1"); then
    echo "symbols: the library shows other symbols than the list has. If they are meant: $0 $1 >$2"
    exit 1
fi
