#!/bin/sh
# program_test.sh PROGRAM EXAMPLES: the program as its users run it.
set -u
program=$1
examples=$2
log=$examples/esbc-2020-06-25-3h.zelt
dir=$(mktemp -d)
trap 'chmod -R u+w "$dir"; rm -rf "$dir"' EXIT
cd "$dir" || exit 1
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# expect STATUS OUT ERR ARGUMENTS...: runs the program; OUT and ERR are what it must print.
expect() {
    status=$1 out=$2 err=$3
    shift 3
    "$program" "$@" >out 2>err
    got=$?
    [ $got -eq "$status" ] || fail "status $got, not $status: $*"
    [ "$(cat out)" = "$out" ] || fail "standard output of $*: $(cat out)"
    [ "$(cat err)" = "$err" ] || fail "standard error of $*: $(cat err)"
}

none="No CGGTTS files were created"
leap="!! Leap second cannot be determined.  Use -ls option to set it manually."
: >empty
head -c 5000 /dev/zero | tr '\0' '$' >garbage
expect 3 "" "!! Argument -f is mandatory.  Use -h option for help."
expect 3 "" 'The Zelt file "absent" could not be opened for reading: No such file or directory' -f absent
expect 3 "" "$leap" -f empty
expect 3 "" "$leap" -fgarbage
expect 0 "$none" "" -f empty -ls 18 -px 1
expect 0 "$none" "" -f garbage -ls 18 -px 1
expect 0 "$none" "" -f "$log" -ls 18 -xGREC
expect 0 "zelt2cggtts-1.3.3" "" -V
mkdir GZ____59.025
expect 1 "" 'The GPS output file "GZ____59.025" could not be opened for writing: Is a directory' -f "$log" -ls 18
rmdir GZ____59.025
expect 0 "Created following CGGTTS files:GZ____59.025" "" -f "$log" -ls 18 -xREC

# An input that cannot seek is never converted in part, nor waited for; a fault of reading is not the end of the log.
fault() { printf 'Abnormal program termination (..\\fw\\fw\\gen\\utils\\zeltdata\\src\\zeltread.cpp,%s): %s' "$1" "$2"; }
mkdir empty-handed folder
mkfifo fifo
cat "$log" | (cd empty-handed && "$program" -f /dev/stdin -ls 18 >../out 2>../err)
[ $? -eq 1 ] && [ "$(cat err)" = "$(fault 421 'Illegal seek')" ] || fail "a pipe: $(cat err)"
timeout 10 "$program" -f fifo -ls 18 >out 2>err
[ $? -eq 1 ] && [ "$(cat err)" = "$(fault 421 'Illegal seek')" ] || fail "a FIFO without a writer: $(cat err)"
expect 1 "" "$(fault 275 'Is a directory')" -f folder
if [ -r /proc/self/mem ]; then
    expect 1 "" "$(fault 275 'Input/output error')" -f /proc/self/mem -ls 18
fi
rmdir empty-handed || fail "files of an input that cannot seek"

mkdir example
"$examples/convert" "$program" example >out || fail "examples/convert"
diff -r "$examples/expected" example || fail "the example's files differ"

# The compact log of the same measurements: the same lines but for last digits, as its delta slaves have codes that are
# off the millimetres of the verbose log by up to half of one, which tips a few roundings.
mkdir verbose compact
(cd verbose && "$program" -f "$log" -ls 18 >/dev/null) || fail "the verbose log"
(cd compact && "$program" -f "${log%.zelt}-meas3.zelt" -ls 18 >/dev/null) || fail "the compact log"
differing=$(diff -r verbose compact | grep -c '^[<>]')
[ "$(ls verbose)" = "$(ls compact)" ] && [ "$differing" -le 16 ] || fail "the compact log: $differing lines differ"

# The indicator: an empty line, redraws in place about once per percent, blanked at the end.
"$program" -f "$log" -ls 18 -xREC -v >out
[ "$(head -c 15 out | od -An -c | tr -d ' \n')" = '\n\rProcessing:|' ] ||
    fail "progress begins: $(head -c 20 out | od -An -c)"
redraws=$(tr '\r' '\n' <out | grep -c '^Processing: |[=-]* *| [ 0-9][0-9]%$')
tr '\r' '\n' <out | grep -qE '^Processing: \|={31}-? {30,31}\| 50%$' || fail "the bar at half"
[ "$redraws" -ge 90 ] && [ "$redraws" -le 100 ] || fail "$redraws redraws"
tr '\r' '\n' <out | grep '^Processing' | grep -qvE '^.{80}$' && fail "an indicator line is not 80 wide"
[ "$(tail -n 1 out)" = "Created following CGGTTS files:GZ____59.025" ] || fail "summary after progress"

# Closed standard streams: no file takes the place of one and with it what is printed, be it progress or a message.
mkdir blocked blocked/RZ____59.025
for streams in '<&-' '>&-' '2>&-' '<&- >&-' '<&- 2>&-' '>&- 2>&-' '<&- >&- 2>&-'; do
    rm -rf closed blocked/G*
    mkdir closed
    (cd closed && eval "\"\$program\" -f \"\$log\" -ls 18 -v $streams") >out 2>err || fail "status with $streams"
    diff -r verbose closed || fail "files with $streams"
    (cd blocked && eval "\"\$program\" -f \"\$log\" -ls 18 $streams") >out 2>err && fail "no failure with $streams"
    # Of the file that was open when the program ended, the beginning.
    cmp verbose/GZ____59.025 blocked/GZ____59.025 2>&1 | grep -q 'EOF on blocked' || fail "cut file with $streams"
done

[ $failures -eq 0 ]
