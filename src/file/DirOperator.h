// Directory work of the library: creation with the system group, listing,
// saving and pruning.
//
// Paths may be given as device paths ("/data/vendor/log/...") or as the
// paths where those live on this system; both reach the same files. Listings
// (DirList, DirFindFiles, DirGetFileList) return the latter, which map to
// themselves, so their entries can be handed straight back to any operation
// here or to a system call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

class LogSink;
class VyrHal;

// One file of a listing.
struct DirFileEntry {
    std::string path;
    int64_t ctime = 0;  // st_ctime, seconds
};

class DirOperator {
public:
    explicit DirOperator(VyrHal &hal);
    ~DirOperator() = default;

    DirOperator(const DirOperator &) = delete;
    DirOperator &operator=(const DirOperator &) = delete;

    // Owner root, group system. Runs chown only at debug level.
    void DirChangeGroup(const std::string path);
    bool FileExists(const std::string &path);
    void DirCreateFile(const std::string path);
    // Creates every missing level of path; true when the last step succeeded.
    bool DirCreate(const std::string &path);
    // Creates path and, when the log directory is missing, links it there.
    bool DirCreateVyrlog(const std::string path);
    // Full paths of the regular files of dir, ordered by path.
    std::set<std::string> DirList(const std::string dir);
    // Removes every regular file of dir.
    void DirCleanVyrlog(const std::string &dir);
    void DirSaveFile(const std::string dir, const std::string name, std::vector<uint8_t> bytes);
    bool DirDeleteFile(const std::string &path);
    // Regular files of dir whose full path matches pattern (ECMAScript,
    // searched), oldest change time first.
    std::vector<DirFileEntry> DirFindFiles(const std::string &dir, const std::string &pattern);
    // Deletes the oldest matching files until at most keep remain, and
    // beyond that every one older than maxAge seconds (negative: no age limit).
    bool DirUpdateFileList(const std::string &dir, const std::string &pattern, size_t keep,
                           long maxAge);
    // All regular files of dir, oldest change time first.
    bool DirGetFileList(const std::string &dir, std::vector<std::string> *out);

private:
    VyrHal &mHal;
    LogSink &mLog;
};
