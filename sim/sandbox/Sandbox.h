// The device sandbox: a directory that stands for the phone's file system
// when the library runs on Linux (VYR_ROOT names it). vyrd, the tests and the
// scenarios make one with CreateSandbox.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace vyrsim {

struct SandboxOptions {
    // Contents of the product file; empty means DefaultProductXml().
    std::string productXml;
    // Properties merged over the defaults (and over the values already in an
    // existing sandbox).
    std::map<std::string, std::string> properties;
    // Text of proc/cmdline.
    std::string cmdline = "androidboot.swtype=normal";
    // Copy the stand-in closed libraries into vendor/lib64.
    bool installLibs = true;
    // Make the touch panel's nodes of the default product as FIFOs (see
    // TouchNodeList). Whoever starts the library on such a sandbox must open
    // every one of them for writing first, or the library's open waits.
    bool touchNodes = false;
};

// The FIFOs of a sandbox made with touchNodes, relative to its root: the
// input nodes dev/input/event1 to event3 ("input_mt_wrapper",
// "tolvi,ts_kit", "tolvi,ts_pen", named under sys/class/input/), the pen's
// HID node dev/hidraw0 and the fingerprint auxiliary node.
const char *const *TouchNodeList(size_t *count);

// Lays out a device sandbox at root (made when missing). On an existing
// sandbox:
//  - the properties file keeps its values (counters such as the reboot count
//    survive); the defaults only fill names that are missing, and
//    opts.properties overwrite;
//  - node files under sys/ that exist keep their contents;
//  - the product file, proc/cmdline and the libraries are written again.
// Returns false with a reason in *error (when error is not null).
bool CreateSandbox(const std::string &root, const SandboxOptions &opts, std::string *error);

// The product file of the simulated phone (sim/product), or a minimal
// built-in document with no feature keys when that file cannot be read.
std::string DefaultProductXml();

// A product file whose one product applies to every phone (method "skip"),
// with `rules` (XML elements such as "<motion><item>X</item></motion>") as
// its rule.
std::string ProductXmlFor(const std::string &rules);

// Short description of the layout, for README and --help.
std::string SandboxLayoutText();

// The defaults written into a new properties file.
std::map<std::string, std::string> DefaultProperties();

// Reads a properties file ("name=value" lines; the last line of a name wins).
// A missing file gives an empty map.
std::map<std::string, std::string> ReadProperties(const std::string &path);

}  // namespace vyrsim
