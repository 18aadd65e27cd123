// The planned end of the process (SOS, "reboot"): at once, from any thread,
// with the module threads still running. Nothing is torn down under them: no
// destructor of this library runs, only the daemon's quick-exit handlers.
// The buffered lines of the log files are flushed first; properties and
// logcat lines are written as they are set.
#pragma once

[[noreturn]] void EndProcess();
