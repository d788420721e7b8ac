#!/usr/bin/env bash
# What hostile users have done to the example server, and what must come of it: hostile.sh SERVER
set -uo pipefail
export server=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# One request, and the server on the small data of this test; r.txt is there in every case.
ask() { printf 'report | anna | P | 1 | %s\n' "$1" >r.txt; }
serve() { "$server" --data data --requests r.txt --results-only "$@"; }
export -f ask serve

# try NAME EXIT_CODE TEXT COMMANDS: what these print, errors included, holds the text ("" nothing, "!text" not the text).
try()
{
    local output code=0
    rm -rf "$work/case"
    mkdir -p "$work/case/data"
    cd "$work/case"
    printf 'place,n\nhere,1\nthere,2\n' >data/t.csv
    ask 'from t; measure count(*)'
    output=$(timeout -s KILL 20 bash -c "$4" 2>&1) || code=$?
    if [ $code = "$2" ]; then
        case $3 in
            !*) [[ $output != *"${3:1}"* ]] ;;
            *) [[ $output == *"$3"* ]] ;;
        esac && return
    fi
    echo "hostile: $1: exit code $code instead of $2, or not \"$3\" in: ${output:0:2000}" >&2
    failures=$((failures + 1))
}

# Outputs spare what is in use, and what they replace until they are whole.
try 'dump over the requests' 2 'in use as r.txt' 'serve --dump r.txt'
try 'dump over the requests, by a link' 2 'in use as r.txt' 'ln r.txt link; serve --dump link'
try 'metrics over the data' 2 'in use as data/t.csv' 'serve --metrics data/../data/t.csv'
try 'two outputs, one new file' 2 'in use as x' 'serve --dump x --trace "$PWD/x"'
try 'dump over standard output' 2 'in use as /dev/stdout' 'serve --dump out >out'
try 'the requests are still there' 2 'measure' 'serve --dump r.txt; code=$?; cat r.txt; exit $code'
try 'a start that fails' 2 'old' 'echo old >d; serve --dump d --trace no/where; code=$?; cat d; exit $code'
try 'nothing but whole files are left' 0 '!part' 'serve --dump d --trace t --metrics m && [ -s d -a -s t -a -s m ] && ls'
try 'a pipe is written to' 0 'JobId: 1' 'mkfifo p; cat p >c & serve --dump p && wait && cat c'
try 'a link in place of the new file' 2 'old' "echo old >v
    bash -c 'ln -s v d.part-\$\$; exec \"\$server\" --data data --requests r.txt --dump d'; code=\$?; cat v; exit \$code"
try 'modes' 0 '604 640' 'umask 027; echo >d; chmod 604 d; serve --dump d --trace t; echo $(stat -c %a d t)'
try 'a file without a name' 2 "can't be written" 'exec 5>x; rm x; serve --dump /dev/fd/5'

# Without standard streams nothing gets into the files.
try 'results in the dump' 0 '!-----' 'serve --dump d <&- >&- 2>&-; code=$?; cat d; exit $code'

# A request without a result tells in the exit code, also one whose error is delivered, or a document's.
try 'an error' 1 'error: ' 'ask "from nothing; measure count(*)"; serve'
try 'an error that is delivered' 1 'error: ' 'ask "from nothing; measure count(*); deliver to b"; serve'
try 'an error in a document' 1 'error: ' \
    'echo "document | a | P | 1 | from t; measure count(*) & from x; measure count(*)" >r.txt; serve'

# A total that no number can hold is an error.
big='printf "place,n\nhere,9223372036854775807\nthere,9223372036854775807\n" >data/t.csv; serve'
ask_total='ask "from t; measure sum(n); by place; with share, total"'
try 'a whole total' 1 'the total of sum(n) is too large' "$ask_total; $big"
try 'a real total' 1 'the total of sum(n) is too large' "$ask_total; ${big//9223372036854775807/1e308}"
try 'a total that nobody asks for' 0 '9223372036854775807' "ask 'from t; measure sum(n); by place'; $big"
try 'a total that comes back' 0 '9223372036854775803' \
    "$ask_total; printf 'place,n\na,9223372036854775807\nb,1\nc,-5\n' >data/t.csv; serve"

