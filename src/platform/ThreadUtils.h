// Scheduling, affinity and naming of the calling thread.
#pragma once

#include <string>
#include <vector>

// Pins the calling thread to the given CPUs (0..1023; other values are
// ignored). Returns the result of sched_setaffinity; a failure is logged.
int ThreadSetAffInity(const std::vector<int> &cpus);

// Round-robin scheduling at priority 10 for the calling thread. Returns the
// result of sched_setscheduler; nothing else happens on failure.
int ThreadSetRR();

// As ThreadSetRR, but on failure logs a warning and raises the process'
// nice value to -10 instead (which may fail too when not permitted).
void ThreadSetRRWithFallback();

// The normal policy (SCHED_OTHER) for the calling thread, for a thread that
// computes for long stretches and must not hold a processor against the
// round-robin threads the library starts from its init thread. Returns the
// result of pthread_setschedparam (0 on success); a failure is logged.
int ThreadSetNormal();

// Names the calling thread "vyr_" + module (the kernel keeps 15 characters).
void SetThreadName(const std::string &module);
