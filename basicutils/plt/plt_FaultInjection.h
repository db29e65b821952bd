// Platform layer: fault injection for tests.
//
// Every operating-system call of the file facilities goes through a named
// wrapper of one kind below. A test arms a kind with a call number n and an
// error code: the n-th call of that kind counted from the arming (1 = the
// next one) first runs for real and is then reported as failed with the
// error (a descriptor it produced is closed, bytes it moved stay moved), so
// the caller's real error path runs. plt_FaultAny counts calls of every kind,
// which lets a test walk n = 1, 2, ... over a whole operation until
// plt_FaultFired stays false.
//
// Off by default; when nothing is armed a wrapper pays one relaxed atomic
// load. Arm and disarm while no other thread makes file calls you care about.
#pragma once

#include "VNKUTI_BasicExport.h"

enum plt_FaultKind : int {
  plt_FaultAny = 0,   // every call below, whatever its kind
  plt_FaultOpen,      // open, exclusive create
  plt_FaultClose,
  plt_FaultRead,      // each read(2) call, file or descriptor
  plt_FaultWrite,     // each write(2) call, file or descriptor
  plt_FaultSeek,
  plt_FaultSize,      // fstat
  plt_FaultTruncate,
  plt_FaultFlush,     // fsync
  plt_FaultLock,      // range locks and share-mode locks
  plt_FaultUnlink,
  plt_FaultRename,
  plt_FaultStat,      // path status and existence checks (plt_FileSystem.h)
  plt_FaultSpawn,     // process calls (plt_Process.h): spawn, exit-status read, kill, pipe
  plt_FaultKindCount
};

// Arms kind: its n-th call from now fails with error (a system error code).
// n < 1 disarms the kind. Arming resets the kind's call count.
VNKUTI_BASIC_API void plt_FaultArm(plt_FaultKind kind, int n, int error);
// Disarms every kind and resets every count.
VNKUTI_BASIC_API void plt_FaultDisarm();
// Calls of kind made while any kind was armed.
VNKUTI_BASIC_API int plt_FaultCalls(plt_FaultKind kind);
// Whether the armed failure of kind has been delivered.
VNKUTI_BASIC_API bool plt_FaultFired(plt_FaultKind kind);

// Ends the process at once with code, running no exit handlers and flushing
// nothing: a crash stand-in for tests that stop an operation midway.
[[noreturn]] VNKUTI_BASIC_API void plt_FaultExitNow(int code);
