#!/usr/bin/env bash
# The names that the shared library shows, a Linux library or a DLL: symbols.sh LIBRARY prints them, symbols.sh LIBRARY LIST
# compares them with the list in the tree, and symbols.sh --list LINUX_LIBRARY DLL makes that list. A line of it holds for both
# systems, or begins with the one that it holds for.
#
# The integers are written by their sizes, the wide character as on Linux. Left out is what compilers add to a class (tables of
# operations, thunks) and instantiations of templates: which of them stand outside their callers is the optimiser's choice, and
# the standard library's are not ours.
set -euo pipefail
export LC_ALL=C

names()
{
    case $1 in
        *.dll)
            "${OBJDUMP:-x86_64-w64-mingw32-objdump}" -p "$1" |
                sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[.*\].* //p' | c++filt |
                sed -E '/operator<</!{s/\<long long\>/LONG LONG/g; s/\<unsigned long\>/unsigned int/g; s/\<long\>/int/g; s/LONG LONG/long long/g}'
            ;;
        *)
            nm -D --defined-only -C "$1" | cut -d ' ' -f 2- | grep -v '^[Wu] ' | cut -d ' ' -f 2- |
                sed -E '/operator<</!{s/\<long long\>/long/g; s/\<long\>/long long/g}'
            ;;
    esac
}

show()
{
    names "$1" | sed -E 's/\<wchar_t\>/char16_t/g; s/\<_(GUID|FILETIME)\>/\1/g' |
        grep -vE '^(typeinfo name|vtable|VTT|(non-)?virtual thunk|construction vtable|typeinfo for std::|covariant)' | sort -u
}

system()
{
    case $1 in *.dll) echo windows ;; *) echo linux ;; esac
}

shown=$(mktemp -d) # and not a process each, whose failure nobody would see
trap 'rm -r "$shown"' EXIT
if [ "$1" = --list ]; then
    show "$2" >"$shown/linux"
    show "$3" >"$shown/windows"
    comm "$shown/linux" "$shown/windows" | sed -E 's/^\t\t//; t; s/^\t/windows: /; t; s/^/linux: /'
    exit
fi
show "$1" >"$shown/names"
if [ $# = 1 ]; then
    cat "$shown/names"
elif ! sed -E "s/^$(system "$1"): //; /^(linux|windows): /d" "$2" | sort | diff -U 0 --label "$2" --label "$1" - "$shown/names"; then
    echo "symbols: the library shows other names than the list has. If they are meant, make the list anew: $0 --list"
    exit 1
fi
