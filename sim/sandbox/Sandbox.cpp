#include "sandbox/Sandbox.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace fs = std::filesystem;

namespace vyrsim {

namespace {

constexpr const char *kProductFileName = "tolvi_vyr_product_config.xml";

// Used when the product file of the source tree cannot be read: a phone
// without any optional feature (only the always-present modules start).

// Directories of a sandbox, relative to its root.
constexpr const char *kDirs[] = {
    "odm/etc",
    "odm/etc/vyr",
    "odm/lib64",
    "vendor/etc",
    "vendor/lib64",
    "data/vendor/log/vyrlog",
    "sys/power",
    "sys/touchscreen",
    "sys/devices/platform/tolvi_sensor",
    "sys/class/graphics/fb0",
    "dev/input",
    "proc",
};

// Node files and their first contents; an existing node keeps its contents.
struct Node {
    const char *path;
    const char *text;
};
constexpr Node kNodes[] = {
    {"sys/power/wake_lock", ""},
    {"sys/power/wake_unlock", ""},
    {"sys/touchscreen/touch_chip_info", "vyrsim_touch\n"},
    {"sys/devices/platform/tolvi_sensor/set_palmetry_enable", "0\n"},
    {"sys/devices/platform/tolvi_sensor/palmetry_req_data", "0\n"},
    {"sys/devices/platform/tolvi_sensor/palmetry_data_ready", "0\n"},
    {"sys/devices/platform/tolvi_sensor/palmetry_latch_data", ""},
    {"sys/devices/platform/tolvi_sensor/palmetry_latch_data2", ""},
    {"sys/class/graphics/fb0/lcd_model", "vyrsim_lcd\n"},
    // Configuration of the face library (its own file; the stand-in only
    // needs it to exist).
    {"odm/etc/vyr/arm_config.json", "{\"model\": \"face3d-sim\"}\n"},
};

// The touch panel of the default product: input nodes and their names.
struct InputNode {
    const char *node;
    const char *name;
};
constexpr InputNode kInputNodes[] = {
    {"event1", "input_mt_wrapper"},
    {"event2", "tolvi,ts_kit"},
    {"event3", "tolvi,ts_pen"},
};
constexpr const char *kTouchFifos[] = {
    "dev/input/event1",
    "dev/input/event2",
    "dev/input/event3",
    "dev/hidraw0",
    "sys/devices/platform/fingerprint/fp_auxiliary_data",
};

void SetError(std::string *error, const std::string &text) {
    if (error != nullptr) {
        *error = text;
    }
}

bool ReadWhole(const std::string &path, std::string &out) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    out = text.str();
    return true;
}

// Writes through a temporary file and a rename, so a process that has the
// old file open or mapped (a loaded library) keeps its copy intact.
bool WriteReplacing(const std::string &path, const std::string &text, std::string *error) {
    std::string temp = path + ".vyrsim.tmp";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) {
            SetError(error, "cannot write " + temp);
            return false;
        }
    }
    if (rename(temp.c_str(), path.c_str()) != 0) {
        SetError(error, "cannot rename " + temp + ": " + strerror(errno));
        unlink(temp.c_str());
        return false;
    }
    return true;
}

bool CopyReplacing(const fs::path &from, const fs::path &to, std::string *error) {
    std::error_code ec;
    fs::path temp = to;
    temp += ".vyrsim.tmp";
    fs::copy_file(from, temp, fs::copy_options::overwrite_existing, ec);
    if (!ec) {
        fs::rename(temp, to, ec);
    }
    if (ec) {
        SetError(error,
                 "cannot copy " + from.string() + " to " + to.string() + ": " + ec.message());
        fs::remove(temp, ec);
        return false;
    }
    return true;
}

std::map<std::string, std::string> ParseProperties(const std::string &text) {
    std::map<std::string, std::string> props;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        size_t eq = line.find('=');
        if (eq == std::string::npos || eq == 0) {
            continue;
        }
        props[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return props;
}

// Merges the properties under the store's own lock file, so a library that
// runs on this sandbox at the same time never sees a half-written store.
bool WriteProperties(const std::string &root, const SandboxOptions &opts, std::string *error) {
    std::string lockPath = root + "/properties.lock";
    std::string storePath = root + "/properties";
    int lockFd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lockFd < 0) {
        SetError(error, "cannot open " + lockPath + ": " + strerror(errno));
        return false;
    }
    while (flock(lockFd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            SetError(error, "cannot lock " + lockPath + ": " + strerror(errno));
            close(lockFd);
            return false;
        }
    }

    std::map<std::string, std::string> props = DefaultProperties();
    for (const auto &[name, value] : ReadProperties(storePath)) {
        props[name] = value;
    }
    for (const auto &[name, value] : opts.properties) {
        props[name] = value;
    }
    std::string text;
    bool ok = true;
    for (const auto &[name, value] : props) {
        if (name.empty() || name.find_first_of("=\n") != std::string::npos ||
            value.find('\n') != std::string::npos) {
            SetError(error, "bad property: " + name);
            ok = false;
            break;
        }
        text += name + "=" + value + "\n";
    }
    if (ok) {
        ok = WriteReplacing(storePath, text, error);
    }
    flock(lockFd, LOCK_UN);
    close(lockFd);
    return ok;
}

