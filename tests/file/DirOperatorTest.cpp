#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "file/DirOperator.h"
#include "file/FileSandbox.h"

using vyr_file_test::FileSandbox;
using vyrtest::ReadText;
using vyrtest::WriteText;

namespace {

constexpr const char *kLogDir = "/data/vendor/log/vyrlog/";
constexpr const char *kTofDir = "/data/vendor/log/vyrlog/TofImage/";

struct timespec ChangeTime(const std::string &path) {
    struct stat info {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info.st_ctim;
}

bool Before(const struct timespec &a, const struct timespec &b) {
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// File times move in clock ticks: wait until the next change stamps later.
void NextTick() {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
}

class DirOperatorTest : public FileSandbox {
protected:
    void SetUp() override {
        FileSandbox::SetUp();
        mDir = new DirOperator(*mHal);
    }
    void TearDown() override {
        delete mDir;
        FileSandbox::TearDown();
    }
    DirOperator *mDir = nullptr;
};

TEST_F(DirOperatorTest, UpdateFileListByCountDropsOldestChangeTimeFirst) {
    MakeDirs(kTofDir);
    const std::string dir = Real(kTofDir);
    for (const char *name : {"tof_rawdata_a", "tof_rawdata_b", "tof_rawdata_c"}) {
        WriteText(dir + name, "x");
        NextTick();
    }
    WriteText(dir + "DETECTION_a", "other pattern");
    // Touching "a" makes it the newest although its name sorts first.
    chmod((dir + "tof_rawdata_a").c_str(), 0640);
    ASSERT_TRUE(Before(ChangeTime(dir + "tof_rawdata_c"), ChangeTime(dir + "tof_rawdata_a")));

    // Nothing to do while the count is within keep.
    EXPECT_TRUE(mDir->DirUpdateFileList(kTofDir, "tof_rawdata", 3, -1));
    EXPECT_EQ(mDir->DirList(kTofDir).size(), 4u);

    EXPECT_TRUE(mDir->DirUpdateFileList(kTofDir, "tof_rawdata", 1, -1));
    EXPECT_FALSE(Exists(dir + "tof_rawdata_b"));
    EXPECT_FALSE(Exists(dir + "tof_rawdata_c"));
    EXPECT_TRUE(Exists(dir + "tof_rawdata_a"));
    EXPECT_TRUE(Exists(dir + "DETECTION_a"));
    std::string log = TakeLog();
    EXPECT_NE(log.find("Deleted old file at index 0: " + dir + "tof_rawdata_b"), std::string::npos)
        << log;
    EXPECT_NE(log.find("Deleted old file at index 1: " + dir + "tof_rawdata_c"), std::string::npos);

    EXPECT_FALSE(mDir->DirUpdateFileList("", ".", 1, -1));
    EXPECT_NE(TakeLog().find("Error: Empty path provided for file deletion."), std::string::npos);
}

TEST_F(DirOperatorTest, UpdateFileListByAgeRemovesFilesOlderThanMaxAge) {
    MakeDirs(kTofDir);
    const std::string dir = Real(kTofDir);
    const std::vector<std::string> names = {"tof_rawdata_1", "tof_rawdata_2", "tof_rawdata_3",
                                            "tof_rawdata_4", "tof_rawdata_5"};
    for (const auto &name : names) {
        WriteText(dir + name, "x");
    }
    // All files are younger than two days: within keep, nothing goes.
    EXPECT_TRUE(mDir->DirUpdateFileList(kTofDir, "tof_rawdata", 20, 172800));
    EXPECT_EQ(mDir->DirList(kTofDir).size(), 5u);

    // Age the files for real: wait three seconds, then give three of them a
    // fresh change time. The two left ("4", "5") are now 3 s older.
    time_t oldest = 0;
    for (const auto &name : names) {
        oldest = std::max(oldest, ChangeTime(dir + name).tv_sec);
    }
    while (time(nullptr) < oldest + 3) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    for (const auto &name : {names[0], names[1], names[2]}) {
        chmod((dir + name).c_str(), 0640);
    }
    EXPECT_TRUE(mDir->DirUpdateFileList(kTofDir, "tof_rawdata", 20, 2));
    EXPECT_TRUE(Exists(dir + names[0]));
    EXPECT_TRUE(Exists(dir + names[1]));
    EXPECT_TRUE(Exists(dir + names[2]));
    EXPECT_FALSE(Exists(dir + names[3]));
    EXPECT_FALSE(Exists(dir + names[4]));

    // An age of 0 leaves nothing that changed before now, whatever keep says.
    while (time(nullptr) <= ChangeTime(dir + names[0]).tv_sec) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(mDir->DirUpdateFileList(kTofDir, ".", 20, 0));
    EXPECT_TRUE(mDir->DirList(kTofDir).empty());
}

TEST_F(DirOperatorTest, CreateMakesOnlyTheMissingLevels) {
    MakeDirs("/data/vendor/log", 0700);
    chmod(Real("/data/vendor/log").c_str(), 0700);
    WriteText(Real("/data/vendor/log/keep.txt"), "kept");

    EXPECT_TRUE(mDir->DirCreate("/data/vendor/log/vyrlog/TofImage"));
    struct stat info {};
    ASSERT_EQ(stat(Real("/data/vendor/log").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);  // existing level untouched
    EXPECT_EQ(ReadText(Real("/data/vendor/log/keep.txt")), "kept");
    for (const char *made : {"/data/vendor/log/vyrlog", "/data/vendor/log/vyrlog/TofImage"}) {
        ASSERT_EQ(stat(Real(made).c_str(), &info), 0) << made;
        EXPECT_TRUE(S_ISDIR(info.st_mode));
        EXPECT_EQ(info.st_mode & 07777, 0776u) << made;  // created without the umask
    }
    // Everything there already: success without a step.
    EXPECT_TRUE(mDir->DirCreate("/data/vendor/log/vyrlog/TofImage/"));
    EXPECT_FALSE(mDir->DirCreate(""));

    // A level that is a regular file stops the walk.
    WriteText(Real("/data/vendor/log/plain"), "x");
    TakeLog();
    EXPECT_FALSE(mDir->DirCreate("/data/vendor/log/plain/sub"));
    EXPECT_NE(TakeLog().find("mkdir the dir [/data/vendor/log/plain/sub, "
                             "/data/vendor/log/plain/sub] failed: Not a directory"),
              std::string::npos);
}

TEST_F(DirOperatorTest, OwnershipChangesOnlyAtDebugLevel) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "chown to another group needs root";
    }
    const struct group *system = getgrnam("system");
    const gid_t systemGid = system != nullptr ? system->gr_gid : 1000;
    struct stat info {};

    EXPECT_TRUE(mDir->DirCreate("/data/quiet"));
    ASSERT_EQ(stat(Real("/data/quiet").c_str(), &info), 0);
    EXPECT_EQ(info.st_gid, getegid());
    EXPECT_EQ(TakeLog().find("change file group"), std::string::npos);

    mHal->SetLogLevel(4);
    EXPECT_TRUE(mDir->DirCreate("/data/loud"));
    ASSERT_EQ(stat(Real("/data/loud").c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, 0u);
    EXPECT_EQ(info.st_gid, systemGid);
    mDir->DirCreateFile("/data/loud/file");
    ASSERT_EQ(stat(Real("/data/loud/file").c_str(), &info), 0);
    EXPECT_TRUE(S_ISREG(info.st_mode));
    EXPECT_EQ(info.st_mode & 07777, 0776u);
    EXPECT_EQ(info.st_gid, systemGid);
    const std::string log = TakeLog();
    EXPECT_NE(log.find("change file group: 0, 0, " + std::to_string(systemGid)), std::string::npos)
        << log;
    EXPECT_NE(log.find("mkdir success: /data/loud"), std::string::npos);
}

TEST_F(DirOperatorTest, SaveFileWritesBytesAndIgnoresEmptyInput) {
    mDir->DirSaveFile(kTofDir, "empty.bin", {});
    EXPECT_FALSE(Exists(Real(kTofDir)));
    mDir->DirSaveFile("", "x.bin", {1, 2});
    EXPECT_FALSE(Exists(Real(kTofDir)));

    mDir->DirSaveFile(kTofDir, "face.bin", {'a', 0, 'b'});
    EXPECT_EQ(ReadText(Real(kTofDir) + "face.bin"), std::string("a\0b", 3));
    // A directory without its closing slash still names the directory.
    mDir->DirSaveFile("/data/vendor/log/vyrlog/TofImage", "second.bin", {'z'});
    EXPECT_EQ(ReadText(Real(kTofDir) + "second.bin"), "z");
}

TEST_F(DirOperatorTest, CleanVyrlogRemovesRegularFilesOnly) {
    MakeDirs("/data/vendor/log/vyrlog/sub");
    const std::string dir = Real(kLogDir);
    WriteText(dir + "a.log", "a");
    WriteText(dir + "b.log", "b");
    WriteText(dir + "sub/inner.log", "inner");

    mDir->DirCleanVyrlog(kLogDir);
    EXPECT_FALSE(Exists(dir + "a.log"));
    EXPECT_FALSE(Exists(dir + "b.log"));
    EXPECT_TRUE(Exists(dir + "sub/inner.log"));
    const std::string log = TakeLog();
    EXPECT_NE(log.find("del: " + dir + "a.log\ndel: " + dir + "b.log\ndel file count: 2"),
              std::string::npos)
        << log;

    // A missing directory is an empty one.
    mDir->DirCleanVyrlog("/data/nothing/");
    EXPECT_NE(TakeLog().find("del file count: 0"), std::string::npos);
}

TEST_F(DirOperatorTest, ListingsFeedBackIntoOtherOperations) {
    MakeDirs("/data/vendor/log/vyrlog/sub");
    const std::string dir = Real(kLogDir);
    WriteText(dir + "b.log", "b");
    NextTick();
    WriteText(dir + "a.log", "a");
    symlink((dir + "a.log").c_str(), (dir + "link.log").c_str());

    const std::set<std::string> listed = mDir->DirList(kLogDir);
    EXPECT_EQ(listed, (std::set<std::string>{dir + "a.log", dir + "b.log"}));
    std::vector<std::string> byAge{"stale"};
    EXPECT_TRUE(mDir->DirGetFileList(kLogDir, &byAge));
    EXPECT_EQ(byAge, (std::vector<std::string>{dir + "b.log", dir + "a.log"}));
    // The same through the already mapped directory.
    EXPECT_EQ(mDir->DirList(dir), listed);

    EXPECT_TRUE(mDir->FileExists(*listed.begin()));
    EXPECT_TRUE(mDir->DirDeleteFile(*listed.begin()));
    EXPECT_FALSE(mDir->FileExists(*listed.begin()));
    EXPECT_TRUE(mDir->DirDeleteFile("/data/vendor/log/vyrlog/b.log"));
    EXPECT_FALSE(mDir->DirDeleteFile("/data/vendor/log/vyrlog/b.log"));
    EXPECT_FALSE(mDir->DirDeleteFile(""));
    const std::string log = TakeLog();
    EXPECT_NE(log.find("File " + dir + "a.log has been deleted successfully."), std::string::npos);
    EXPECT_NE(log.find("Error: Invalid filename provided for deletion."), std::string::npos);
    EXPECT_NE(log.find("Error: Empty filename provided for deletion."), std::string::npos);

    EXPECT_TRUE(mDir->DirFindFiles(kLogDir, "(").empty());  // bad pattern, no throw
}

TEST_F(DirOperatorTest, CreateVyrlogLinksTheLogDirectoryWhenMissing) {
    EXPECT_TRUE(mDir->DirCreateVyrlog("/data/vendor/log/dft/"));
    const std::string link = Real("/data/vendor/log/vyrlog");
    struct stat info {};
    ASSERT_EQ(lstat(link.c_str(), &info), 0);
    EXPECT_TRUE(S_ISLNK(info.st_mode));
    WriteText(Real("/data/vendor/log/dft/x.txt"), "x");
    EXPECT_TRUE(mDir->FileExists("/data/vendor/log/vyrlog/x.txt"));

    // With the log directory present the link stays as it is.
    EXPECT_TRUE(mDir->DirCreateVyrlog("/data/other/"));
    char target[4096] = {0};
    ASSERT_GT(readlink(link.c_str(), target, sizeof(target) - 1), 0);
    EXPECT_EQ(std::string(target), Real("/data/vendor/log/dft"));
}

TEST_F(DirOperatorTest, CreateVyrlogAtStartMakesARealDirectory) {
    mDir->DirCreateVyrlog(kLogDir);
    struct stat info {};
    ASSERT_EQ(lstat(Real("/data/vendor/log/vyrlog").c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));

    WriteText(Real(kLogDir) + "stale.log", "old");
    mDir->DirCleanVyrlog(kLogDir);
    EXPECT_TRUE(mDir->DirList(kLogDir).empty());
}

}  // namespace
