// Face enrolment through the real queue: packages enciphered here with the
// key the always-on stand-in received, fed to vyr_fmq_data, deciphered by
// the module through the cipher library; refusals of bad packages; the
// delete; and a scan proving no template byte reaches the file system.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "camera/CameraFixture.h"
#include "camera/FacePackage.h"
#include "log/VyrFrame.h"
#include "platform/LibOpenssl.h"

using vyrtest::CameraFixture;

namespace {

using Key = std::array<uint8_t, facepkg::kKeyBytes>;

void Put32(std::vector<uint8_t> &out, size_t offset, uint32_t value) {
    std::memcpy(out.data() + offset, &value, sizeof(value));
}

// Every regular file under `dir`, recursively.
void ListFiles(const std::string &dir, std::vector<std::string> &out) {
    DIR *handle = opendir(dir.c_str());
    if (handle == nullptr) {
        return;
    }
    while (dirent *entry = readdir(handle)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        const std::string path = dir + "/" + name;
        struct stat info {};
        if (lstat(path.c_str(), &info) != 0) {
            continue;
        }
        if (S_ISDIR(info.st_mode)) {
            ListFiles(path, out);
        } else if (S_ISREG(info.st_mode)) {
            out.push_back(path);
        }
    }
    closedir(handle);
}

class FaceTemplateTest : public CameraFixture {
protected:
    void Start(const std::string &product = "") {
        StartHal(product);
        ASSERT_TRUE(mCipher.Init());
    }

    void Feed(std::vector<uint8_t> bytes) {
        ASSERT_EQ(mHal->VyrFmqData(bytes.data(), static_cast<int32_t>(bytes.size())),
                  static_cast<int>(bytes.size()));
    }
    static std::vector<uint8_t> Header(uint32_t code, uint32_t user) {
        std::vector<uint8_t> out(facepkg::kHeaderBytes, 0);
        Put32(out, facepkg::kCode, code);
        Put32(out, facepkg::kUser, user);
        return out;
    }
    // Starts an enrolment and answers the key the always-on side received.
    Key Init(uint32_t user = 0) {
        auto keyOf = AoSym<VyrAoSimFaceIdKey_t>("VyrAoSimFaceIdKey");
        const int32_t before = keyOf != nullptr ? keyOf(nullptr, 0) : 0;
        Feed(Header(facepkg::kCodeInit, user));
        Key key{};
        EXPECT_TRUE(WaitUntil([&] {
            keyOf = AoSym<VyrAoSimFaceIdKey_t>("VyrAoSimFaceIdKey");
            return keyOf != nullptr && keyOf(key.data(), key.size()) > before;
        }));
        return key;
    }
    // A template package of `plain`, enciphered under `key`.
    std::vector<uint8_t> Package(const Key &key, uint32_t user, uint32_t w, uint32_t h,
                                 const std::vector<uint8_t> &plain, bool more = false) {
        VyrCryptInfo info{};
        std::copy(key.begin(), key.end(), info.key);
        for (size_t i = 0; i < sizeof(info.iv); ++i) {
            info.iv[i] = static_cast<uint8_t>(0x30 + i + mPackages);
        }
        ++mPackages;
        info.mode = VYR_CRYPT_ENCRYPT;
        std::vector<uint8_t> cipher(plain.size() + 16, 0);
        int length = static_cast<int>(cipher.size());
        EXPECT_EQ(mCipher.AesGcmAlgorithm(&info, plain.data(), static_cast<int>(plain.size()),
                                          cipher.data(), &length),
                  0);
        cipher.resize(static_cast<size_t>(length));
        std::vector<uint8_t> out = Header(facepkg::kCodeTemplate, user);
        out.resize(facepkg::kImage, 0);
        Put32(out, facepkg::kSize,
              static_cast<uint32_t>(facepkg::kImage - facepkg::kHeaderBytes + cipher.size()));
        Put32(out, facepkg::kMore, more ? 1 : 0);
        std::memcpy(out.data() + facepkg::kIv, info.iv, sizeof(info.iv));
        std::memcpy(out.data() + facepkg::kTag, info.tag, sizeof(info.tag));
        Put32(out, facepkg::kFormat, 17);
        Put32(out, facepkg::kWidth, w);
        Put32(out, facepkg::kHeight, h);
        Put32(out, facepkg::kImageSize, static_cast<uint32_t>(cipher.size()));
        out.insert(out.end(), cipher.begin(), cipher.end());
        return out;
    }
    // A TOF image of the person with `identity`, with a marker of random
    // bytes in its body.
    std::vector<uint8_t> TofImage(int32_t identity) {
        std::vector<uint8_t> image(TofFrameHeader::kImageBytes, 0);
        const face3d_sim_scene_t person = Face(0, 1, identity);
        Face3dSimDraw(image.data(), static_cast<uint32_t>(image.size()), &person);
        Key marker{};
        EXPECT_EQ(mCipher.GetSecureRand(marker.data(), marker.size()), 0);
        std::copy(marker.begin(), marker.end(), image.begin() + 4096);
        return image;
    }
    std::string Template(uint32_t user) { return Run("faceid-template", std::to_string(user)); }
    static std::string Text(const std::vector<uint8_t> &bytes) {
        return std::string(bytes.begin(), bytes.end());
    }
    // Waits for the end of an enrolment (no face identity client).
    bool Ended(size_t count) {
        return WaitUntil(
            [&] { return LinesWith("noven service faceid type start").size() >= count; });
    }

