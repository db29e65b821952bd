#!/bin/sh
# Writes basicutils/VNKUTI_BasicUtils.h, the umbrella header that includes
# every public header of both libraries. With --check, fails when the file in
# the tree is not what it would write.
cd "$(dirname "$0")/.." || exit 1
gen() {
  echo "// Umbrella header: every public header of VNKUTI_BasicUtils and VNKUTI_CoreUtils."
  echo "// Written by cmake/make-umbrella.sh; do not edit by hand."
  echo "#pragma once"
  echo
  (cd coreutils && find . -name '*.h' -not -path '*/impl/*' | sed 's|^\./||' | sort)
  (cd basicutils && find . -name '*.h' -not -path '*/impl/*' -not -path './plt/*' \
     -not -name VNKUTI_BasicUtils.h | sed 's|^\./||' | sort)
}
out=$(gen | awk 'NR<=4 {print; next} {print "#include \"" $0 "\""}')
if [ "$1" = "--check" ]; then
  [ "$out" = "$(cat basicutils/VNKUTI_BasicUtils.h 2>/dev/null)" ] && exit 0
  echo "basicutils/VNKUTI_BasicUtils.h is out of date: run cmake/make-umbrella.sh"; exit 1
fi
printf '%s\n' "$out" > basicutils/VNKUTI_BasicUtils.h
