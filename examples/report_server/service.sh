#!/usr/bin/env bash
# What clients do to the example server as a service, and what must come of it: service.sh SERVER [KILLS]
set -uo pipefail
server=$(realpath "$1")
kills=${2:-3} # of servers under load
source=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
pid=
trap '[ -z "$pid" ] || kill -KILL $pid; rm -rf "$work"' EXIT
cd "$work"
failures=0
fail() { echo "service: $*" >&2; failures=$((failures + 1)); }

mkdir data
(echo place,n; seq -f 'here,%.0f' 3000) >data/t.csv
quick='report | anna | P | 1 | from t; measure count(*)'
endless="$quick; where (select count(*) from t a, t b, t c, t d) > 0"

# Starts a server, and waits until it listens.
start() # start OPTION...
{
    : >out
    "$server" --data data --listen 127.0.0.1:0 "$@" >out 2>log &
    pid=$!
    until grep -q listening out; do kill -0 $pid || { cat log >&2; exit 1; }; done
    url=$(sed -n 's/listening on \(.*\)\/$/\1/p' out)
}

# Ends it: it has to answer what it has accepted, and to tell of it in its exit code.
stop()
{
    local code=0
    kill -TERM $pid
    wait $pid || code=$?
    pid=
    [ $code = 0 ] || fail "SIGTERM: exit code $code: $(tail -n 3 log)"
}

# Both give the status, a blank, and the answer.
ask() { curl -s -m 20 -w '\n%{http_code}' "${@:2}" "$url$1" | awk 'NR > 1 {text = text last "\n"} {last = $0} END {print last " " text}'; }
post() { ask "/requests$1" -d "$2" "${@:3}"; }

# try NAME ANSWER COMMAND...: what the command gives begins with the answer, or, after a *, holds it.
try()
{
    local got
    got=$("${@:3}")
    case $2 in
        \**) [[ $got == *"${2:1}"* ]] ;;
        *) [[ $got == "$2"* ]] ;;
    esac || fail "$1: not \"$2\" in: ${got:0:1000}"
}

# --- Requests and results. ---

start --most-jobs 2 --step-time 60
try 'a request' '202 {"job":1,"href":"/jobs/1","result":"/requests/1"}' post '' "$quick"
try 'its result' $'200 count(*)\n--------\n    3000' ask '/requests/1?wait=10'
try 'a result that is waited for' $'200 count(*)' post '?wait=10' "$quick"
try 'JSON' '*3000' post '?wait=10' '{"kind": "report", "user": "a|b", "project": "P", "priority": 1,
    "body": "from t; measure count(*)", "language": "de"}' -H 'Content-Type: application/json'
wrong='report | anna | P | 1 | from x; measure count(*)'
try 'an error' '422 {"error":"SQL Generation of job' post '?wait=10' "$wrong"
try 'an error in German' '*ist fehlgeschlagen' post '?wait=10&lang=de' "$wrong"
try 'an error for a German browser' '*ist fehlgeschlagen' post '?wait=10' "$wrong" -H 'Accept-Language: fr, de-AT;q=0.9, en'
try 'no such request' 404 ask /requests/99
try 'no number' 404 ask /requests/1x
try 'nothing there' 404 ask /nothing
try 'no method' 405 ask /requests/1 -X PUT
for language in DE 'fr-CH, DE-at;q=0.5, en' '(, de'; do
    try "in German for $language" '*ist fehlgeschlagen' post '?wait=10' "$wrong" -H "Accept-Language: $language"
done
for user in '["b"]' true '"a\u0000b"'; do
    try "the user $user" '400 {"error":"the field \"user\" is no text"}' post '' \
        '{"kind": "report", "project": "P", "priority": 1, "body": "from t; measure count(*)", "user": '"$user}" \
        -H 'Content-Type: APPLICATION/json'
done
try 'what there is' '*Allow: GET, HEAD, DELETE' curl -si "$url/requests/1" -X PUT
for bad in 'nonsense' "$quick"$'\n'"$quick" 'chart | a | P | 1 | x' 'report | a | P | high | x' '' $'report | \x80 | P | 1 | from t'; do
    try "bad: $bad" '400 {"error":"' post '' "$bad"
done
try 'no language' 400 post '?lang=fr' "$quick"
try 'no such word' 400 post '?weight=10' "$quick"
try 'half a wish' 400 post '?cancel-when-gone=yes' "$quick"
try 'too long to wait' 400 post '?wait=601' "$quick"
try 'JSON without a field' '400 {"error":"the field \"user\" is missing"}' post '' '{"kind": "report"}' \
    -H 'Content-Type: application/json'

