// Fuzzes the touch module's two byte roads: the packet entry, fed the way the
// queue reader feeds it (packet after packet until the buffer is used up),
// and InputReadData, reading the bytes from a pipe as from an input node.
// The first byte chooses the road; for the input road the second chooses
// the node (0 to 5, 5 being the pen node).
#include <fcntl.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "hal/VyrHal.h"
#include "sandbox/Sandbox.h"
#include "touch/TouchScreen.h"

namespace {

VyrHal *gHal = nullptr;
int gPipe[2] = {-1, -1};

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
    setenv("VYR_ROOT", root, 1);
    setenv("VYR_LOG_STDERR", "0", 1);
    vyrsim::SandboxOptions options;
    // Packets only: no poll thread, so this thread may read input itself.
    options.productXml = vyrsim::ProductXmlFor("<thp><item>THP_TYPE_TP_DATA</item></thp>");
    options.installLibs = false;
    std::string error;
    if (!vyrsim::CreateSandbox(root, options, &error)) {
        fprintf(stderr, "%s\n", error.c_str());
        abort();
    }
    gHal = new VyrHal(nullptr);  // lives to the end of the process
    if (!gHal->Init() || pipe2(gPipe, O_NONBLOCK | O_CLOEXEC) != 0) {
        abort();
    }
    gHal->SetLogLevel(4);  // the decoders read only when they log
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) {
        return 0;
    }
    TouchScreen &touch = gHal->GetTouchScreen();
    if ((data[0] & 1) == 0) {
        // A private copy of exactly the input: a read past it is caught.
        std::vector<uint8_t> buffer(data + 1, data + size);
        uint8_t *at = buffer.data();
        int32_t remain = static_cast<int32_t>(buffer.size());
        while (remain > 0) {
            int used = touch.ThpDataPost(at, remain);
            if (used <= 0 || used > remain) {
                abort();  // the caller must always be able to step on
            }
            at += used;
            remain -= used;
        }
        return 0;
    }
    const int index = data[1] % 6;
    size_t length = size - 2;
    if (length > 3072) {
        length = 3072;
    }
    if (length == 0) {
        return 0;
    }
    if (write(gPipe[1], data + 2, length) != static_cast<ssize_t>(length)) {
        return 0;
    }
    touch.InputReadData(gPipe[0], index);
    // Leave the pipe empty for the next input.
    uint8_t drain[4096];
    while (read(gPipe[0], drain, sizeof(drain)) > 0) {
    }
    return 0;
}
