// A cross build's tests run under an emulator (qemu-aarch64); the programs
// they start themselves (vyrd, a shell line, the test binary again for a
// death test) must go through it as well, since the machine cannot run them
// directly. VYR_EMULATOR holds the emulator's command words, an absolute
// program path first, e.g. "/usr/bin/qemu-aarch64 -L /"; unset or empty
// when the tests run natively.
#pragma once

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace vyrtest {

inline std::vector<std::string> EmulatorWords() {
    std::vector<std::string> words;
    const char *value = std::getenv("VYR_EMULATOR");
    std::istringstream in(value != nullptr ? value : "");
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

// The words to put before a program in a shell line ("" natively).
inline std::string EmulatorShellPrefix() {
    std::string prefix;
    for (const std::string &word : EmulatorWords()) {
        prefix += word + " ";
    }
    return prefix;
}

}  // namespace vyrtest
