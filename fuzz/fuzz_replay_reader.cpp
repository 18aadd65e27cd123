// Fuzzes the replay reader: the first byte picks the recorded file (stem and
// sensor type), the rest becomes that file in the log directory of a
// private device sandbox, and FileToEvent reads it back.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "hal/VyrHal.h"
#include "sensor/FileToEvent.h"

namespace {

std::string gRoot;
VyrHal *gHal = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    // The sanitizer's shadow memory counts in the PSS: a run of any length
    // would end in the memory guard, which is for the daemon's process.
    VyrHal::SetMemoryGuard(false);
    char pattern[] = "/tmp/vyr_fuzz_XXXXXX";
    const char *root = mkdtemp(pattern);
    if (root == nullptr) {
        perror("mkdtemp");
        abort();
    }
    gRoot = root;
    std::error_code ec;
    std::filesystem::create_directories(gRoot + "/data/vendor/log/vyrlog", ec);
    atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(gRoot, ignored);
    });
    setenv("VYR_ROOT", root, 1);
    setenv("VYR_LOG_STDERR", "0", 1);
    gHal = new VyrHal(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) {
        return -1;
    }
    const EmulateFile &file = kEmulateFiles[data[0] % std::size(kEmulateFiles)];
    const std::string path = gRoot + "/data/vendor/log/vyrlog/" + file.stem + ".csv";
    FILE *fp = fopen(path.c_str(), "wb");
    if (fp == nullptr) {
        abort();
    }
    if (size > 1 && fwrite(data + 1, 1, size - 1, fp) != size - 1) {
        abort();
    }
    fclose(fp);

    FileToEvent reader(*gHal);
    std::vector<ASensorEvent> events;
    if (!reader.GetEvents(file.stem, file.type, events)) {
        abort();
    }
    // At most one event a line (a line longer than the reader's buffer
    // comes in pieces of 1023 characters), each of the file's own type.
    size_t lines = 0;
    for (size_t i = 1; i < size; ++i) {
        lines += data[i] == '\n' ? 1 : 0;
    }
    if (events.size() > lines + 1 + size / 1023) {
        abort();
    }
    for (const ASensorEvent &event : events) {
        if (event.type != file.type || event.sensor != file.type) {
            abort();
        }
    }
    std::filesystem::remove(path);
    return 0;
}