# Full, and a client that goes away.
gone() { curl -s -m 0.3 "$url/requests?wait=60&cancel-when-gone=$1" -d "$endless"; post '' "$endless" >/dev/null; }
last() { grep -o 'request [0-9]* info: received' log | tail -n 1 | grep -o '[0-9]*'; }
gone 1
try 'a client that is gone' '422 ' ask "/requests/$(($(last) - 1))?wait=10"
try 'why it was cancelled' '*its client has gone' ask "/jobs/$(($(last) - 1))"
try 'one that has left it' 202 post '' "$endless"
try 'full' '503 ' post '' "$quick"
try 'full: when to come again' '*Retry-After: 1' curl -si "$url/requests" -d "$quick"
try 'full: with a mailbox' '503 ' post '' "$quick; deliver to nobody"
[[ $(ask /mailboxes) != *nobody* ]] || fail 'full: a letter comes all the same'
try 'it still runs' 202 ask "/requests/$(($(last) - 3))?wait=1"
for number in $(curl -s "$url/jobs?ended=0" | grep -o '"id":[0-9]*,"parent"' | grep -o '[0-9]*'); do
    try "delete $number" '200 {"answer":"done"}' ask "/requests/$number" -X DELETE
    try "deleted $number" 422 ask "/requests/$number?wait=10"
done
try 'room again' 200 post '?wait=10' "$quick"

# Mailboxes take as much memory as they may, their names included.
long=$(head -c 60000 /dev/zero | tr '\0' n)
for n in {1..60}; do post '?wait=10' "$quick; deliver to $n$long" >/dev/null; done
letters() { ask /mailboxes | grep -c '^\(200 \)\?delivered to'; }
[ "$(letters)" -lt 40 ] || fail "$(letters) letters are kept"

# --- What isn't taken. ---

