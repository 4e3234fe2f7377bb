#!/bin/sh
# large_file_test.sh LOG PROGRAM...: a log whose first block is followed by so many zeros that the 4 GiB mark of the
# file lies amid the others is converted as it is without them. (The first block, the receiver's setup, is looked for
# in a pass of its own.)
# Exit status 77: the file system has no room for the file or does not keep it sparse.
set -u
log=$(realpath "$1")
shift
# Holes of a file in memory are read without being filled first, which takes most of the time elsewhere.
dir=$(mktemp -d -p /dev/shm 2>/dev/null || mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT
trap 'exit 1' HUP INT TERM
cd "$dir" || exit 1

skip() {
    echo "SKIPPED: $*"
    exit 77
}

size=$(wc -c <"$log")
first=$(od -An -tu2 -j6 -N2 "$log" | tr -d ' ')
[ "$(df -Pk . | awk 'NR == 2 { print $4 }')" -gt $((size / 512)) ] || skip "no room"
head -c "$first" "$log" >large
truncate -s $(((4 << 30) - size / 2)) large || skip "the file system refuses a file of 4 GiB"
[ "$(du -k large | cut -f1)" -lt 1024 ] || skip "the file system does not keep the file sparse"
tail -c +$((first + 1)) "$log" >>large || skip "the file system refuses a file beyond 4 GiB"

mkdir alone behind
(cd alone && "$@" -f "$log" -ls 18 >../alone.out) || exit 1
(cd behind && "$@" -f ../large -ls 18 >../behind.out) || exit 1
[ -n "$(ls alone)" ] || exit 1
diff alone.out behind.out && diff -r alone behind
