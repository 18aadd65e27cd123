// Fuzzes the product file: each input becomes /vendor/etc/ of a private
// device sandbox, and Sysfs::Init reads it with MatchRules.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/system_properties.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "hal/VyrHal.h"
#include "platform/MatchRules.h"
#include "platform/Sysfs.h"

namespace {

std::string gRoot;
std::string gProductPath;
VyrHal *gHal = nullptr;

bool IsXmlSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// An item element without text keeps the item walk on it for ever, so such
// inputs are skipped. Conservative rule: every "<item" must be followed
// directly by ">" and then, after optional white space, by a character other
// than '<' (the white space alone is dropped by the parser, and '<' opens a
// child, a comment or CDATA instead of text).
bool MayHoldEmptyItem(std::string_view text) {
    constexpr std::string_view kOpen = "<item";
    for (size_t pos = text.find(kOpen); pos != std::string_view::npos;
         pos = text.find(kOpen, pos + 1)) {
        size_t next = pos + kOpen.size();
        if (next >= text.size() || text[next] != '>') {
            return true;
        }
        ++next;
        while (next < text.size() && IsXmlSpace(text[next])) {
            ++next;
        }
        if (next >= text.size() || text[next] == '<') {
            return true;
        }
    }
    return false;
}

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
    std::string base(root);
    mkdir((base + "/vendor").c_str(), 0755);
    mkdir((base + "/vendor/etc").c_str(), 0755);
    gRoot = base;
    gProductPath = base + "/vendor/etc/" + MatchRules::kFileName;
    atexit([] {
        std::error_code ec;
        std::filesystem::remove_all(gRoot, ec);
    });
    setenv("VYR_ROOT", root, 1);
    setenv("VYR_LOG_STDERR", "0", 1);
    __system_property_set("ro.boot.product.hardware.sku", "VYRFOLD");
    gHal = new VyrHal(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view text(reinterpret_cast<const char *>(data), size);
    if (MayHoldEmptyItem(text)) {
        return -1;
    }
    FILE *fp = fopen(gProductPath.c_str(), "wb");
    if (fp == nullptr) {
        abort();
    }
    if (size > 0 && fwrite(data, 1, size, fp) != size) {
        abort();
    }
    fclose(fp);

    Sysfs sysfs(*gHal);
    sysfs.Init();
    // Every value must come back closed by exactly one added hyphen.
    for (const char *key : {"motion", "thp", "camera", "posture", "activity_recognition"}) {
        std::string value = sysfs.GetXmlConfig(key);
        if (sysfs.HasXmlConfig(key) != !value.empty() || (!value.empty() && value.back() != '-')) {
            abort();
        }
    }
    return 0;
}
