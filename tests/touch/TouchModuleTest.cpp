// The touch module in this process: packets through the packet entry, the
// Bluetooth pen and the fingerprint block through real FIFOs, the input
// device search, the block checksum and descrambling.
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include "hal/VyrHal.h"
#include "platform/Sysfs.h"
#include "sandbox/Sandbox.h"
#include "support/HalFixture.h"
#include "support/UnitSandbox.h"
#include "touch/FpRoi.h"
#include "touch/TouchNodes.h"
#include "touch/TouchPacket.h"
#include "touch/TouchScreen.h"

namespace {

using touchtest::CountOf;

std::mutex gMsgMutex;
std::vector<vyr_msg_t> gMessages;

void Record(vyr_msg_t &msg) {
    std::lock_guard<std::mutex> lock(gMsgMutex);
    gMessages.push_back(msg);
}

bool WaitUntil(const std::function<bool()> &done, int timeoutMs = 3000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (done()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return done();
}

// A THP packet: 3 rows, 4 columns, one valid touch at peak (1, 2), a stylus.
std::vector<uint8_t> ThpPacket(bool stylus = true) {
    TpPkgStruct pkg{};
    pkg.head = tp::kHeadThp;
    pkg.rows = 3;
    pkg.cols = 4;
    pkg.section0Size = sizeof(TpPkgStruct);
    pkg.diffOffset = pkg.section0Size;
    pkg.diffSize = 3 * 4 * 2;
    pkg.lineDiffOffset = pkg.diffOffset + pkg.diffSize;
    pkg.lineDiffSize = (3 + 4) * 4;
    pkg.touchOffset = pkg.lineDiffOffset + pkg.lineDiffSize;
    pkg.touchSize = tp::kTouchSectionMin;
    pkg.stylusOffset = pkg.touchOffset + pkg.touchSize;
    pkg.stylusSize = 24;
    pkg.peakOffset = pkg.stylusOffset + pkg.stylusSize;
    pkg.peakSize = 4;
    pkg.size = pkg.peakOffset + pkg.peakSize;
    std::vector<uint8_t> bytes(pkg.size, 0);
    memcpy(bytes.data(), &pkg, sizeof(pkg));
    auto put32 = [&](size_t at, int32_t v) { memcpy(&bytes[at], &v, 4); };
    auto put16 = [&](size_t at, int16_t v) { memcpy(&bytes[at], &v, 2); };
    put16(pkg.diffOffset + (2 + 4 * 1) * 2, 321);  // row 1, column 2
    put32(pkg.lineDiffOffset + 1 * 4, 11);         // row 1
    put32(pkg.lineDiffOffset + (3 + 2) * 4, 22);   // column 2
    const size_t record = pkg.touchOffset + 3 * tp::kTouchRecordSize;
    bytes[record + tp::kTouchValid] = 1;
    put32(record + tp::kTouchX, 100);
    put32(record + tp::kTouchY, 200);
    put32(record + tp::kTouchId, 7);
    put32(pkg.touchOffset + tp::kTouchNum, 1);
    put32(pkg.touchOffset + tp::kTouchDownNum, 1);
    if (stylus) {
        put32(pkg.stylusOffset + tp::kStylusPresent, 1);
        put32(pkg.stylusOffset + tp::kStylusTipStatus, 2);
        put32(pkg.stylusOffset + tp::kStylusX, 5);
        put32(pkg.stylusOffset + tp::kStylusY, 6);
        put32(pkg.stylusOffset + tp::kStylusPressure, 900);
        bytes[pkg.stylusOffset + tp::kStylusTiltX] = static_cast<uint8_t>(-3);
        bytes[pkg.stylusOffset + tp::kStylusTiltY] = 4;
    }
    put16(pkg.peakOffset, 1);
    put16(pkg.peakOffset + 2, 2);
    return bytes;
}

// A whole HAL in this process on a sandbox with the touch module.
class TouchModuleTest : public ::testing::Test {
protected:
    virtual std::string Thp() const {
        return "<thp><item>THP_TYPE_TP_DATA</item><item>THP_TYPE_BT_PEN</item>"
               "<item>THP_TYPE_INPUT</item><item>THP_TYPE_FPROI</item></thp>";
    }

    void SetUp() override {
        setenv("VYR_ROOT", mDir.Path().c_str(), 1);
        setenv("VYR_LOGCAT", (mDir.Path() + "/logcat.txt").c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        vyrsim::SandboxOptions options;
        options.productXml = vyrsim::ProductXmlFor(Thp());
        std::string error;
        ASSERT_TRUE(vyrsim::CreateSandbox(mDir.Path(), options, &error)) << error;
        mFp =
            touchtest::MakeFifo(mDir.Path(), "/sys/devices/platform/fingerprint/fp_auxiliary_data");
        mPen = touchtest::MakeFifo(mDir.Path(), "/dev/hidraw3");
        ASSERT_GE(mFp, 0);
        ASSERT_GE(mPen, 0);
        {
            std::lock_guard<std::mutex> lock(gMsgMutex);
            gMessages.clear();
        }
        mHal = std::make_unique<VyrHal>(nullptr);
        ASSERT_TRUE(mHal->Init());
        mHal->VyrInit(vyr_notify_t{Record});
        // The decoders only speak at debug level.
        mHal->SetLogLevel(4);
    }
    void TearDown() override {
        mHal.reset();
        close(mFp);
        close(mPen);
    }

    TouchScreen &Touch() { return mHal->GetTouchScreen(); }
    std::string Logcat() const { return vyrtest::ReadText(mDir.Path() + "/logcat.txt"); }
    bool WaitForLog(const std::string &text) {
        return WaitUntil([&] { return Logcat().find(text) != std::string::npos; });
    }
    std::string Run(const std::string &cmd, const std::string &param) {
        std::vector<uint8_t> out;
        mHal->VyrRunCommand("test", cmd, std::vector<uint8_t>(param.begin(), param.end()), out);
        return std::string(out.begin(), out.end());
    }
    int Post(std::vector<uint8_t> &bytes, size_t at = 0) {
        return Touch().ThpDataPost(bytes.data() + at, static_cast<int32_t>(bytes.size() - at));
    }

    vyrtest::TempDir mDir;
    std::unique_ptr<VyrHal> mHal;
    int mFp = -1;
    int mPen = -1;
};

TEST_F(TouchModuleTest, PacketsFromTheQueueReachThePacketThread) {
    // Two packets end to end in one queue buffer, as the daemon hands them.
    std::vector<uint8_t> two = ThpPacket();
    std::vector<uint8_t> second = ThpPacket(false);
    two.insert(two.end(), second.begin(), second.end());
    mHal->VyrFmqData(two.data(), static_cast<int32_t>(two.size()));
    ASSERT_TRUE(WaitUntil([&] { return CountOf(Logcat(), "thp row: 3, col: 4") == 2; }));
    EXPECT_EQ(CountOf(Logcat(), "error fmq msg head"), 0u);
}

TEST_F(TouchModuleTest, PacketsAreTakenOneByOneAndDecoded) {
    std::vector<uint8_t> two = ThpPacket();
    std::vector<uint8_t> second = ThpPacket(false);
    const int first = static_cast<int>(two.size());
    two.insert(two.end(), second.begin(), second.end());
    ASSERT_EQ(Post(two), first);
    ASSERT_EQ(Post(two, static_cast<size_t>(first)), static_cast<int>(second.size()));
    ASSERT_TRUE(WaitUntil([&] { return CountOf(Logcat(), "thp row: 3, col: 4") == 2; }));
    ASSERT_TRUE(WaitUntil([&] { return CountOf(Logcat(), "diff: 321, linediff: 11, 22") == 2; }));
    std::string log = Logcat();
    EXPECT_EQ(CountOf(log, "tNum: 1, downNum: 1"), 2u);
    EXPECT_EQ(CountOf(log, "touch id: 7, x: 100, y: 200, peak row: 1, peak col: 2"), 2u);
    // Only the first packet has a stylus.
    EXPECT_EQ(CountOf(log, "tipStatus: 2, x: 5, y: 6, tiltX: -3, tiltY: 4, pressure: 900"), 1u);

    // A TPP packet of just a touch section.
    TpPkgStruct tpp{};
    tpp.head = tp::kHeadTpp;
    tpp.section0Size = sizeof(tpp);
    tpp.touchOffset = sizeof(tpp);
    tpp.touchSize = 644;
    tpp.size = tpp.section0Size + tpp.touchSize;
    std::vector<uint8_t> bytes(tpp.size, 0);
    memcpy(bytes.data(), &tpp, sizeof(tpp));
    int32_t count = 3;
    memcpy(&bytes[tpp.touchOffset + tp::kTppTouchNum], &count, 4);
    ASSERT_EQ(Post(bytes), static_cast<int>(tpp.size));
    ASSERT_TRUE(WaitForLog("tNum: 3"));
}

TEST_F(TouchModuleTest, BadPacketsCostTheRestOfTheBuffer) {
    std::vector<uint8_t> bytes = ThpPacket();
    // Head 768 with a correct sum.
    uint32_t head = 768;
    memcpy(bytes.data(), &head, 4);
    EXPECT_EQ(Post(bytes), static_cast<int>(bytes.size()));
    EXPECT_TRUE(WaitForLog("pkg.head: 0x300, size: " + std::to_string(bytes.size()) +
                           ", pkg len: " + std::to_string(bytes.size()) +
                           ", error mesaage format"));
    // A declared size beyond the buffer: the rest, one line, nothing queued.
    std::vector<uint8_t> cut = ThpPacket();
    cut.resize(cut.size() - 10);
    EXPECT_EQ(Post(cut), static_cast<int>(cut.size()));
    EXPECT_TRUE(WaitForLog("data size error"));
    // Short of a header.
    std::vector<uint8_t> shortBuffer(67, 0);
    EXPECT_EQ(Post(shortBuffer), 67);
    EXPECT_TRUE(WaitForLog("size 67 < 68"));
    // Exactly a header whose section sizes sum to 68: queued, decoded.
    TpPkgStruct bare{};
    bare.head = tp::kHeadThp;
    bare.size = 68;
    bare.section0Size = 68;
    bare.rows = 9;
    bare.cols = 8;
    std::vector<uint8_t> header(68);
    memcpy(header.data(), &bare, 68);
    EXPECT_EQ(Post(header), 68);
    EXPECT_TRUE(WaitForLog("thp row: 9, col: 8"));
    // A packet of size 0 (sections summing to 0) must not stall the caller.
    TpPkgStruct empty{};
    empty.head = tp::kHeadTpp;
    std::vector<uint8_t> zero(100, 0);
    memcpy(zero.data(), &empty, 68);
    EXPECT_EQ(Post(zero), 100);
    // Sections pointing outside the packet are not read.
    TpPkgStruct wild = bare;
    wild.touchOffset = 0xFFFFFFF0u;
    wild.touchSize = 0;
    wild.rows = 5;
    memcpy(header.data(), &wild, 68);
    EXPECT_EQ(Post(header), 68);
    EXPECT_TRUE(WaitForLog("thp row: 5, col: 8"));
}

class TouchNoPacketsTest : public TouchModuleTest {
protected:
    std::string Thp() const override { return "<thp><item>THP_TYPE_INPUT</item></thp>"; }
};

TEST_F(TouchNoPacketsTest, AValidPacketIsSteppedOver) {
    EXPECT_EQ(Touch().GetThpConfig(), 0x8u);
    std::vector<uint8_t> bytes = ThpPacket();
    EXPECT_EQ(Post(bytes), static_cast<int>(bytes.size()));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(Logcat().find("thp row"), std::string::npos);
}

TEST_F(TouchModuleTest, PenReportsReachThpClients) {
    // The pen's channel has a client; the command hands the node over with "c".
    Touch().ResetPoll("test", TouchScreen::kPollBtPen, true);
    std::string fd = Run("btpen-name", "/dev/hidraw3");
    ASSERT_FALSE(fd.empty());
    EXPECT_NE(fd, "failed");
    ASSERT_TRUE(WaitForLog("bluetooth pen connnect"));
    // The flag follows the line.
    EXPECT_TRUE(WaitUntil([&] { return mHal->GetHalStatus().Get(HAL_STATUS_BTPEN); }));
    uint8_t report[25];
    for (int i = 0; i < 25; ++i) {
        report[i] = static_cast<uint8_t>(i + 1);
    }
    ASSERT_EQ(write(mPen, report, sizeof(report)), 25);
    ASSERT_TRUE(WaitUntil([] {
        std::lock_guard<std::mutex> lock(gMsgMutex);
        return !gMessages.empty();
    }));
    vyr_msg_t msg;
    {
        std::lock_guard<std::mutex> lock(gMsgMutex);
        msg = gMessages.front();
    }
    EXPECT_EQ(msg.client, "thp-client");
    EXPECT_EQ(msg.type, 256);
    EXPECT_EQ(msg.dataSize, 25);
    ASSERT_EQ(msg.data.size(), 7u);
    EXPECT_EQ(memcmp(msg.data.data(), report, 25), 0);
    // The pen node's writer leaves: the pen counts as gone.
    close(mPen);
    mPen = -1;
    ASSERT_TRUE(WaitForLog("pen hid disconnect"));
    EXPECT_TRUE(WaitUntil([&] { return !mHal->GetHalStatus().Get(HAL_STATUS_BTPEN); }));
}

// A node block with a peak of 640 in frame 1 (of 2).
std::vector<uint8_t> FpBlock(uint16_t validFrames, uint16_t version, uint16_t screen) {
    std::vector<uint8_t> block(fproi::kBlockSize, 0);
    memcpy(&block[fproi::kBlockVersion], &version, 2);
    memcpy(&block[fproi::kBlockValidFrames], &validFrames, 2);
    memcpy(&block[fproi::kBlockScreenStatus], &screen, 2);
    for (size_t i = 0; i < fproi::kReservedIdSize; ++i) {
        block[fproi::kBlockReservedId + i] = static_cast<uint8_t>(0xA0 + i);
    }
    for (size_t cell = 0; cell < 2 * fproi::kFrameCells; ++cell) {
        int16_t value = static_cast<int16_t>(cell % 50);
        memcpy(&block[fproi::kBlockFrames + cell * 2], &value, 2);
    }
    int16_t first = 45;
    memcpy(&block[fproi::kBlockFrames], &first, 2);
    int16_t peak = 640;
    memcpy(&block[fproi::kBlockFrames + (fproi::kFrameCells + 40) * 2], &peak, 2);
    return block;
}

TEST_F(TouchModuleTest, FingerprintBlocksAreCheckedAndWrittenBack) {
    Touch().ResetPoll("test", TouchScreen::kPollFpRoi, true);
    const std::string resultPath = mDir.Path() + "/data/vendor/fingerprint/fp_auxiliary_result";
    auto readResult = [&] { return vyrtest::ReadText(resultPath); };

    // Scrambled by the firmware with the product's data: read back plain.
    fproi::Descrambler scrambler;
    std::string error;
    ASSERT_TRUE(scrambler.Parse(
        vyrtest::ReadText(mDir.Path() + "/vendor/etc/vyr/fp_roi_descramble.conf"), error))
        << error;
    std::vector<uint8_t> plain = FpBlock(2, 3, 1);
    std::vector<uint8_t> block = plain;
    scrambler.Scramble(block.data(), fproi::kScrambleBegin, fproi::kScrambleEnd);
    ASSERT_NE(block, plain);
    ASSERT_EQ(write(mFp, block.data(), block.size()), static_cast<ssize_t>(block.size()));
    ASSERT_TRUE(WaitUntil([&] { return readResult().size() == fproi::kResultSize; }));
    std::string text = readResult();
    std::vector<uint8_t> result(text.begin(), text.end());
    EXPECT_EQ(memcmp(result.data(), "srpf", 4), 0);
    EXPECT_EQ(result[fproi::kResultVersion], 3);
    EXPECT_EQ(result[fproi::kResultValidFrames], 2);
    EXPECT_EQ(result[fproi::kResultScreenStatus], 1);
    EXPECT_EQ(result[fproi::kResultRows], 9);
    EXPECT_EQ(result[fproi::kResultCols], 9);
    int16_t maxDiff = 0;
    memcpy(&maxDiff, &result[fproi::kResultMaxDiff], 2);
    EXPECT_EQ(maxDiff, 640);
    float confidence = 0.0f;
    float threshold = 0.0f;
    memcpy(&confidence, &result[fproi::kResultConfidence], 4);
    memcpy(&threshold, &result[fproi::kResultThreshold], 4);
    EXPECT_FLOAT_EQ(confidence, 0.64f);
    EXPECT_FLOAT_EQ(threshold, 0.5f);
    EXPECT_EQ(
        memcmp(&result[fproi::kResultFrames], &plain[fproi::kBlockFrames], fproi::kFramesSize), 0);
    EXPECT_EQ(memcmp(&result[fproi::kResultReservedId], &plain[fproi::kBlockReservedId], 16), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&result[fproi::kResultAlgVersion])),
              "fpac-sim-1.0");
    uint16_t crc = 0;
    memcpy(&crc, &result[fproi::kResultCrc], 2);
    memset(&result[fproi::kResultCrc], 0, 2);
    EXPECT_EQ(crc, fproi::Crc16Xmodem(result.data(), result.size()));
    ASSERT_TRUE(WaitForLog("maxDiff: 640, confidence: 0.640000, threshold: 0.500000"));

    // No valid frame: skipped, unless the version is 200, whose first cell
    // alone makes max_diff.
    unlink(resultPath.c_str());
    std::vector<uint8_t> none = FpBlock(0, 7, 0);
    ASSERT_EQ(write(mFp, none.data(), none.size()), static_cast<ssize_t>(none.size()));
    std::vector<uint8_t> v200 = FpBlock(0, 200, 0);
    ASSERT_EQ(write(mFp, v200.data(), v200.size()), static_cast<ssize_t>(v200.size()));
    ASSERT_TRUE(WaitForLog("maxDiff: 45,"));
    EXPECT_EQ(CountOf(Logcat(), "maxDiff:"), 2u);

    // A short block: skipped with a line; then the side refuses for good.
    ASSERT_EQ(write(mFp, none.data(), 100), 100);
    ASSERT_TRUE(WaitForLog("fp roi data len: 4086 != ret: 100"));
    vyrtest::WriteText(mDir.Path() + "/properties",
                       vyrtest::ReadText(mDir.Path() + "/properties") + "vyrsim.fp.refuse=1\n");
    ASSERT_EQ(write(mFp, v200.data(), v200.size()), static_cast<ssize_t>(v200.size()));
    ASSERT_TRUE(WaitForLog("not slef algo, disable fpac check"));
    EXPECT_TRUE(WaitForLog("SetFpAuxiliaryResylt error: 0 != 5120"));
}

using TouchUnitTest = vyrtest::UnitSandbox;

TEST_F(TouchUnitTest, InputDevicesMatchByPrefixWithFullNamesAsKeys) {
    int a = touchtest::MakeInputNode(mRoot.Path(), "event4", "tolvi,ts_pen");
    int b = touchtest::MakeInputNode(mRoot.Path(), "event5", "input_mt_wrapper1");
    int c = touchtest::MakeInputNode(mRoot.Path(), "event6", "gpio-keys");
    ASSERT_GE(a, 0);
    ASSERT_GE(b, 0);
    ASSERT_GE(c, 0);
    Sysfs sysfs(NewHal());
    // "tolvi,ts" comes first and takes the pen node under its full name.
    auto devices = sysfs.GetInputDevice({"tolvi,ts", "tolvi,ts_pen", "input_mt_wrapper"});
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices.count("tolvi,ts_pen"), 1u);
    EXPECT_EQ(devices.count("input_mt_wrapper1"), 1u);
    for (const auto &entry : devices) {
        close(entry.second);
    }
    EXPECT_TRUE(sysfs.GetInputDevice({"nothing"}).empty());
    EXPECT_EQ(LinesWith("couldn't find thp or tpp or pen input event device").size(), 1u);
    close(a);
    close(b);
    close(c);
}