try 'a gigabyte' 413 post '' x -H 'Content-Length: 1073741824'
endless_body() { head -c 10000000 /dev/zero | ask /requests -T - -X POST; }
[[ $(endless_body) != 2* ]] || fail 'a body without an end is taken'
half() { local to=${url##*:}; printf "$1" >/dev/tcp/127.0.0.1/$to; }
half 'POST /requests HTTP/1.1\r\nHost: localhost\r\nContent-Length: 100\r\n\r\nreport | a'
half 'GET /requests/1 HT'
half '\r\n\0\xff'
try 'a path with dots' 400 ask /../../etc/passwd --path-as-is
try 'a path with other dots' 400 ask /requests/%2e%2e/jobs --path-as-is
try 'a foreign name' 403 ask /jobs -H 'Host: example.com'
try "another site's page" 403 post '' "$quick" -H 'Origin: http://example.com'
try 'a command of it' 403 ask /jobs/1/cancel -X POST -H 'Sec-Fetch-Site: cross-site'

# Markup comes as text, whatever it came by, and what does something to a terminal not at all.
mark='<script>alert(1)</script>'
post '?wait=10' "report | $mark | $mark | 1 | from $mark; measure count(*); deliver to $mark"$'\e[31m' >/dev/null
for path in / /jobs "/jobs/$(last)" "/jobs/$(last)/dump" "/requests/$(last)" /mailboxes /metrics /trace /timeline; do
    got=$(curl -si "$url$path")
    ! [[ $got == *'text/html'* && $got == *"$mark"* ]] && [[ $got == *'X-Content-Type-Options: nosniff'* && $got != *$'\e'* ]] ||
        fail "markup at $path: ${got:0:500}"
done

# --- Commands from a shell. ---

ctl() { "$server" ctl --server "$url" "$@" 2>&1; echo "code $?"; }
try 'ctl list' '*anna' ctl list
try 'ctl submit' '*code 0' ctl submit "$quick"
try 'ctl submit an error' '*code 1' ctl submit "$wrong"
post '' "$endless" >/dev/null
try 'ctl show' '*Query Execution' ctl show "$(last)"
try 'ctl time' '*code 0' ctl time "$(last)" 60
try 'ctl pause a report' '*code 1' ctl pause "$(last)"
try 'ctl cancel' "*code 0" ctl cancel "$(last)" 'nobody wants it'
try 'a request that was cancelled' 422 ask "/requests/$(last)?wait=10"
try 'ctl cancel: why' '*nobody wants it' ctl show "$(last)"
try 'ctl cancel again' '*code 1' ctl cancel "$(last)"
try 'ctl usage' '*code 2' ctl cancel
try 'ctl: nobody there' '*code 2' ctl --server http://127.0.0.1:1 list
! LC_ALL=C grep -qP '[\x00-\x08\x0b-\x1f]' log || fail 'control characters in the log'
stop

# --- Tokens. ---

echo 0123456789abcdef0123 >token
start --token-file token
try 'without a token' 401 ask /jobs
try 'with a wrong one' 401 ask /jobs -H 'Authorization: Bearer x'
try 'with it' 200 post '?wait=10' "$quick" -H "Authorization: Bearer $(cat token)"
try 'the page is open' 200 ask /
try 'ctl with it' '*1 of 1 jobs' ctl --token-file token list
! tr '\0' ' ' </proc/$pid/cmdline | grep -q "$(cat token)" || fail 'everybody sees the token'
stop
! timeout 10 "$server" --data data --listen 0.0.0.0:0 >out 2>&1 || fail 'it listens to everybody without a token'

# --- The requests on record. ---

mv data small && ln -s "$source/data" data
start --requests "$source/requests.txt"
for number in $(seq "$(grep -c '^\[' "$source/expected.txt")"); do
    grep -F "[$number] " "$source/expected.txt" | head -n 1
    echo
    ask "/requests/$number?wait=30" | sed '1{s/^200 //; /^422 /{s/^422 {"error":"\(.*\)"}$/error: \1/; s/\\"/"/g}}'
    echo
done >answers
curl -s "$url/mailboxes" >>answers
diff <(head -n -1 "$source/expected.txt") <(cat -s answers) >differences || fail "other answers: $(head -n 20 differences)"
stop
rm data && mv small data

# --- Ends. ---

# What waits gets its answer, and what comes later is told to go elsewhere.
start --step-time 2
post '?wait=20' "$endless" >waited &
waiter=$!
until [ "$(last)" = 1 ]; do :; done
post '' "$quick" >/dev/null
kill -TERM $pid
until grep -q 'no request is taken' log; do :; done
try 'while it drains' '503 ' post '' "$quick"
try 'a result while it drains' '200 ' ask '/requests/2?wait=10'
wait $waiter
grep -q '^422 .*longer than a step may take' waited || fail "a client that waits: $(cat waited)"
wait $pid || fail 'drained, but not with exit code 0'

# Under load: each request that got a number has one answer, and its client got that.
client() # client N
{
    local n=0 code
    while [ -e loaded ]; do
        n=$((n + 1))
        if [ $(($1 % 2)) = 0 ]; then
            code=$(curl -s -o /dev/null -w '%{http_code}' -d "$quick" "$url/requests?wait=30")
        else
            number=$(curl -s -D - -o /dev/null -d "$quick" "$url/requests" | tr -d '\r' | sed -n 's/Location: //p')
            code=none
            [ -z "$number" ] || code=$(curl -s -o /dev/null -w '%{http_code}' "$url$number?wait=30")
        fi
        echo "$code"
    done >"codes.$1"
}
for kill in $(seq "$kills"); do
    start
    touch loaded
    for n in 1 2 3 4; do client $n & clients[n]=$!; done
    until [ "$(last)" -ge $((20 + RANDOM % 50)) ] 2>/dev/null; do :; done
    stop
    rm loaded
    wait "${clients[@]}"
    received=$(grep -c ': received' log)
    answered=$(grep ': answered' log | cut -d ' ' -f 5 | sort -u | wc -l)
    results=$(cat codes.* | grep -c 200)
    refused=$(grep -c 'is refused' log)
    [ "$(grep -c ': answered' log)" = "$answered" ] || fail "answered twice: $(grep ': answered' log | cut -d ' ' -f 5 | sort | uniq -d)"
    [ $((results + refused)) = "$received" ] && [ "$answered" = "$received" ] ||
        fail "kill $kill: $received received, $refused refused, $answered answered, $results results"
done

# --- Load. ---

# Once it has kept as much as it keeps, it grows no more.
start
echo "$quick" >line
load() { ab -q -k -n "$1" -c 8 -p line -T text/plain "$url/requests?wait=30" >ab.txt 2>&1; grep -q 'Complete requests: *'"$1" ab.txt && ! grep -q 'Non-2xx' ab.txt || fail "load: $(cat ab.txt)"; }
memory() { grep -o '[0-9]*' <<<"$(grep VmRSS /proc/$pid/status)"; }
load 24000
before=$(memory)
load 48000
after=$(memory)
[ "$after" -lt $((before + before / 10)) ] || fail "memory grows: $before kB, and after twice as many requests $after kB"
try 'a result that is gone' 410 ask /requests/1
stop

[ $failures = 0 ] || exit 1
echo "service: all went as it should"
