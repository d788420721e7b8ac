#!/usr/bin/env bash
# Starts the example server as a service and tests what it shows: run.sh SERVER FOLDER. The folder gets the browser's
# pictures, the accessibility checker, and what the server logs.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
server=$1
folder=$2
mkdir -p "$folder"

axe=axe-core@4.10.2
if [ ! -e "$folder/package/axe.min.js" ]; then
    (cd "$folder" && npm pack --silent "$axe" && tar xzf axe-core-*.tgz package/axe.min.js)
fi

mkfifo "$folder/line" 2>/dev/null || [ -p "$folder/line" ]
"$server" --data examples/report_server/data --listen 127.0.0.1:0 >"$folder/line" 2>"$folder/log" &
pid=$!
trap 'kill -KILL $pid 2>/dev/null || true' EXIT
read -r -t 60 line <"$folder/line"
url=${line#listening on }

python3 tests/web/forms_test.py "$url" tests/monitor/schema
python3 tests/web/page_test.py "$url" "$folder/package/axe.min.js" "$folder"

kill -TERM $pid
wait $pid
trap - EXIT
echo "web: all as it should be; the pictures are in $folder"
