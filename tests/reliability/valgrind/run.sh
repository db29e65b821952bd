#!/bin/sh
# Runs every test program of a build directory, and the fuzz replay programs
# on their seed corpora, under valgrind memcheck, two at a time: any memory
# error or leak fails, except the suppressions in memcheck.supp.
# Usage: run.sh BUILD_DIR [JOBS]. Logs go to BUILD_DIR/valgrind.
set -eu
build=$(cd "$1" && pwd)
jobs=${2:-2}
here=$(cd "$(dirname "$0")" && pwd)
src=$(cd "$here/../../.." && pwd)
logs=$build/valgrind
rm -rf "$logs"
mkdir -p "$logs"

list=$logs/programs
: > "$list"
for p in "$build"/tests/test_*; do
  [ -x "$p" ] && echo "$p" >> "$list"
done
for p in "$build"/fuzz/fuzz_*; do
  [ -x "$p" ] && echo "$p $src/fuzz/corpus/${p##*/fuzz_}" >> "$list"
done

# memcheck watches the C allocator: blocks kept in the library's own pool
# would hide both misuse and leaks from it, so the pool stays off here.
VNKUTI_MEM=plain
export VNKUTI_MEM

status=0
xargs -P "$jobs" -L 1 sh "$here/memcheck-one.sh" "$here/memcheck.supp" "$logs" < "$list" > "$logs/summary" || status=1
sort "$logs/summary"
echo "$(grep -c '^ok' "$logs/summary") programs clean, $(grep -c '^FAIL' "$logs/summary") failed"
exit $status
