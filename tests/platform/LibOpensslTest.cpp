// AES-256-GCM and random bytes through the cipher stand-in installed in a
// sandbox's /vendor/lib64.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/LibOpenssl.h"
#include "platform/LibTestSupport.h"

namespace {

std::vector<uint8_t> Hex(const std::string &text) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

VyrCryptInfo MakeInfo(const std::string &key, const std::string &iv, uint32_t mode) {
    VyrCryptInfo info{};
    const auto k = Hex(key);
    const auto v = Hex(iv);
    memcpy(info.key, k.data(), sizeof(info.key));
    memcpy(info.iv, v.data(), sizeof(info.iv));
    info.mode = mode;
    return info;
}

std::vector<uint8_t> Pattern(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>((i * 31 + i / 251) & 0xff);
    }
    return bytes;
}

const std::string kKey15 = "feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308";
const std::string kIv15 = "cafebabefacedbaddecaf888";

class LibOpensslTest : public vyr_lib_test::LibSandbox {
protected:
    void SetUp() override {
        LibSandbox::SetUp();
        Install(std::string(VYR_SIM_LIB_DIR) + "/libciphrel_sdk.so",
                "/vendor/lib64/libciphrel_sdk.so");
        ASSERT_TRUE(mLib.Init());
    }

    // Encrypts, then decrypts with the tag of the encryption.
    void RoundTrip(size_t size) {
        const auto plain = Pattern(size);
        VyrCryptInfo info = MakeInfo(kKey15, kIv15, VYR_CRYPT_ENCRYPT);
        std::vector<uint8_t> cipher(size);
        int cipherLen = static_cast<int>(cipher.size());
        ASSERT_EQ(mLib.AesGcmAlgorithm(&info, plain.data(), static_cast<int>(size), cipher.data(),
                                       &cipherLen),
                  0);
        ASSERT_EQ(cipherLen, static_cast<int>(size));
        EXPECT_NE(cipher, plain);

        info.mode = VYR_CRYPT_DECRYPT;
        std::vector<uint8_t> back(size);
        int backLen = static_cast<int>(back.size());
        ASSERT_EQ(mLib.AesGcmAlgorithm(&info, cipher.data(), cipherLen, back.data(), &backLen), 0);
        EXPECT_EQ(backLen, static_cast<int>(size));
        EXPECT_TRUE(back == plain);
        EXPECT_EQ(Count("Tag Verify Successful!"), 1u);
    }

    LibOpenssl mLib;
};

struct GcmVector {
    const char *name;
    std::string key;
    std::string iv;
    std::string plain;
    std::string cipher;
    std::string tag;
};

// AES-256 cases with a 96-bit IV and no additional data, from the GCM
// paper's published test vectors (cases 13 to 15).
const GcmVector kVectors[] = {
    {"case13", std::string(64, '0'), std::string(24, '0'), "", "",
     "530f8afbc74536b9a963b4f1c4cb738b"},
    {"case14", std::string(64, '0'), std::string(24, '0'), std::string(32, '0'),
     "cea7403d4d606b6e074ec5d3baf39d18", "d0d1c8a799996bf0265b98b5d48ab919"},
    {"case15", kKey15, kIv15,
     "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
     "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255",
     "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
     "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662898015ad",
     "b094dac5d93471bdec1a502270e3cc6c"},
};

TEST_F(LibOpensslTest, KnownVectors) {
    for (const auto &v : kVectors) {
        SCOPED_TRACE(v.name);
        const auto plain = Hex(v.plain);
        VyrCryptInfo info = MakeInfo(v.key, v.iv, VYR_CRYPT_ENCRYPT);
        std::vector<uint8_t> cipher(plain.size() + 16, 0xAA);
        int cipherLen = static_cast<int>(cipher.size());
        ASSERT_EQ(mLib.AesGcmAlgorithm(&info, plain.data(), static_cast<int>(plain.size()),
                                       cipher.data(), &cipherLen),
                  0);
        ASSERT_EQ(cipherLen, static_cast<int>(plain.size()));
        cipher.resize(static_cast<size_t>(cipherLen));
        EXPECT_EQ(cipher, Hex(v.cipher));
        EXPECT_EQ(std::vector<uint8_t>(info.tag, info.tag + 16), Hex(v.tag));

        // And back, with the published tag.
        VyrCryptInfo back = MakeInfo(v.key, v.iv, VYR_CRYPT_DECRYPT);
        const auto tag = Hex(v.tag);
        memcpy(back.tag, tag.data(), sizeof(back.tag));
        std::vector<uint8_t> out(plain.size());
        int outLen = static_cast<int>(out.size());
        ASSERT_EQ(mLib.AesGcmAlgorithm(&back, cipher.data(), cipherLen, out.data(), &outLen), 0);
        EXPECT_EQ(out, plain);
    }
    EXPECT_EQ(Count("AES GCM Encrypt:"), 3u);
    EXPECT_EQ(Count("Tag Verify Successful!"), 3u);
}

