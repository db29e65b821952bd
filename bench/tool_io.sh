#!/bin/bash
# vnkuti msf get and put of one large section, timed against the plain I/O
# they have to do, in the same run. Run by hand (it writes several GiB):
#
#   bench/tool_io.sh [TOOL] [MIB] [DIR] [REPS]     (VERBOSE=1: every time, in us)
#
# TOOL defaults to build/release/tools/vnkuti/vnkuti, MIB (the section size)
# to 1024, DIR (where the files go) to $TMPDIR or /tmp, REPS to 8. Prints a
# Markdown table: median wall time of each command, its ratio to the
# baseline, and the peak resident memory (GNU time's %M) beside the size.
# Commands and baselines alternate within each repetition, in an order that
# rotates from one repetition to the next, so that a busy machine slows both
# alike; medians take out the worst of it.
#
#   get      vnkuti msf get FILE S > OUT        against  cat IN > OUT
#   get -o   vnkuti msf get FILE S -o OUT       against  cat IN > OUT
#   get null vnkuti msf get FILE S > /dev/null  against  cat IN > /dev/null
#   put      vnkuti msf put FILE S -i IN        against  dd IN -> STAGE (fsync), dd STAGE -> DATA
#   put <    vnkuti msf put FILE S < IN         against  the same
# The put baseline is the I/O a save must do: read the input, write and
# flush the staging file, copy it over the data file.
set -eu

TOOL=${1:-build/release/tools/vnkuti/vnkuti}
MIB=${2:-1024}
DIR=${3:-${TMPDIR:-/tmp}}
REPS=${4:-8}
[ -x "$TOOL" ] || { echo "no tool at $TOOL (build the release preset first)" >&2; exit 2; }
TOOL=$(cd "$(dirname "$TOOL")" && pwd)/$(basename "$TOOL")
TIME=/usr/bin/time
[ -x "$TIME" ] || TIME=

work=$(mktemp -d "$DIR/vnkuti-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

# Random bytes, so that nothing along the way can take a short cut.
head -c $((MIB << 20)) /dev/urandom > in
"$TOOL" msf put data.msf s -i in
cp data.msf target  # what the baseline copies over, so the tool's file stays whole
cat in data.msf target > /dev/null

# One timed run: prints "microseconds peak_kib". Dirty pages of the run
# before are written out first, so that no run pays for another's writes.
#
# Every run also starts with the same free memory: a section's worth of
# page cache written and dropped just before. On a virtual machine that
# hands idle free pages back to its host, a run that needs new page cache
# otherwise pays for the host backing those pages again, and pays it or not
# depending on how long memory lay free before it (measured: vnkuti msf get
# -o took 0.27 s right after such a drop and 1.5 s after six idle seconds;
# cat varies the same way). Which command follows an idle pause would then
# decide the ratios.
measure() {
  local start end rss=0
  sync
  cat in > warm && rm -f warm
  start=$(date +%s%N)
  if [ -n "$TIME" ]; then
    "$TIME" -f %M -o rss sh -c "$1"
    rss=$(tail -n 1 rss)
  else
    sh -c "$1"
  fi
  end=$(date +%s%N)
  echo "$(((end - start) / 1000)) $rss"
}

median() { sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }

declare -A times rss
record() {  # record NAME COMMAND
  local r
  r=$(measure "$2")
  times[$1]+="${r% *} "
  local m=${r#* }
  [ "${rss[$1]:-0}" -ge "$m" ] || rss[$1]=$m
}

names=(cat_file get get_o cat_null get_null save_io put put_stdin)
commands=(
  'cat in > out; rm -f out'
  "'$TOOL' msf get data.msf s > out; rm -f out"
  "'$TOOL' msf get data.msf s -o out; rm -f out"
  'cat in > /dev/null'
  "'$TOOL' msf get data.msf s > /dev/null"
  'dd if=in of=stage bs=1M conv=fsync status=none && dd if=stage of=target bs=1M conv=notrunc status=none && rm -f stage'
  "'$TOOL' msf put data.msf s -i in"
  "'$TOOL' msf put data.msf s < in")
# Each repetition starts one command later in the list: what a command
# leaves behind (a GiB deleted, a GiB rewritten in place) slows the next
# one, and rotating spreads that over all of them.
for ((i = 0; i < REPS; i++)); do
  for ((j = 0; j < ${#names[@]}; j++)); do
    k=$(((i + j) % ${#names[@]}))
    record "${names[$k]}" "${commands[$k]}"
  done
done
"$TOOL" msf verify data.msf
if [ -n "${VERBOSE:-}" ]; then
  for k in "${!times[@]}"; do echo "$k: ${times[$k]}" >&2; done
fi

med() { echo "${times[$1]}" | tr ' ' '\n' | grep . | median; }
row() {  # row LABEL NAME BASELINE
  local t b
  t=$(med "$2")
  b=$(med "$3")
  awk -v l="$1" -v t="$t" -v b="$b" -v m="${rss[$2]}" -v mib="$MIB" 'BEGIN {
    printf "| %s | %.3f s | %.3f s | %.2f | %.0f MiB | %d MiB |\n", l, t / 1e6, b / 1e6, t / b, m / 1024, mib }'
}
echo "| command | time | baseline | ratio | peak RSS | section |"
echo "|---|---|---|---|---|---|"
row "msf get > file" get cat_file
row "msf get -o file" get_o cat_file
row "msf get > /dev/null" get_null cat_null
row "msf put -i file" put save_io
row "msf put < file" put_stdin save_io
row "cat > file (baseline)" cat_file cat_file
row "save I/O (baseline)" save_io save_io
