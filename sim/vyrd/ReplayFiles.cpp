// What a person would do by hand before a replay, done for them:
//  - the files of a stem's frame type are those whose names end in
//    "_logtofile_<TYPE NAME>.csv"; a run that rolled a type over several
//    files gives them all, oldest first (names begin with their time), so
//    the whole run plays;
//  - the replay reader takes field 0 as the event's timestamp, and the log
//    writes the arrival wall-clock time (ms) there; the sensor's own
//    timestamp (field 1, ns) is put in its place, so the modules see the
//    times they saw live, and events of different files sort as they came;
//  - the reader takes six fields of a sensor line (three values): longer
//    lines (the hinge angle's sixteen values) are cut to their first three
//    values; modem lines are cut to the eleven fields the reader counts.
#include "vyrd/ReplayFiles.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

namespace vyrd {
namespace {

constexpr const char *kLogDir = "data/vendor/log/vyrlog";

struct StemRow {
    const char *stem;
    const char *typeName;
    bool modem;
};

// The stems of the replay reader, with the frame type names of the log.
constexpr StemRow kStems[] = {
    {"acc1", "SENSOR_TYPE_ACCELEROMETER", false}, {"acc2", "SENSOR_TYPE_ACCELEROMETER2", false},
    {"gyro", "SENSOR_TYPE_GYROSCOPE", false},     {"dist", "SENSOR_TYPE_PROXIMITY", false},
    {"fold", "SENSOR_TYPE_HINGE_ANGLE", false},   {"mag", "SENSOR_TYPE_MAGNETIC_FIELD", false},
    {"modem", "SENSOR_TYPE_MODEM", true},
};

std::vector<std::string> SplitFields(const std::string &line) {
    std::vector<std::string> fields;
    std::stringstream in(line);
    for (std::string field; std::getline(in, field, ',');) {
        fields.push_back(field);
    }
    if (!line.empty() && line.back() == ',') {
        fields.emplace_back();
    }
    return fields;
}

std::string Join(const std::vector<std::string> &fields, size_t count) {
    std::string line;
    for (size_t i = 0; i < count && i < fields.size(); ++i) {
        line += (i == 0 ? "" : ",") + fields[i];
    }
    return line;
}

// One data line as the reader wants it; empty to leave the line out.
std::string ReplayLine(const std::string &line, bool modem) {
    std::vector<std::string> fields = SplitFields(line);
    if (modem) {
        if (fields.size() < 13) {
            return std::string();
        }
        fields[0] = fields[12];
        while (!fields[0].empty() && fields[0].front() == ' ') {
            fields[0].erase(0, 1);
        }
        return Join(fields, 11);
    }
    if (fields.size() < 6) {
        return std::string();
    }
    fields[0] = fields[1];
    return Join(fields, 6);
}

}  // namespace

std::string PrepareReplayFiles(const std::string &sourceDir, const std::string &targetRoot,
                               bool *ok) {
    std::error_code ec;
    fs::path source(sourceDir);
    if (fs::is_directory(source / kLogDir, ec)) {
        source /= kLogDir;
    }
    const fs::path target = fs::path(targetRoot) / kLogDir;
    std::ostringstream report;
    *ok = false;
    if (!fs::is_directory(source, ec)) {
        report << "replayfiles: no log directory at " << sourceDir;
        return report.str();
    }
    fs::create_directories(target, ec);
    std::vector<fs::path> all;
    for (const auto &entry : fs::directory_iterator(source, ec)) {
        if (entry.is_regular_file(ec)) {
            all.push_back(entry.path());
        }
    }
    std::sort(all.begin(), all.end());
    for (const StemRow &row : kStems) {
        const std::string suffix = std::string("_logtofile_") + row.typeName + ".csv";
        std::vector<fs::path> files;
        for (const fs::path &path : all) {
            const std::string name = path.filename().string();
            if (name.size() > suffix.size() &&
                name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
                files.push_back(path);
            }
        }
        const fs::path out = target / (std::string(row.stem) + ".csv");
        if (files.empty()) {
            fs::remove(out, ec);
            report << row.stem << ".csv: no " << row.typeName << " file\n";
            continue;
        }
        std::ofstream write(out, std::ios::trunc);
        size_t lines = 0;
        bool headerDone = false;
        for (const fs::path &path : files) {
            std::ifstream read(path);
            std::string label;
            std::string columns;
            std::getline(read, label);
            std::getline(read, columns);
            if (!headerDone) {
                write << label << "\n" << columns << "\n";
                headerDone = true;
            }
            for (std::string line; std::getline(read, line);) {
                std::string replay = ReplayLine(line, row.modem);
                if (!replay.empty()) {
                    write << replay << "\n";
                    ++lines;
                }
            }
        }
        report << row.stem << ".csv: " << lines << " events from " << files.size() << " file"
               << (files.size() == 1 ? "" : "s") << " of " << row.typeName
               << " (time column: the sensor timestamp"
               << (row.modem ? ", cut to 11 fields" : ", first three values") << ")\n";
        *ok = true;
    }
    return report.str();
}

}  // namespace vyrd