TEST(FpRoiTest, ChecksumAndDescramblingData) {
    const char *check = "123456789";
    EXPECT_EQ(fproi::Crc16Xmodem(reinterpret_cast<const uint8_t *>(check), 9), 0x31C3);
    fproi::Descrambler d;
    std::string error;
    EXPECT_FALSE(d.Parse("passes 1\npermutation 0 1\n", error));
    EXPECT_FALSE(d.IsLoaded());
    std::string text =
        "passes 3\npermutation 15 14 13 12 11 10 9 8 7 6 5 4 3 2 1 0\n"
        "key 1 2 3 4 # a comment\n";
    std::string table = "table";
    for (int i = 0; i < 256; ++i) {
        table += " " + std::to_string((i + 7) % 256);
    }
    EXPECT_FALSE(d.Parse(text, error));  // no table
    ASSERT_TRUE(d.Parse(text + table + "\n", error)) << error;
    uint8_t block[16];
    uint8_t plain[16];
    for (int i = 0; i < 16; ++i) {
        plain[i] = block[i] = static_cast<uint8_t>(i * 13);
    }
    d.ScrambleBlock(block);
    EXPECT_NE(memcmp(block, plain, 16), 0);
    d.DescrambleBlock(block);
    EXPECT_EQ(memcmp(block, plain, 16), 0);
    // A table that is no permutation is refused.
    EXPECT_FALSE(d.Parse(text + "table" + std::string(256 * 2, ' ') + "\n", error));
}

}  // namespace
