#include "file/DirOperator.h"

#include <boundchk.h>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <regex>
#include <tuple>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {

constexpr const char *kVyrlogDir = "/data/vendor/log/vyrlog/";
constexpr uid_t kDefaultUid = 0;     // root
constexpr gid_t kDefaultGid = 1000;  // system
constexpr mode_t kDirMode = 0776;
// The part of the passwd record holding names, ids and home; cleared after use.
constexpr size_t kPasswdClear = std::min<size_t>(48, sizeof(struct passwd));

std::string JoinPath(const std::string &dir, const std::string &name) {
    if (dir.empty() || dir.back() == '/') {
        return dir + name;
    }
    return dir + "/" + name;
}

// Full paths (dir as mapped + name) of the regular files of dir.
std::vector<std::string> RegularFiles(const std::string &dir) {
    std::vector<std::string> files;
    DIR *handle = opendir(CheckPath(dir).c_str());
    if (handle == nullptr) {
        return files;
    }
    const std::string base = DevicePathOf(dir);
    while (struct dirent *entry = readdir(handle)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        if (entry->d_type != DT_REG) {
            continue;
        }
        files.push_back(JoinPath(base, entry->d_name));
    }
    closedir(handle);
    return files;
}

}  // namespace

DirOperator::DirOperator(VyrHal &hal) : mHal(hal), mLog(hal) {}

void DirOperator::DirChangeGroup(const std::string path) {
    uid_t uid = kDefaultUid;
    gid_t gid = kDefaultGid;
    struct passwd *user = getpwnam("root");
    if (user == nullptr) {
        LOGI("Failed to Get uid");
    } else {
        uid = user->pw_uid;
    }
    struct group *group = getgrnam("system");
    if (group == nullptr) {
        LOGI("Failed to Get gid");
    } else {
        gid = group->gr_gid;
    }
    if (memset_s(user, kPasswdClear, 0, kPasswdClear) != EOK) {
        LOGE("memset_s error");
    }
    const std::string target = DevicePathOf(path);
    // The ownership change lives inside the statement: files keep their
    // creator unless debug logging is on.
    LOGD("change file group: %d, %d, %d", chown(target.c_str(), uid, gid), static_cast<int>(uid),
         static_cast<int>(gid));
}

bool DirOperator::FileExists(const std::string &path) {
    const std::string resolved = CheckPath(path);
    if (resolved.empty()) {
        return false;
    }
    FILE *file = fopen(resolved.c_str(), "r");
    if (file == nullptr) {
        return false;
    }
    fclose(file);
    return true;
}

void DirOperator::DirCreateFile(const std::string path) {
    LOGD("DirCreateFile: %s", path.c_str());
    umask(0);
    if (FileExists(path)) {
        return;
    }
    int fd = creat(DevicePathOf(path).c_str(), 0776);
    if (fd < 0) {
        LOGI("DirCreateFile: can NOT create %s", path.c_str());
        return;
    }
    DirChangeGroup(path);
    close(fd);
}

bool DirOperator::DirCreate(const std::string &path) {
    if (path.empty()) {
        return false;
    }
    std::string running;
    int result = 0;
    int error = 0;
    for (const std::string &piece : Split(path, "/")) {
        if (piece.empty()) {
            continue;
        }
        running += "/" + piece;
        if (FileExists(running)) {
            continue;
        }
        umask(0);
        result = mkdir(DevicePathOf(running).c_str(), kDirMode);
        if (result != 0) {
            error = errno;
            break;
        }
        DirChangeGroup(running);
    }
    if (result == 0) {
        LOGD("mkdir success: %s", running.c_str());
    } else {
        LOGE("mkdir the dir [%s, %s] failed: %s", running.c_str(), path.c_str(), strerror(error));
    }
    return result == 0;
}

bool DirOperator::DirCreateVyrlog(const std::string path) {
    bool created = true;
    if (!FileExists(path)) {
        created = DirCreate(path);
    }
    if (!FileExists(path)) {
        return false;
    }
    if (!FileExists(kVyrlogDir)) {
        // A link name must not end in a slash.
        std::string link = DevicePathOf(kVyrlogDir);
        while (link.size() > 1 && link.back() == '/') {
            link.pop_back();
        }
        if (symlink(CheckPath(path).c_str(), link.c_str()) != 0) {
            LOGI("dir link failed: %s. %s", path.c_str(), strerror(errno));
        }
    }
    return created;
}

