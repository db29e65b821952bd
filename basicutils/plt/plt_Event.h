// Platform layer: manual-reset events, and the mutex a wait on an event can
// release as it starts (an event and a mutex object on Windows).
//
// An event is signalled or not. Set makes it signalled until Reset: every
// wait passes meanwhile. Pulse wakes exactly the threads waiting at that
// instant and leaves the event not signalled; with nobody waiting it has no
// effect. Waits take milliseconds: a negative value waits without limit,
// 0 only looks. Both objects live in cells from the core allocator.
#pragma once

#include "VNKUTI_BasicExport.h"

struct plt_Event;
struct plt_EventMutex;

VNKUTI_BASIC_API plt_Event* plt_EventCreate(bool signalled);
VNKUTI_BASIC_API void plt_EventDestroy(plt_Event* e);
VNKUTI_BASIC_API void plt_EventSet(plt_Event* e);
VNKUTI_BASIC_API void plt_EventReset(plt_Event* e);
VNKUTI_BASIC_API void plt_EventPulse(plt_Event* e);
// True when the event was signalled (or pulsed) within the time.
VNKUTI_BASIC_API bool plt_EventWait(plt_Event* e, long long milliseconds);

// A recursive mutex that plt_EventReleaseAndWait can release.
VNKUTI_BASIC_API plt_EventMutex* plt_EventMutexCreate();
VNKUTI_BASIC_API void plt_EventMutexDestroy(plt_EventMutex* m);
VNKUTI_BASIC_API void plt_EventMutexLock(plt_EventMutex* m);
VNKUTI_BASIC_API void plt_EventMutexUnlock(plt_EventMutex* m);

// Releases m once (the caller holds it) and starts waiting on e as one step:
// a Pulse given by a thread that took m after the release is not missed.
// Returns without m held; true as plt_EventWait.
VNKUTI_BASIC_API bool plt_EventReleaseAndWait(plt_EventMutex* m, plt_Event* e, long long milliseconds);
