#include <boundchk.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>

namespace {

int Format(char *dest, size_t destMax, size_t count, const char *format, ...)
    __attribute__((__format__(__printf__, 4, 5)));
int Format(char *dest, size_t destMax, size_t count, const char *format, ...) {
    va_list ap;
    va_start(ap, format);
    int n = vsnprintf_s(dest, destMax, count, format, ap);
    va_end(ap);
    return n;
}

TEST(BoundChkTest, MemcpyAndMemset) {
    char dest[8];
    memset(dest, 'q', sizeof(dest));
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), "abcdefgh", 8), EOK);
    EXPECT_EQ(std::string(dest, 8), "abcdefgh");
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), "abcdefghi", 9), ERANGE);
    EXPECT_EQ(std::string(dest, 8), std::string(8, '\0'));
    memset(dest, 'q', sizeof(dest));
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), nullptr, 1), EINVAL);
    EXPECT_EQ(dest[0], '\0');
    EXPECT_EQ(memcpy_s(nullptr, 8, "a", 1), EINVAL);
    EXPECT_EQ(memcpy_s(dest, 0, "a", 1), ERANGE);
    EXPECT_EQ(memcpy_s(dest, 0x80000000UL, "a", 1), ERANGE);
    memcpy(dest, "abcdefgh", 8);
    EXPECT_EQ(memcpy_s(dest + 2, 6, dest, 4), EOVERLAP);
    EXPECT_EQ(std::string(dest, 8), std::string("ab") + std::string(6, '\0'));
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), dest + 4, 4), EOK);  // adjacent, not overlapping

    EXPECT_EQ(memset_s(dest, sizeof(dest), 'z', 3), EOK);
    EXPECT_EQ(std::string(dest, 4).substr(0, 3), "zzz");
    EXPECT_EQ(memset_s(dest, sizeof(dest), 'y', 9), ERANGE);
    EXPECT_EQ(std::string(dest, 8), std::string(8, 'y'));
    EXPECT_EQ(memset_s(nullptr, 8, 0, 1), EINVAL);
    EXPECT_EQ(memset_s(dest, 0, 0, 0), ERANGE);
}

TEST(BoundChkTest, StrcpyAndStrcat) {
    char dest[6] = "old";
    EXPECT_EQ(strcpy_s(dest, sizeof(dest), "12345"), EOK);
    EXPECT_STREQ(dest, "12345");
    EXPECT_EQ(strcpy_s(dest, sizeof(dest), "123456"), ERANGE);
    EXPECT_STREQ(dest, "");
    strcpy(dest, "abc");
    EXPECT_EQ(strcpy_s(dest, sizeof(dest), nullptr), EINVAL);
    EXPECT_STREQ(dest, "");
    strcpy(dest, "abc");
    EXPECT_EQ(strcpy_s(dest + 1, 5, dest), EOVERLAP);
    EXPECT_EQ(strcpy_s(nullptr, 6, "a"), EINVAL);
    EXPECT_EQ(strcpy_s(dest, 0, "a"), ERANGE);

    strcpy(dest, "ab");
    EXPECT_EQ(strcat_s(dest, sizeof(dest), "cde"), EOK);
    EXPECT_STREQ(dest, "abcde");
    EXPECT_EQ(strcat_s(dest, sizeof(dest), ""), EOK);
    EXPECT_EQ(strcat_s(dest, sizeof(dest), "f"), ERANGE);
    EXPECT_STREQ(dest, "");
    memset(dest, 'x', sizeof(dest));  // not a string
    EXPECT_EQ(strcat_s(dest, sizeof(dest), "a"), EINVAL);
    EXPECT_EQ(dest[0], '\0');
    EXPECT_EQ(strcat_s(dest, sizeof(dest), nullptr), EINVAL);
}

TEST(BoundChkTest, SprintfRefusesWhatDoesNotFit) {
    char dest[16];
    EXPECT_EQ(sprintf_s(dest, sizeof(dest), "/dev/input/%s", "event3"), -1);
    EXPECT_STREQ(dest, "");
    EXPECT_EQ(sprintf_s(dest, sizeof(dest), "/dev/input/%s", "ev3"), 14);
    EXPECT_STREQ(dest, "/dev/input/ev3");
    EXPECT_EQ(sprintf_s(dest, sizeof(dest), "%s%d", "event", 42), 7);
    EXPECT_STREQ(dest, "event42");
    EXPECT_EQ(sprintf_s(dest, sizeof(dest), "%s", "0123456789abcdef"), -1);
    EXPECT_STREQ(dest, "");
    EXPECT_EQ(sprintf_s(nullptr, 4, "x"), -1);
    EXPECT_EQ(sprintf_s(dest, 0, "x"), -1);
}

TEST(BoundChkTest, VsnprintfKeepsTheCutText) {
    char dest[8];
    EXPECT_EQ(Format(dest, sizeof(dest), sizeof(dest) - 1, "%d", 1234567), 7);
    EXPECT_STREQ(dest, "1234567");
    EXPECT_EQ(Format(dest, sizeof(dest), sizeof(dest) - 1, "%d", 12345678), -1);
    EXPECT_STREQ(dest, "1234567");
    EXPECT_EQ(Format(dest, sizeof(dest), 3, "%s", "abcdef"), -1);
    EXPECT_STREQ(dest, "abc");
    EXPECT_EQ(Format(dest, sizeof(dest), 100, "%s", "abcdefghij"), -1);
    EXPECT_STREQ(dest, "abcdefg");
    EXPECT_EQ(Format(dest, sizeof(dest), 0, "%s", ""), 0);

    strcpy(dest, "keep");
    EXPECT_EQ(Format(dest, sizeof(dest), 7, nullptr), -1);
    EXPECT_STREQ(dest, "");
    EXPECT_EQ(Format(nullptr, 8, 7, "x"), -1);
    strcpy(dest, "keep");
    EXPECT_EQ(Format(dest, 0, 7, "x"), -1);
    EXPECT_STREQ(dest, "keep");
}

}  // namespace
