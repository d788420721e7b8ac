#!/usr/bin/env bash
# Tests what the example server shows as a service: run.sh SERVER FOLDER. The folder gets the browser's pictures, the
# accessibility checker, and what the server logs.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
server=$1
folder=$2
mkdir -p "$folder"
rm -f "$folder"/{*.png,log}

axe=axe-core@4.10.2
if [ ! -e "$folder/$axe.js" ]; then
    if ! (cd "$folder" && npm pack --silent --loglevel error --fetch-retries 1 "$axe" >axe.name); then
        echo "web: npm can't fetch $axe, which tests whether everybody can use the page: does it reach its registry?" >&2
        exit 1
    fi
    tar xzOf "$folder/$(cat "$folder/axe.name")" package/axe.min.js >"$folder/axe.new"
    mv "$folder/axe.new" "$folder/$axe.js"
fi

# In the background, so that a signal to this script ends the test and what that has started.
pid=
trap '[ -z "$pid" ] || { kill $pid; wait $pid; } 2>/dev/null || true' EXIT
try()
{
    /usr/bin/python3 -B "$@" & # Debian's, which has the packages
    pid=$!
    wait $pid
    pid=
}
try tests/web/forms_test.py "$server" tests/monitor/schema "$folder/log"
try tests/web/page_test.py "$server" "$folder/$axe.js" "$folder"
echo "web: all as it should be; the pictures are in $folder"
