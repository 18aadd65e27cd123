#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "file/FileReader.h"
#include "file/FileSandbox.h"
#include "file/FileStorer.h"

using vyr_file_test::FileSandbox;
using vyrtest::ReadText;
using vyrtest::WriteText;

namespace {

constexpr const char *kCsv = "/data/vendor/log/vyrlog/SENSOR.csv";

class FileStorerTest : public FileSandbox {
protected:
    void SetUp() override {
        FileSandbox::SetUp();
        MakeDirs("/data/vendor/log/vyrlog");
    }
    // Bytes that reached the file so far (not those still buffered).
    off_t OnDisk() const {
        struct stat info {};
        return stat(Real(kCsv).c_str(), &info) == 0 ? info.st_size : -1;
    }
};

TEST_F(FileStorerTest, HeaderOncePerFileAndAgainAfterTheFileVanishes) {
    FileStorer storer(*mHal, kCsv, true);
    storer.Write("h\n", "r1\n", true);
    storer.Write("h\n", "r2\n", true);
    storer.Write("h\n", "", true);  // nothing at all
    EXPECT_EQ(ReadText(Real(kCsv)), "h\nr1\nr2\n");
    EXPECT_EQ(storer.GetCount(), 2u);
    EXPECT_EQ(storer.GetSize(), 8u);

    ASSERT_EQ(unlink(Real(kCsv).c_str()), 0);
    storer.Write("h\n", "r3\n", true);
    EXPECT_EQ(ReadText(Real(kCsv)), "h\nr3\n");
    EXPECT_EQ(storer.GetCount(), 1u);
    EXPECT_EQ(storer.GetSize(), 5u);

    struct stat info {};
    ASSERT_EQ(stat(Real(kCsv).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0666u);

    // Not once: the header leads every record.
    storer.Write("h\n", "r4\n", false);
    EXPECT_EQ(ReadText(Real(kCsv)), "h\nr3\nh\nr4\n");
}

TEST_F(FileStorerTest, AppendsToAnExistingFileAndCountsItsSize) {
    WriteText(Real(kCsv), "earlier\n");
    FileStorer storer(*mHal, kCsv, true);
    storer.Write("", "later\n", true);
    EXPECT_EQ(ReadText(Real(kCsv)), "earlier\nlater\n");
    EXPECT_EQ(storer.GetSize(), 14u);
}

TEST_F(FileStorerTest, FlushesEveryTenthRecordUnlessToldOtherwise) {
    {
        FileStorer storer(*mHal, kCsv, false);
        storer.Write("head\n", "0123456789\n", true);
        // The header goes out with the count still at 0; record 1 waits.
        EXPECT_EQ(OnDisk(), 5);
        for (int i = 2; i <= 9; ++i) {
            storer.Write("head\n", "0123456789\n", true);
        }
        EXPECT_EQ(OnDisk(), 5);
        EXPECT_EQ(storer.GetSize(), 5u + 9 * 11);
        storer.Write("head\n", "0123456789\n", true);
        EXPECT_EQ(OnDisk(), 5 + 10 * 11);
        storer.Write("head\n", "0123456789\n", true);
        EXPECT_EQ(OnDisk(), 5 + 10 * 11);
    }
    // The destructor flushes the rest.
    EXPECT_EQ(OnDisk(), 5 + 11 * 11);

    ASSERT_EQ(unlink(Real(kCsv).c_str()), 0);
    FileStorer always(*mHal, kCsv, true);
    always.Write("head\n", "x\n", true);
    EXPECT_EQ(OnDisk(), 7);
}

TEST_F(FileStorerTest, MissingDirectoryOrNameWritesNothing) {
    FileStorer nowhere(*mHal, "/data/vendor/log/none/a.csv", true);
    EXPECT_FALSE(nowhere.Init());
    nowhere.Write("h\n", "r\n", true);
    EXPECT_FALSE(Exists(Real("/data/vendor/log/none")));
    EXPECT_EQ(nowhere.GetCount(), 0u);

    FileStorer unnamed(*mHal, "", true);
    EXPECT_FALSE(unnamed.Init());
    EXPECT_NE(TakeLog().find("mFilename size = 0"), std::string::npos);
}

TEST_F(FileStorerTest, ReaderSplitsLongLinesAt1023) {
    const std::string longLine(2000, 'x');
    WriteText(Real(kCsv), longLine + "\nshort\ntail");
    FileReader reader(*mHal, kCsv);
    std::vector<std::string> lines{"kept"};
    ASSERT_TRUE(reader.ReadLines(lines));
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], "kept");
    EXPECT_EQ(lines[1], std::string(1023, 'x'));
    EXPECT_EQ(lines[2], std::string(977, 'x') + "\n");
    EXPECT_EQ(lines[3], "short\n");
    EXPECT_EQ(lines[4], "tail");
}

TEST_F(FileStorerTest, ReaderReadsWholeFilesAndRefusesOthers) {
    const std::string bytes("a\0b\nc", 5);
    WriteText(Real(kCsv), bytes);
    FileReader reader(*mHal, kCsv);
    std::vector<char> out;
    ASSERT_TRUE(reader.Read(out));
    EXPECT_EQ(std::string(out.begin(), out.end()), bytes);
    // A second read of the same reader starts again at the beginning.
    std::vector<std::string> lines;
    ASSERT_TRUE(reader.ReadLines(lines));
    EXPECT_EQ(lines.size(), 2u);

    std::vector<char> none{'?'};
    FileReader missing(*mHal, "/data/vendor/log/vyrlog/missing.bin");
    EXPECT_FALSE(missing.Read(none));
    FileReader directory(*mHal, "/data/vendor/log/vyrlog");
    EXPECT_FALSE(directory.Read(none));
    FileReader unnamed(*mHal, "");
    EXPECT_FALSE(unnamed.ReadLines(lines));
    const std::string log = TakeLog();
    EXPECT_NE(log.find("mFile is nullptr"), std::string::npos);
    EXPECT_NE(log.find("mFilename size = 0"), std::string::npos);
}

}  // namespace
