// Internal to the threads module: how many pool workers still run.
#pragma once

// Workers started and not yet past their last use of the module's state
// (the registry, the global lock).
int thr_LiveWorkers();
// Waits up to milliseconds for every worker to be past that point; true
// when none is left. Whoever sees 0 also sees everything the workers did.
bool thr_WaitForWorkers(int milliseconds);