# A request reads its own table, within limits, and does nothing else.
large='printf "s\nsecret\n" >data/u.csv; (echo place,n; seq -f "p,%.0f" 3000) >data/t.csv'
where() { try "where $1" 1 "$2" "$large; ask \"from t; measure count(*); where $1\"; ${3:-serve}"; }
endless='(select count(*) from t a, t b, t c, t d) > 0'
where '(select count(*) from u) > 0' 'may read its own table'
where '(select max(s) from u) > 0' 'may read its own table'
where '(select count(*) from sqlite_master) > 0' 'may read its own table'
where '[ and \"] = 1) union select s from u --\" = 1' 'a condition takes no ['
where '1=1 --' 'a condition takes no --'
where "n = \\\$a(') ) union select n from t where (n <> \\\$a(')" 'a condition takes no $'
try 'its own table in capitals' 0 '       2' "ask 'from t; measure count(*); where (select count(*) from T) > 0'; serve"
where 'length(randomblob(900000000)) > 0' 'not authorized to use function'
where "$endless" 'longer than a step may take' 'serve --step-time 1'
where '(select max(x) from (select a.n x from t a, t b order by a.n || b.n)) > 0' 'more memory than the server has' \
    'serve --job-memory 1'
doubled="with c0 as (select 'aaaaaaaaaaaaaaaa' s)"
for i in {1..16}; do doubled+=", c$i as materialized (select s||s s from c$((i - 1)))"; done
where "($doubled select count(*) from t a, t b, c16 where a.n||s like '%aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab') > 0" 'too big'
try 'a document of many reports' 0 '9999 completed' \
    'ulimit -v 1500000; (printf "document | a | P | 1 | from t; measure count(*)"; for i in {2..9998}; do
     printf " & from t; measure count(*)"; done) >r.txt; serve | tail -n 1'
both="ask \"from t; measure count(*); where $endless\"; cat r.txt >both; ask 'from t; measure count(*)'; cat r.txt >>both"
order='--data data --requests both --step-time 1 | grep -o "^\[.\]" | tr -d "\n"'
try 'results as they come' 0 '[2][1]' "$large; $both; \"\$server\" $order"
try 'results to compare' 0 '[1][2]' "$large; $both; \"\$server\" --results-only $order"