bool InstallLibs(const fs::path &libDir, std::string *error) {
    std::error_code ec;
    fs::directory_iterator it(VYR_SIM_LIB_DIR, ec);
    if (ec) {
        // Nothing built yet: a sandbox without stand-ins is still usable.
        return true;
    }
    for (const fs::directory_entry &entry : it) {
        std::string name = entry.path().filename().string();
        bool isLib = name.size() > 6 && name.compare(0, 3, "lib") == 0 &&
                     name.compare(name.size() - 3, 3, ".so") == 0;
        if (!isLib || !entry.is_regular_file(ec)) {
            continue;
        }
        if (!CopyReplacing(entry.path(), libDir / name, error)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::map<std::string, std::string> DefaultProperties() {
    return {
        {"ro.boot.product.hardware.sku", "VYRFOLD"},
        {"ro.product.device", "VYRFOLD"},
        {"ro.product.system.name", "vyrphone"},
        {"ro.build.version.release", "14"},
        // The activity list the phone's framework gave before: high-speed
        // rail, metro, micro still and hand held are its activities 1 to 4.
        {"odm.vyr.arlist", "1,2,3,4,"},
    };
}

std::map<std::string, std::string> ReadProperties(const std::string &path) {
    std::string text;
    if (!ReadWhole(path, text)) {
        return {};
    }
    return ParseProperties(text);
}

std::string ProductXmlFor(const std::string &rules) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<tolvi_vyr_product_config>\n"
           "    <version_info>\n"
           "        <latest_update_time>built-in</latest_update_time>\n"
           "        <latest_update_author>vyrsim</latest_update_author>\n"
           "    </version_info>\n"
           "    <product>\n"
           "        <product_name>any</product_name>\n"
           "        <method>skip</method>\n"
           "        <rule>" +
           rules +
           "</rule>\n"
           "    </product>\n"
           "</tolvi_vyr_product_config>\n";
}

std::string DefaultProductXml() {
    std::string text;
    std::string path = std::string(VYR_SOURCE_DIR) + "/sim/product/" + kProductFileName;
    if (ReadWhole(path, text) && !text.empty()) {
        return text;
    }
    return ProductXmlFor("");
}

std::string SandboxLayoutText() {
    return "Device sandbox layout (VYR_ROOT):\n"
           "  properties                 system properties, one name=value a line\n"
           "  proc/cmdline               kernel command line\n"
           "  odm/etc, vendor/etc        product file tolvi_vyr_product_config.xml (vendor)\n"
           "  odm/lib64, vendor/lib64    closed libraries (stand-ins copied to vendor)\n"
           "  data/vendor/log/vyrlog     log files\n"
           "  sys/power/wake_lock, wake_unlock\n"
           "  sys/touchscreen/touch_chip_info\n"
           "  sys/devices/platform/tolvi_sensor/  palmetry nodes\n"
           "  sys/class/graphics/fb0/lcd_model\n"
           "  odm/etc/vyr/arm_config.json  configuration of the face library\n"
           "  dev/input                  input event nodes (empty)\n"
           "Re-creating over an existing sandbox keeps its property values and node\n"
           "contents, and writes the product file, cmdline and libraries again.\n";
}

bool CreateSandbox(const std::string &root, const SandboxOptions &opts, std::string *error) {
    if (root.empty()) {
        SetError(error, "empty sandbox root");
        return false;
    }
    const fs::path base(root);
    std::error_code ec;
    for (const char *dir : kDirs) {
        fs::create_directories(base / dir, ec);
        if (ec) {
            SetError(error, "cannot create " + (base / dir).string() + ": " + ec.message());
            return false;
        }
    }
    for (const Node &node : kNodes) {
        fs::path path = base / node.path;
        if (fs::exists(path, ec)) {
            continue;
        }
        std::ofstream out(path, std::ios::binary);
        out << node.text;
        out.close();
        if (!out) {
            SetError(error, "cannot write " + path.string());
            return false;
        }
    }

    const std::string product = opts.productXml.empty() ? DefaultProductXml() : opts.productXml;
    if (!WriteReplacing((base / "vendor/etc" / kProductFileName).string(), product, error) ||
        !WriteReplacing((base / "proc/cmdline").string(), opts.cmdline + "\n", error) ||
        !WriteProperties(base.string(), opts, error)) {
        return false;
    }
    if (opts.touchNodes) {
        for (const InputNode &input : kInputNodes) {
            fs::path dir = base / "sys/class/input" / input.node / "device";
            fs::create_directories(dir, ec);
            if (!WriteReplacing((dir / "name").string(), std::string(input.name) + "\n", error)) {
                return false;
            }
        }
        for (const char *fifo : kTouchFifos) {
            fs::path path = base / fifo;
            fs::create_directories(path.parent_path(), ec);
            struct stat info {};
            if (lstat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode)) {
                continue;
            }
            fs::remove(path, ec);
            if (mkfifo(path.c_str(), 0644) != 0) {
                SetError(error, "cannot make " + path.string() + ": " + strerror(errno));
                return false;
            }
        }
    }
    // The touch firmware's descrambling data of the fingerprint-area block.
    std::string descramble;
    if (ReadWhole(std::string(VYR_SOURCE_DIR) + "/sim/product/fp_roi_descramble.conf",
                  descramble)) {
        fs::create_directories(base / "vendor/etc/vyr", ec);
        if (!WriteReplacing((base / "vendor/etc/vyr/fp_roi_descramble.conf").string(), descramble,
                            error)) {
            return false;
        }
    }
    if (opts.installLibs && !InstallLibs(base / "vendor/lib64", error)) {
        return false;
    }
    return true;
}

const char *const *TouchNodeList(size_t *count) {
    if (count != nullptr) {
        *count = sizeof(kTouchFifos) / sizeof(kTouchFifos[0]);
    }
    return kTouchFifos;
}

}  // namespace vyrsim
