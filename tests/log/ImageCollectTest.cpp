// The image socket: the images a frame carries become files, and each
// save prunes its directory by the rules of the saved image kinds.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "log/ImageCollect.h"
#include "log/VyrFrame.h"
#include "support/InProcessHal.h"

namespace {

constexpr const char *kDir = "/data/vendor/log/vyrlog/faceimage";

class ImageCollectTest : public vyrtest::InProcessHal {
protected:
    std::vector<std::string> Files(const std::string &devicePath) {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(Real(devicePath))) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    static std::string Numbered(const std::string &stem, int i) {
        return stem + (i < 10 ? "_0" : "_") + std::to_string(i) + ".bin";
    }
};

TEST_F(ImageCollectTest, SavesImagesAndKeepsTheNewestOfEachKind) {
    ImageCollect collect(Hal(), 4);
    ASSERT_TRUE(collect.Init());
    VyrFrame frame(Hal());
    const std::vector<uint8_t> bytes = {1, 2, 3};
    frame.GetData().AddImage(kDir, "other.bin", bytes);
    for (int i = 0; i < 22; ++i) {
        frame.GetData().AddImage(kDir, Numbered("tof_rawdata", i), bytes);
    }
    for (int i = 0; i < 19; ++i) {
        frame.GetData().AddImage(kDir, Numbered("DETECTION_r1", i), bytes);
    }
    for (int i = 0; i < 3; ++i) {
        frame.GetData().AddImage(kDir, Numbered("TEMPLATE_u2", i), bytes);
        frame.GetData().AddImage(kDir, Numbered("TEMPLATE_u3", i), bytes);
    }
    // No bytes: no file.
    frame.GetData().AddImage(kDir, "tof_rawdata_empty.bin", {});
    EXPECT_TRUE(collect.HandleFrame(frame));

    std::vector<std::string> want = {"other.bin"};
    for (int i = 2; i < 22; ++i) {
        want.push_back(Numbered("tof_rawdata", i));
    }
    for (int i = 1; i < 19; ++i) {
        want.push_back(Numbered("DETECTION_r1", i));
    }
    want.push_back(Numbered("TEMPLATE_u2", 2));
    want.push_back(Numbered("TEMPLATE_u3", 2));
    std::sort(want.begin(), want.end());
    EXPECT_EQ(Files(kDir), want);
    EXPECT_EQ(vyrtest::ReadText(Real(std::string(kDir) + "/other.bin")), "\x01\x02\x03");
    EXPECT_TRUE(LogHas("Deleted old file at index 0: "));
}

// Pruning is by directory: the same kind elsewhere is left alone.
TEST_F(ImageCollectTest, PrunesOnlyTheSavedImagesDirectory) {
    const std::string elsewhere = "/data/vendor/log/vyrlog/older";
    for (int i = 0; i < 3; ++i) {
        vyrtest::WriteText(Real(elsewhere + "/" + Numbered("TEMPLATE_u2", i)), "x");
    }
    ImageCollect collect(Hal(), 4);
    VyrFrame frame(Hal());
    frame.GetData().AddImage(kDir, Numbered("TEMPLATE_u2", 9), {7});
    EXPECT_TRUE(collect.HandleFrame(frame));
    EXPECT_EQ(Files(elsewhere).size(), 3u);
    EXPECT_EQ(Files(kDir), std::vector<std::string>{Numbered("TEMPLATE_u2", 9)});
}

}  // namespace