# What does something to a terminal reaches neither it, nor the log, nor a file; columns stand below each other.
esc=$'\e[31m\x9b\xc2\x9b\xe2\x80\xae'
nasty="mv data/t.csv \"data/t$esc.csv\"; echo \"report | a$esc | p$esc | 1 | from x$esc; deliver to b$esc\" >r.txt
    (cat r.txt; echo \"$esc | 1\"; echo \"sql | a | p | 1 | from t$esc; measure count(*); where n = 1 or '$esc' = ''\") >>r.txt
    QORJOB_LOG=all \"\$server\" --data data --requests r.txt --dump d >all 2>&1"
try 'control characters' 0 'a�[31m���' "$nasty; cat d >>all; ! LC_ALL=C grep -P '[\\x00-\\x08\\x0b-\\x1f\\x9b]|\\xe2\\x80\\xae' all && cat all"
try 'wide characters' 0 $'e\u0301a            1\n漢字          2\n' \
    'printf "place,n\n漢字,1\n漢字,1\ne\u0301a,1\n" >data/t.csv; ask "from t; measure count(*); by place"; serve'
try 'a wide cell' 0 'xxx…       1' \
    'printf "%0300d" 0 | tr 0 x >>data/t.csv; ask "from t; measure sum(n); by place"; sed -i "s/x$/x,1/" data/t.csv; serve'
try 'a cell of marks' 0 '' '(echo place,n; printf e; yes ́ | head -n 30000 | tr -d "\n"; echo ,1) >data/t.csv
    ask "from t; measure count(*); by place"; [ $(serve | wc -c) -lt 3000 ]'

# Data files have all their rows, or are refused.
data() # data NAME EXIT_CODE TEXT COMMANDS_THAT_MAKE_THE_FILE
{
    try "data: $1" "$2" "$3" "ask 'from t; measure count(*), sum(n)'; (${4}) >data/t.csv; serve"
}
data 'a byte order mark' 0 '2       3' 'printf "\xEF\xBB\xBFn,m\n1,a\n2,b\n"'
data 'none, but its first byte' 1 'it has ａ' 'printf "ａ,m\n1,a\n"'
data 'CR line ends' 0 '2       3' 'printf "n,m\r1,a\r2,b\r"'
data 'all line ends' 0 '3       6' 'printf "\r\nn,m\r\n\n1,a\n\r2,\"\n\"\r\n3,c"'
data 'empty cells of one column' 0 '4       3' 'printf "n\n1\n\n2\n\n"'
data 'UTF-16' 2 't.csv:1: a zero byte' 'printf "n\0,\0m\0\n\0"'
data 'a large cell' 2 't.csv:2: a field of more than' 'echo n; head -c 100000000 /dev/zero | tr "\0" x'
try 'a long heading' 0 '       2' \
    '(for i in a b c; do head -c 60000 /dev/zero | tr "\0" $i; echo -n ,; done; echo n; echo 1,2,3,4) >data/u.csv; serve'
data 'a quote' 2 't.csv:3: a quote is not closed' 'printf "n\r1\r\"x\r"'
data 'a device' 2 'no regular file' 'ln -sf /dev/zero data/u.csv; echo n'
data 'a pipe' 2 'no regular file' 'mkfifo data/u.csv; echo n'
try 'requests without an end' 2 'a line is longer' '"$server" --data data --requests /dev/zero'

# The command line.
try 'name=value' 0 '1 completed' '"$server" --data=data --requests=r.txt'
try 'an option without its value' 2 '--data needs a value' '"$server" --requests=r.txt --data'
try 'a value too many' 2 '--watch takes no value' 'serve --watch=1'
try 'an option twice' 2 '--threads is given twice' 'serve --threads 1 --threads=1'
try 'a number' 2 '--threads: a number from 1 to 64 is needed, not "0"' 'serve --threads 0'
try 'an option that there is not' 2 'unknown option --dumb' 'serve --dumb=x'
try 'no request file' 2 'No such file or directory' '"$server" --data data --requests no.txt'
try 'a directory of requests' 2 'Is a directory' '"$server" --data data --requests data'
try 'an output nowhere' 2 'no/where can' 'serve --trace no/where 2>&1 | grep "No such file or directory"; exit ${PIPESTATUS[0]}'
try 'help' 0 'usage: ' '"$server" -h --data'
try 'help is not wide' 1 '' '"$server" --help | grep -E "^.{101}"'
try 'help on a full disk' 1 "can't be written" '"$server" --help >/dev/full'
try 'results on a full disk' 1 "can't be written" 'serve >/dev/full'
try 'a reader that goes away' 1 "standard output can't be written" \
    'mkfifo p; : <p & exec 3>p; wait; serve >&3'

# Signals end the jobs and leave whole files: 128 more than their number.
for signal in INT TERM HUP; do
    try "SIG$signal" $((128 + $(kill -l $signal))) 'JobId: 1' "$large; ask 'from t; measure count(*); where $endless'
        env --default-signal=INT,HUP \"\$server\" --data data --requests r.txt --watch --dump d >w & pid=\$!
        until grep -q 'Query Execution' w; do :; done; kill -$signal \$pid; wait \$pid; code=\$?; cat d; exit \$code"
done
try 'a signal while a pipe has no reader' 130 '' 'mkfifo p
    env --default-signal=INT "$server" --data data --requests r.txt --dump p & pid=$!
    until [ "$(readlink /proc/$pid/exe)" = "$server" ] && grep -q "^State:.S" /proc/$pid/status; do :; done
    kill -INT $pid; wait $pid'

try 'a server that is killed' 137 'old' "$large; ask 'from t; measure count(*); where $endless'; echo old >d
    \"\$server\" --data data --requests r.txt --watch --dump d >w & pid=\$!
    until grep -q 'Query Execution' w; do :; done; kill -KILL \$pid; wait \$pid; code=\$?; cat d; exit \$code"

# Typed commands are answered.
typed() { echo "$large; ask 'from t; measure count(*); where $endless'; printf '$1' >keys
    script -qec '\"\$server\" --data data --requests r.txt' /dev/null <keys"; }
try 'typed for nobody' 1 'cancel 99: there is no such job' "$(typed 'cancel 99\ncancel 1\n')"
try 'typed for a step of nobody' 1 'at 4 of 99: there is no such job' "$(typed 'cancel 1 at 4 of 99\ncancel 1\n')"
try 'typed and done' 1 'cancel 1: done' "$(typed 'cancel 1\n')"

[ $failures = 0 ] || exit 1
echo "hostile: all cases went as they should"
