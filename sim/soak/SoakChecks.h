// The soak's checks of what the daemon leaves behind and of the process
// itself: the CSV log files, memory and descriptors, log growth.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace soak {

struct CsvReport {
    size_t files = 0;
    uint64_t dataLines = 0;
    std::vector<std::string> problems;  // file and line of each torn or ragged line (the first few)
    size_t problemCount = 0;
};

// Every `*.csv` under `dir`: a label line, a column line, then data lines
// that each end with a newline and have as many fields as the column line,
// every field a number (blanks allowed).
CsvReport CheckCsvFiles(const std::string &dir);

// Proportional set size of a process in kB (smaps_rollup); -1 when unknown.
int64_t ReadPssKb(pid_t pid);
// Open descriptors of a process; -1 when unknown.
int64_t CountFds(pid_t pid);

// Size of every regular file under `dir` (missing directory: none).
std::map<std::string, uint64_t> FileSizes(const std::string &dir);
// True when a file of `now` is new (and not empty) or longer than in `before`.
bool AnyGrew(const std::map<std::string, uint64_t> &before,
             const std::map<std::string, uint64_t> &now);

// Growth over a series: the median of its last `window` values minus the
// median of its first `window`. `measured` is false with fewer than
// 2 * window values.
struct Growth {
    bool measured = false;
    int64_t first = 0;
    int64_t last = 0;
    int64_t growth = 0;
};
Growth MedianGrowth(const std::vector<int64_t> &series, size_t window);

}  // namespace soak
