#include "soak/SoakChecks.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace soak {

namespace {

constexpr size_t kProblemsKept = 10;

size_t CountFields(const std::string &line) {
    return static_cast<size_t>(std::count(line.begin(), line.end(), ',')) + 1;
}

void Problem(CsvReport &report, const std::string &file, size_t lineNumber,
             const std::string &what) {
    ++report.problemCount;
    if (report.problems.size() < kProblemsKept) {
        report.problems.push_back(file + ":" + std::to_string(lineNumber) + ": " + what);
    }
}

void CheckCsvFile(const fs::path &path, CsvReport &report) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    const std::string text = all.str();
    const std::string name = path.filename().string();
    ++report.files;
    if (text.empty()) {
        return;
    }
    if (text.back() != '\n') {
        Problem(report, name, static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1,
                "last line has no newline (torn)");
    }
    size_t columns = 0;
    size_t lineNumber = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string line = text.substr(start, end - start);
        ++lineNumber;
        start = end + 1;
        if (lineNumber == 1) {
            continue;  // the sensor's label
        }
        if (lineNumber == 2) {
            columns = CountFields(line);
            continue;
        }
        if (CountFields(line) != columns) {
            Problem(report, name, lineNumber,
                    std::to_string(CountFields(line)) + " fields, the column line has " +
                        std::to_string(columns));
            continue;
        }
        if (line.find_first_not_of("0123456789.,-+eEinfa ") != std::string::npos) {
            Problem(report, name, lineNumber, "a field that is not a number");
            continue;
        }
        ++report.dataLines;
    }
}

}  // namespace

CsvReport CheckCsvFiles(const std::string &dir) {
    CsvReport report;
    std::error_code ec;
    std::vector<fs::path> files;
    for (fs::recursive_directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec) && it->path().extension() == ".csv") {
            files.push_back(it->path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const fs::path &file : files) {
        CheckCsvFile(file, report);
    }
    return report;
}

int64_t ReadPssKb(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/smaps_rollup");
    std::string line;
    while (std::getline(in, line)) {
        long long kb = 0;
        if (sscanf(line.c_str(), "Pss: %lld kB", &kb) == 1) {
            return kb;
        }
    }
    return -1;
}

int64_t CountFds(pid_t pid) {
    std::error_code ec;
    int64_t count = 0;
    for (fs::directory_iterator it("/proc/" + std::to_string(pid) + "/fd", ec), end;
         !ec && it != end; it.increment(ec)) {
        ++count;
    }
    return ec ? -1 : count;
}

std::map<std::string, uint64_t> FileSizes(const std::string &dir) {
    std::map<std::string, uint64_t> sizes;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code sizeError;
        if (it->is_regular_file(sizeError)) {
            const uintmax_t size = it->file_size(sizeError);
            if (!sizeError) {
                sizes[it->path().string()] = size;
            }
        }
    }
    return sizes;
}

bool AnyGrew(const std::map<std::string, uint64_t> &before,
             const std::map<std::string, uint64_t> &now) {
    for (const auto &[name, size] : now) {
        const auto old = before.find(name);
        if (old == before.end() ? size > 0 : size > old->second) {
            return true;
        }
    }
    return false;
}

Growth MedianGrowth(const std::vector<int64_t> &series, size_t window) {
    Growth growth;
    if (window == 0 || series.size() < 2 * window) {
        return growth;
    }
    auto median = [](std::vector<int64_t> values) {
        std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2),
                         values.end());
        return values[values.size() / 2];
    };
    growth.measured = true;
    growth.first =
        median(std::vector<int64_t>(series.begin(), series.begin() + static_cast<long>(window)));
    growth.last =
        median(std::vector<int64_t>(series.end() - static_cast<long>(window), series.end()));
    growth.growth = growth.last - growth.first;
    return growth;
}

}  // namespace soak
