#!/bin/sh
# One program under valgrind memcheck (see run.sh).
# Usage: memcheck-one.sh SUPPRESSIONS LOG_DIR PROGRAM [ARGS...]
supp=$1 logs=$2
shift 2
name=${1##*/}
start=$(date +%s)
# Tests that see valgrind rather than the library: its LD_PRELOAD reaches
# the child's environment; its posix_spawn runs a missing program in a child
# that exits 127 instead of failing in the parent; and a parent this slow
# polls its native child only after the child has ended. The normal run and
# the sanitizer runs keep them.
filter=
case $name in
  test_uti_spawn)
    filter=-SpawnTest.ArgvEnvironmentDirectoryAndNoLeakedDescriptors:SpawnTest.NullDeviceDescriptorsAndUsingUp
    filter=$filter:SpawnTest.MissingAndUnrunnablePrograms:SpawnTest.BothWaysTheSourceStaysUntilTheCodeIsKnown ;;
esac
# Test programs that start themselves find their path here; the long and
# the crash tests run shorter; the replay programs try a few mutations.
if GTEST_FILTER=${filter:-*} VNKUTI_TEST_SELF="$1" VNKUTI_CONTENTION_SECONDS=2 VNKUTI_CRASH_TRIALS=40 VNKUTI_FUZZ_MUTATIONS=8 \
   valgrind --tool=memcheck --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite,indirect \
     --show-leak-kinds=definite,indirect --child-silent-after-fork=yes --suppressions="$supp" \
     --log-file="$logs/$name.log" "$@" > "$logs/$name.out" 2>&1; then
  echo "ok    $name ($(( $(date +%s) - start )) s)"
else
  echo "FAIL  $name ($(( $(date +%s) - start )) s): $logs/$name.log, $logs/$name.out"
  exit 1
fi