// Exactly one chunk takes one update: the last update wrote all of it.
TEST_F(LibOpensslTest, RoundTripOfOneFullChunk) {
    RoundTrip(0x40000);
    EXPECT_EQ(Count("2 outTmp 262144 destUsed 262144 srcLeft 0"), 2u);
}

// One byte more takes a second update of one byte.
TEST_F(LibOpensslTest, RoundTripOverOneChunk) {
    RoundTrip(0x40001);
    EXPECT_EQ(Count("2 outTmp 1 destUsed 262145 srcLeft 0"), 2u);
}

TEST_F(LibOpensslTest, WrongTagWritesPlainTextAndFails) {
    const auto plain = Pattern(100);
    VyrCryptInfo info = MakeInfo(kKey15, kIv15, VYR_CRYPT_ENCRYPT);
    std::vector<uint8_t> cipher(100);
    int cipherLen = 100;
    ASSERT_EQ(mLib.DoAesGcmEncrypt(&info, plain.data(), 100, cipher.data(), &cipherLen), 0);

    info.mode = VYR_CRYPT_DECRYPT;
    info.tag[5] ^= 0x01;
    std::vector<uint8_t> out(112);
    int outLen = static_cast<int>(out.size());
    EXPECT_EQ(mLib.AesGcmAlgorithm(&info, cipher.data(), cipherLen, out.data(), &outLen), 1);
    EXPECT_EQ(outLen, 100);
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), out.begin()));
    EXPECT_EQ(Count("AES GCM Decrypt:"), 1u);
    EXPECT_EQ(Count("Tag Verify Failed!"), 1u);
}

// A destination too small for the input is refused before the library
// writes past it.
TEST_F(LibOpensslTest, SmallDestinationIsRefused) {
    const auto plain = Pattern(0x40001);
    VyrCryptInfo info = MakeInfo(kKey15, kIv15, VYR_CRYPT_ENCRYPT);
    std::vector<uint8_t> cipher(0x40000 + 16, 0x5A);
    int cipherLen = 0x40000;
    EXPECT_EQ(mLib.AesGcmAlgorithm(&info, plain.data(), 0x40001, cipher.data(), &cipherLen), 1);
    for (size_t i = 0x40000; i < cipher.size(); ++i) {
        ASSERT_EQ(cipher[i], 0x5A) << i;
    }
    EXPECT_EQ(Count("dstLen overflow"), 1u);
}

TEST_F(LibOpensslTest, OtherModeFails) {
    VyrCryptInfo info = MakeInfo(kKey15, kIv15, 2);
    uint8_t in[16] = {0};
    uint8_t out[16] = {0};
    int outLen = 16;
    EXPECT_EQ(mLib.AesGcmAlgorithm(&info, in, 16, out, &outLen), 1);
    EXPECT_EQ(Count("AES GCM"), 0u);
}

TEST_F(LibOpensslTest, SecureRandom) {
    uint8_t first[32] = {0};
    uint8_t second[32] = {0};
    EXPECT_EQ(mLib.GetSecureRand(first, sizeof(first)), 0);
    EXPECT_EQ(mLib.GetSecureRand(second, sizeof(second)), 0);
    EXPECT_NE(memcmp(first, second, sizeof(first)), 0);

    EXPECT_EQ(mLib.GetSecureRand(first, 0), 1);
    EXPECT_EQ(mLib.GetSecureRand(nullptr, 8), 1);
    EXPECT_EQ(Count("params is err !"), 2u);
}

TEST(LibOpensslUnloaded, FailsWithoutTheLibrary) {
    vyrtest::TempDir root;
    setenv("VYR_ROOT", root.Path().c_str(), 1);
    LibOpenssl lib;
    EXPECT_FALSE(lib.Init());
    VyrCryptInfo info{};
    uint8_t in[16] = {0};
    uint8_t out[16] = {0};
    int outLen = 16;
    // Nothing resolved: the calls fail instead of jumping through null.
    EXPECT_EQ(lib.AesGcmAlgorithm(&info, in, 16, out, &outLen), 1);
    EXPECT_EQ(lib.GetSecureRand(out, 16), 1);
    unsetenv("VYR_ROOT");
}

}  // namespace
