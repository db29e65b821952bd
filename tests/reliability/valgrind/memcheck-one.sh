#!/bin/sh
# One program under valgrind memcheck (see run.sh).
# Usage: memcheck-one.sh SUPPRESSIONS LOG_DIR PROGRAM [ARGS...]
supp=$1 logs=$2
shift 2
name=${1##*/}
start=$(date +%s)
# Test programs that start themselves find their path here; the long and
# the crash tests run shorter; the replay programs try a few mutations.
if VNKUTI_TEST_SELF="$1" VNKUTI_CONTENTION_SECONDS=2 VNKUTI_CRASH_TRIALS=40 VNKUTI_FUZZ_MUTATIONS=8 \
   valgrind --tool=memcheck --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite,indirect \
     --show-leak-kinds=definite,indirect --child-silent-after-fork=yes --suppressions="$supp" \
     --log-file="$logs/$name.log" "$@" > "$logs/$name.out" 2>&1; then
  echo "ok    $name ($(( $(date +%s) - start )) s)"
else
  echo "FAIL  $name ($(( $(date +%s) - start )) s): $logs/$name.log, $logs/$name.out"
  exit 1
fi