    LibOpenssl mCipher;
    uint32_t mPackages = 0;
};

TEST_F(FaceTemplateTest, EnrolmentThroughTheQueue) {
    Start();
    const Key key = Init(2);
    EXPECT_TRUE(std::all_of(key.begin(), key.end(), [](uint8_t b) { return (b & 1u) == 1u; }));
    EXPECT_TRUE(WaitForLog("face enroll user: 2"));
    // The key is never logged.
    EXPECT_EQ(Logcat().find(std::string(key.begin(), key.end())), std::string::npos);

    const std::vector<uint8_t> tof = TofImage(7);
    std::vector<uint8_t> nv21(640 * 480 * 3 / 2, 0x80);
    for (size_t i = 0; i < 640 * 480; ++i) {
        nv21[i] = static_cast<uint8_t>(i % 251);
    }
    Feed(Package(key, 2, 640, 480, tof, true));
    Feed(Package(key, 0, 640, 480, nv21, false));
    ASSERT_TRUE(Ended(1));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(Template(2), Text(tof));
    const std::string ao = Template(0);
    ASSERT_EQ(ao.size(), 320u * 240u);
    // The conversion picks every second pixel of every second line.
    EXPECT_EQ(static_cast<uint8_t>(ao[1]), nv21[2]);
    EXPECT_EQ(static_cast<uint8_t>(ao[320]), nv21[2 * 640]);
    EXPECT_EQ(LinesWith("image info f: 17 w: 640 h: 480 s: 307200").size(), 1u);
    EXPECT_EQ(LinesWith("pkg info user: 0, iamge type: 0, size: 460868").size(), 1u);
    EXPECT_EQ(Run("faceid-map", ""), std::string(1, '\xff'));
    EXPECT_EQ(Run("faceid-map", ""), std::string(1, '\x01'));

    // The enrolment is over: a further package finds no cipher.
    Feed(Package(key, 3, 640, 480, tof));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(LinesWith("mLibOpenssl not init").size(), 1u);
    EXPECT_EQ(Template(3), "");

    // Nothing of a template reached a file: scan the whole sandbox.
    const std::string marker(tof.begin() + 4096, tof.begin() + 4096 + 32);
    const std::string aoPiece = ao.substr(1000, 64);
    std::vector<std::string> files;
    ListFiles(mRoot.Path(), files);
    ASSERT_FALSE(files.empty());
    for (const std::string &path : files) {
        std::ifstream in(path, std::ios::binary);
        const std::string body((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
        EXPECT_EQ(body.find(marker), std::string::npos) << path;
        EXPECT_EQ(body.find(aoPiece), std::string::npos) << path;
    }
}

TEST_F(FaceTemplateTest, BadPackagesAreRefusedAndChangeNoSlot) {
    Start();
    const Key key = Init(2);
    const std::vector<uint8_t> tof = TofImage(7);
    Feed(Package(key, 2, 640, 480, tof, true));
    ASSERT_TRUE(Drain());
    ASSERT_EQ(Template(2), Text(tof));
    const std::vector<uint8_t> other = TofImage(9);

    // A wrong tag: refused, the enrolment goes on.
    std::vector<uint8_t> tampered = Package(key, 2, 640, 480, other, false);
    tampered[facepkg::kTag] ^= 0x01;
    Feed(tampered);
    // An out-of-range user.
    Feed(Package(key, 4, 640, 480, other, false));
    // Users below 2 need NV21 sizes.
    Feed(Package(key, 1, 640, 480, other, false));
    // A short package: the image it announces is not all there.
    std::vector<uint8_t> cut = Package(key, 3, 640, 480, other, false);
    cut.resize(cut.size() - 100);
    Put32(cut, facepkg::kSize, static_cast<uint32_t>(cut.size() - facepkg::kHeaderBytes));
    Feed(cut);
    // A package shorter than its image description.
    std::vector<uint8_t> stub = Header(facepkg::kCodeTemplate, 3);
    stub.resize(60, 0);
    Put32(stub, facepkg::kSize, 40);
    Feed(stub);
    ASSERT_TRUE(Drain());
    EXPECT_EQ(LinesWith("AesGcmAlgorithm MODE_DECRYPT failed: 1").size(), 1u);
    EXPECT_EQ(LinesWith("user: 4 template format error").size(), 1u);
    EXPECT_EQ(LinesWith("user: 1 template format error").size(), 1u);
    EXPECT_EQ(LinesWith("user: 3 template format error").size(), 2u);
    EXPECT_EQ(Template(2), Text(tof));
    for (uint32_t user : {0u, 1u, 3u, 4u}) {
        EXPECT_EQ(Template(user), "") << user;
    }
    EXPECT_TRUE(LinesWith("noven service faceid type").empty());

    // A second init replaces the key: a package under the old one fails.
    const Key fresh = Init(2);
    EXPECT_NE(fresh, key);
    Feed(Package(key, 3, 640, 480, other, false));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(LinesWith("AesGcmAlgorithm MODE_DECRYPT failed: 1").size(), 2u);
    Feed(Package(fresh, 3, 640, 480, other, false));
    ASSERT_TRUE(Ended(1));
    EXPECT_EQ(Template(3), Text(other));
}

TEST_F(FaceTemplateTest, TemplatesNeedFaceIdInTheProduct) {
    Start(vyrsim::ProductXmlFor("<camera><item>CAMERA_FACE_DIRECTION</item></camera>"));
    const Key key = Init(2);
    Feed(Package(key, 2, 640, 480, TofImage(7)));
    Feed(Header(facepkg::kCodeDelete, 2));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(LinesWith("camera type: 2 not config in xml").size(), 2u);
    EXPECT_EQ(Template(2), "");
}

TEST_F(FaceTemplateTest, DeletedUserIsNoLongerRecognised) {
    Start();
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "2,10"), "");
    ASSERT_TRUE(Drain());
    const Key key = Init(2);
    Feed(Package(key, 2, 640, 480, TofImage(7)));
    // A face identity client exists: the service restarts.
    ASSERT_TRUE(WaitForLog("noven service faceid type restart"));

    auto faceId = [&](const std::vector<int32_t> &values) {
        auto send = AoSym<VyrAoSimFaceId_t>("VyrAoSimFaceId");
        auto sync = AoSym<VyrAoSimSync_t>("VyrAoSimSync");
        return send != nullptr && sync != nullptr &&
               send(values.data(), static_cast<uint32_t>(values.size())) == 0 && sync(3000) == 0;
    };
    ASSERT_TRUE(faceId({1, 0, 1, -1, 60, 0, 0}));
    ASSERT_TRUE(Drain());
    PostFrame(1, Face(0, 1, 7));
    ASSERT_TRUE(WaitResult(CAMERA_FACE_ID, {1, 2, 1, 0, 0}));
    ASSERT_TRUE(Drain());

    // A delete naming user 3 empties every slot.
    Feed(Header(facepkg::kCodeDelete, 3));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(LinesWith("face delete user: 3").size(), 1u);
    EXPECT_EQ(Template(2), "");
    Recorder().Clear();
    ASSERT_TRUE(faceId({1, 0, 1, -1, 60, 0, 0}));
    ASSERT_TRUE(Drain());
    for (uint64_t i = 2; i <= 6; ++i) {
        PostFrame(i, Face(0, 1, 7));
    }
    ASSERT_TRUE(Drain());
    // With no template left the TOF camera is not woken and the same face
    // is not recognised.
    EXPECT_EQ(LinesWith("face user id: 2 FaceIdTemplateGet failed").size(), 1u);
    EXPECT_EQ(PipelineActive(), 0);
    for (const std::vector<int32_t> &result : Results(CAMERA_FACE_ID)) {
        EXPECT_NE(result, (std::vector<int32_t>{1, 2, 1, 0, 0}));
    }
}

// Beta devices hand raw frames and face crops to the log writer, in the
// frame; a normal device never does.
TEST_F(FaceTemplateTest, RawImagesOnlyOnBetaDevices) {
    mBetaUser = true;
    Start();
    const std::vector<uint8_t> pixels(64, 0x3c);
    Cam().SaveCameraRawData(42, CAMERA_EYE_GAZE, pixels.data(), pixels.size());
    VyrFrame &frame = mHal->GetCurFrame();
    frame.LockData(true);
    const std::vector<VyrFrameImage> images = frame.GetData().GetImages();
    frame.LockData(false);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].directory, "/data/vendor/log/vyrlog/TofImage/CAMERA_EYE_GAZE/");
    EXPECT_EQ(images[0].fileName.rfind("tof_rawdata-", 0), 0u);
    EXPECT_NE(images[0].fileName.find("-42.raw"), std::string::npos);
    EXPECT_EQ(images[0].bytes, pixels);
}

TEST_F(FaceTemplateTest, NoRawImagesOnANormalDevice) {
    Start();
    const std::vector<uint8_t> pixels(64, 0x3c);
    Cam().SaveCameraRawData(42, CAMERA_EYE_GAZE, pixels.data(), pixels.size());
    VyrFrame &frame = mHal->GetCurFrame();
    frame.LockData(true);
    EXPECT_TRUE(frame.GetData().GetImages().empty());
    frame.LockData(false);
}

}  // namespace
