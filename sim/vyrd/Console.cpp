#include "vyrd/Console.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#ifdef VYRD_LIBEDIT
#include <editline/readline.h>
#endif

namespace vyrd {

#ifdef VYRD_LIBEDIT

namespace {

constexpr const char *kPrompt = "vyrd> ";

// Completion runs on the command thread between two lines, so plain
// file-level state is enough.
CommandRunner *gRunner = nullptr;
std::vector<std::string> gNames;
bool gNamesRead = false;

void ReadNames() {
    if (gNamesRead || gRunner == nullptr) {
        return;
    }
    gNamesRead = true;
    std::set<std::string> names(CommandRunner::BuiltinNames().begin(),
                                CommandRunner::BuiltinNames().end());
    for (const std::string &name : gRunner->LibraryCommandNames()) {
        names.insert(name);
    }
    gNames.assign(names.begin(), names.end());
}

// Called with state 0 for a new word, then again until it answers null.
char *NextName(const char *text, int state) {
    static size_t next = 0;
    if (state == 0) {
        next = 0;
        ReadNames();
    }
    const size_t length = strlen(text);
    while (next < gNames.size()) {
        const std::string &name = gNames[next++];
        if (name.compare(0, length, text) == 0) {
            return strdup(name.c_str());
        }
    }
    return nullptr;
}

// Only the first word of a line is a command name; after it nothing is
// offered (not even file names).
char **Complete(const char *text, int start, int /*end*/) {
    rl_attempted_completion_over = 1;
    if (start != 0) {
        return nullptr;
    }
    return rl_completion_matches(text, NextName);
}

}  // namespace

int RunConsole(CommandRunner &runner) {
    gRunner = &runner;
    rl_readline_name = "vyrd";
    // The prompt and the edited line stay off standard output when that is
    // not the terminal (JSON lines into a pipe).
    rl_outstream = isatty(STDOUT_FILENO) != 0 ? stdout : stderr;
    rl_attempted_completion_function = Complete;
    using_history();
    int bad = 0;
    std::string previous;
    for (;;) {
        char *raw = readline(kPrompt);
        if (raw == nullptr) {
            fputc('\n', rl_outstream);
            break;
        }
        std::string line(raw);
        free(raw);
        // A line typed again right after itself is kept once.
        if (line.find_first_not_of(" \t") != std::string::npos && line != previous) {
            add_history(line.c_str());
            previous = line;
        }
        if (!runner.RunLine(line)) {
            ++bad;
        }
    }
    gRunner = nullptr;
    return bad;
}

#else

int RunConsole(CommandRunner &runner) {
    return runner.RunStream(std::cin, true);
}

#endif

}  // namespace vyrd