std::set<std::string> DirOperator::DirList(const std::string dir) {
    std::vector<std::string> files = RegularFiles(dir);
    return std::set<std::string>(files.begin(), files.end());
}

void DirOperator::DirCleanVyrlog(const std::string &dir) {
    const std::set<std::string> files = DirList(dir);
    std::string text;
    for (const std::string &file : files) {
        if (remove(DevicePathOf(file).c_str()) == 0) {
            text += "del: " + file + "\n";
        } else {
            LOGE("del_error: %s", file.c_str());
            text += "del_error: " + file + "\n";
        }
    }
    text += "del file count: " + std::to_string(files.size());
    LOGI("%s", text.c_str());
}

void DirOperator::DirSaveFile(const std::string dir, const std::string name,
                              std::vector<uint8_t> bytes) {
    if (bytes.empty() || dir.empty()) {
        return;
    }
    if (!DirCreate(dir)) {
        return;
    }
    const std::string path = JoinPath(dir, name);
    FILE *file = fopen(DevicePathOf(path).c_str(), "w");
    if (file == nullptr) {
        LOGE("open file: %s failed", path.c_str());
        return;
    }
    fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
}

bool DirOperator::DirDeleteFile(const std::string &path) {
    if (path.empty()) {
        LOGE("Error: Empty filename provided for deletion.");
        return false;
    }
    const std::string resolved = CheckPath(path);
    if (resolved.empty()) {
        LOGE("Error: Invalid filename provided for deletion.");
        return false;
    }
    if (remove(resolved.c_str()) != 0) {
        LOGE("Error: Unable to delete file %s: %s", path.c_str(), strerror(errno));
        return false;
    }
    LOGI("File %s has been deleted successfully.", path.c_str());
    return true;
}

std::vector<DirFileEntry> DirOperator::DirFindFiles(const std::string &dir,
                                                    const std::string &pattern) {
    struct Found {
        DirFileEntry entry;
        struct timespec changed;
    };
    std::vector<Found> found;
    try {
        const std::regex matcher(pattern, std::regex::ECMAScript);
        for (const std::string &path : RegularFiles(dir)) {
            if (!std::regex_search(path, matcher)) {
                continue;
            }
            struct stat info {};
            if (stat(path.c_str(), &info) != 0) {
                continue;  // gone since the listing
            }
            found.push_back({{path, static_cast<int64_t>(info.st_ctime)}, info.st_ctim});
        }
    } catch (const std::regex_error &e) {
        LOGE("bad file pattern %s: %s", pattern.c_str(), e.what());
        return {};
    }
    // Oldest first; the full change time orders files of the same second,
    // and the path files of the same instant.
    std::sort(found.begin(), found.end(), [](const Found &a, const Found &b) {
        return std::tie(a.changed.tv_sec, a.changed.tv_nsec, a.entry.path) <
               std::tie(b.changed.tv_sec, b.changed.tv_nsec, b.entry.path);
    });
    std::vector<DirFileEntry> files;
    files.reserve(found.size());
    for (Found &item : found) {
        files.push_back(std::move(item.entry));
    }
    return files;
}

bool DirOperator::DirUpdateFileList(const std::string &dir, const std::string &pattern, size_t keep,
                                    long maxAge) {
    if (dir.empty()) {
        LOGE("Error: Empty path provided for file deletion.");
        return false;
    }
    const std::vector<DirFileEntry> files = DirFindFiles(dir, pattern);
    const size_t count = files.size();
    const int64_t now = static_cast<int64_t>(time(nullptr));
    const int64_t limit = maxAge < 0 ? 0 : now - static_cast<int64_t>(maxAge);
    for (size_t i = 0; i < count; ++i) {
        // keep + i >= count, written so that a huge keep cannot wrap.
        if (keep >= count - i && files[i].ctime > limit) {
            break;
        }
        if (DirDeleteFile(files[i].path)) {
            LOGI("Deleted old file at index %zu: %s", i, files[i].path.c_str());
        } else {
            LOGE("Failed to delete old file at index %zu: %s", i, files[i].path.c_str());
        }
    }
    return true;
}

bool DirOperator::DirGetFileList(const std::string &dir, std::vector<std::string> *out) {
    if (dir.empty()) {
        LOGE("Error: Empty path provided for file deletion.");
        return false;
    }
    if (out == nullptr) {
        return false;
    }
    const std::vector<DirFileEntry> files = DirFindFiles(dir, ".");
    out->clear();
    for (const DirFileEntry &file : files) {
        out->push_back(file.path);
    }
    return true;
}
