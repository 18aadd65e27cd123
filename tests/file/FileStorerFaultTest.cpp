// A file system that stops taking bytes (a full disk, here a file size
// limit in a child process): the log file keeps whole lines only, the
// writer goes on, and no record goes in without its header.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "file/FileSandbox.h"
#include "file/FileStorer.h"

namespace {

class FileStorerFaultTest : public vyr_file_test::FileSandbox {
protected:
    // Runs body in a child with writes limited to limitBytes per file; the
    // child's exit code, or -1 when it did not exit normally.
    int InChild(rlim_t limitBytes, void (*body)(VyrHal &)) {
        pid_t pid = fork();
        if (pid == 0) {
            signal(SIGXFSZ, SIG_IGN);
            rlimit limit{limitBytes, limitBytes};
            setrlimit(RLIMIT_FSIZE, &limit);
            body(*mHal);
            _exit(0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

void WriteRecords(VyrHal &hal) {
    // Flushed every tenth record, as the writer of a continuous sensor.
    FileStorer storer(hal, "/data/vendor/log/vyrlog/full.csv", false);
    for (int i = 0; i < 400; ++i) {
        storer.Write(
            "label\ncolumns\n",
            "1769862605042,123456789,3," + std::to_string(i) + ".000000,0.000000,9.806650\n", true);
    }
}

void WriteHeaderThenFail(VyrHal &hal) {
    FileStorer storer(hal, "/data/vendor/log/vyrlog/tiny.csv", true);
    storer.Write("a header longer than the limit of this file\n", "x\n", true);
    storer.Write("a header longer than the limit of this file\n", "y\n", true);
}

}  // namespace

TEST_F(FileStorerFaultTest, AFullFileSystemLeavesNoCutLine) {
    MakeDirs("/data/vendor/log/vyrlog");
    ASSERT_EQ(InChild(3000, WriteRecords), 0);
    const std::string text = Get("/data/vendor/log/vyrlog/full.csv");
    ASSERT_FALSE(text.empty());
    EXPECT_LE(text.size(), 3000u);
    EXPECT_EQ(text.back(), '\n');
    EXPECT_EQ(text.rfind("label\ncolumns\n", 0), 0u);
    std::vector<std::string> lines = vyrtest::ReadLines(Real("/data/vendor/log/vyrlog/full.csv"));
    for (size_t i = 2; i < lines.size(); ++i) {
        EXPECT_EQ(std::count(lines[i].begin(), lines[i].end(), ','), 5) << lines[i];
        EXPECT_EQ(lines[i].substr(lines[i].size() - 8), "9.806650") << lines[i];
    }
}

TEST_F(FileStorerFaultTest, NoRecordGoesInWithoutItsHeader) {
    MakeDirs("/data/vendor/log/vyrlog");
    ASSERT_EQ(InChild(10, WriteHeaderThenFail), 0);
    // Neither record went in without its header.
    EXPECT_EQ(Get("/data/vendor/log/vyrlog/tiny.csv"), "");
}
