// vyrd's prompt at a terminal: line editing, history of the session and
// completion of command names (the library's, from its "help", and vyrd's
// own), through libedit. Built without libedit, the prompt reads plain
// lines.
#pragma once

#include "vyrd/CommandRunner.h"

namespace vyrd {

// Serves commands typed at the "vyrd> " prompt until end of input (Ctrl-D).
// The count of malformed lines.
int RunConsole(CommandRunner &runner);

}  // namespace vyrd
