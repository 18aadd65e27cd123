// The face template store of the module and the enrolment that fills it.
// Templates live only in memory, for the life of the module: users 0 and 1
// hold images for the always-on side, users 2 and 3 TOF images that the face
// pipeline turns into feature blocks. They arrive enciphered from the
// enrolment application through the fast message queue, one package per
// image, under a key made here for each enrolment and handed to the
// always-on service. Nothing of a template is written to a file.
#include <boundchk.h>

#include <cstring>

#include "camera/Camera.h"
#include "camera/FacePackage.h"
#include "file/FileReader.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"
#include "platform/Utils.h"

namespace {

constexpr const char *kEmulateFiles[facepkg::kUsers] = {
    "/data/vendor/log/vyrlog/emulate/faceid_user0_rgb.yuv",
    "/data/vendor/log/vyrlog/emulate/faceid_user1_rgb.yuv",
    "/data/vendor/log/vyrlog/emulate/faceid_user2_tof.yuv",
    "/data/vendor/log/vyrlog/emulate/faceid_user3_tof.yuv",
};
constexpr const char *kTofImageDir = "/data/vendor/log/vyrlog/TofImage/";
// The face crop of the library: 112 by 112 bytes.
constexpr size_t kCropSide = 112;
constexpr uint32_t kTofWidth = 640;
constexpr uint32_t kTofHeight = 480;
// The two rotation fields of the conversion records, as the always-on side
// expects them.
constexpr int32_t kAoRotation = 90;

uint32_t Word(const std::vector<uint8_t> &data, size_t offset) {
    uint32_t value = 0;
    if (data.size() >= offset + sizeof(value)) {
        memcpy_s(&value, sizeof(value), data.data() + offset, sizeof(value));
    }
    return value;
}

}  // namespace

FaceTemplate Camera::FaceIdTemplateGet(uint32_t user) {
    auto found = mFaceTemplates.find(user);
    if (found == mFaceTemplates.end()) {
        return FaceTemplate();
    }
    return found->second;
}

void Camera::FaceIdTemplateSet(uint32_t user, const uint8_t *data, uint32_t width,
                               uint32_t height) {
    FaceTemplate face;
    face.stored = true;
    face.width = width;
    face.height = height;
    if (data != nullptr) {
        face.data.assign(data, data + static_cast<size_t>(width) * height);
    }
    mFaceTemplates[user] = std::move(face);
}

void Camera::ProcessFaceInit(std::vector<uint8_t> &data) {
    mLibOpenssl.reset();
    mLibOpenssl.reset(new (std::nothrow) LibOpenssl(mLog));
    if (mLibOpenssl == nullptr || !mLibOpenssl->Init()) {
        LOGE("LibOpenssl init failed");
        mLibOpenssl.reset();
        return;
    }
    int32_t ret = mLibOpenssl->GetSecureRand(mCryptInfo.key, sizeof(mCryptInfo.key));
    if (ret != 0) {
        LOGE("GetSecureRand failed: %d", ret);
    }
    // No key byte is 0.
    for (uint8_t &byte : mCryptInfo.key) {
        byte |= 1u;
    }
    LOGI("face enroll user: %d", static_cast<int32_t>(Word(data, facepkg::kUser)));
    ret = mAoLoaded ? mVyrAoClient->VyrFaceIdSendCommand(facepkg::kAoKeyCommand, mCryptInfo.key,
                                                         facepkg::kKeyBytes)
                    : -1;
    if (ret != 0) {
        LOGW("VyrAoClienFaceIdKeySet failed: %d", ret);
        mLibOpenssl.reset();
    }
}

void Camera::ProcessFaceTemplate(std::vector<uint8_t> &data) {
    if ((mConfigMask & (1u << CAMERA_FACE_ID)) == 0) {
        LOGE("camera type: %d not config in xml", CAMERA_FACE_ID);
        return;
    }
    if (mLibOpenssl == nullptr) {
        LOGE("mLibOpenssl not init");
        return;
    }
    const uint32_t user = Word(data, facepkg::kUser);
    LOGI("pkg info user: %d, iamge type: %d, size: %d", static_cast<int32_t>(user),
         static_cast<int32_t>(Word(data, facepkg::kImageType)),
         static_cast<int32_t>(Word(data, facepkg::kSize)));
    if (data.size() >= facepkg::kTag + facepkg::kTagBytes) {
        memcpy_s(mCryptInfo.iv, sizeof(mCryptInfo.iv), data.data() + facepkg::kIv,
                 facepkg::kIvBytes);
        memcpy_s(mCryptInfo.tag, sizeof(mCryptInfo.tag), data.data() + facepkg::kTag,
                 facepkg::kTagBytes);
    }
    const uint32_t w = Word(data, facepkg::kWidth);
    const uint32_t h = Word(data, facepkg::kHeight);
    const uint32_t s = Word(data, facepkg::kImageSize);
    LOGI("image info f: %d w: %d h: %d s: %d", static_cast<int32_t>(Word(data, facepkg::kFormat)),
         static_cast<int32_t>(w), static_cast<int32_t>(h), static_cast<int32_t>(s));
    const uint64_t pixels = static_cast<uint64_t>(w) * h;
    const uint64_t expected = user < 2 ? pixels * 3 / 2 : pixels;
    // The slot must exist and the enciphered image be wholly present.
    const bool present =
        data.size() >= facepkg::kImage && data.size() - facepkg::kImage >= static_cast<uint64_t>(s);
    if (w == 0 || h == 0 || s == 0 || s != expected || user >= facepkg::kUsers || !present) {
        LOGE("user: %d template format error", static_cast<int32_t>(user));
        return;
    }
    mCryptInfo.mode = VYR_CRYPT_DECRYPT;
    std::vector<uint8_t> plain((static_cast<size_t>(s) + 15) / 16 * 16, 0);
    int plainLength = static_cast<int>(s);
    const int32_t ret =
        mLibOpenssl->AesGcmAlgorithm(&mCryptInfo, data.data() + facepkg::kImage,
                                     static_cast<int>(s), plain.data(), &plainLength);
    if (ret != 0) {
        LOGE("AesGcmAlgorithm MODE_DECRYPT failed: %d", ret);
        memset_s(plain.data(), plain.size(), 0, plain.size());
        return;
    }
    if (user < 2) {
        std::vector<uint8_t> scratch(static_cast<size_t>(facepkg::kAoWidth) * facepkg::kAoHeight,
                                     0);
        TemplateNv21ToAon(plain.data(), w, h, scratch.data(), facepkg::kAoWidth,
                          facepkg::kAoHeight);
        FaceIdTemplateSet(user, scratch.data(), facepkg::kAoWidth, facepkg::kAoHeight);
        memset_s(scratch.data(), scratch.size(), 0, scratch.size());
    } else {
        FaceIdTemplateSet(user, plain.data(), w, h);
    }
    // The plain image lives nowhere but in the slot.
    memset_s(plain.data(), plain.size(), 0, plain.size());
    if (Word(data, facepkg::kMore) == 0) {
        ProcessFaceUnInit();
    }
}

void Camera::ProcessFaceUnInit() {
    mFaceIdMap = -1;
    // Either way the service connects anew and learns the new templates.
    if (IsTypeEnabled(CAMERA_FACE_ID)) {
        RestartFaceIdService();
    } else {
        LOGI("noven service faceid type start");
        VyrNovenClientEnable(true, kServiceFaceId);
        LOGI("noven service faceid type stop");
        VyrNovenClientEnable(false, kServiceFaceId);
    }
    mLibOpenssl.reset();
    // The enrolment key is good for one enrolment only.
    memset_s(&mCryptInfo, sizeof(mCryptInfo), 0, sizeof(mCryptInfo));
}

void Camera::ProcessFaceDelete(std::vector<uint8_t> &data) {
    if ((mConfigMask & (1u << CAMERA_FACE_ID)) == 0) {
        LOGE("camera type: %d not config in xml", CAMERA_FACE_ID);
        return;
    }
    LOGI("face delete user: %d", static_cast<int32_t>(Word(data, facepkg::kUser)));
    // Whichever user is named, all slots go.
    mFaceTemplates.clear();
    mFaceIdMap = -1;
    if (IsTypeEnabled(CAMERA_FACE_ID)) {
        RestartFaceIdService();
    }
}

void Camera::RestartFaceIdService() {
    LOGI("noven service faceid type stop");
    VyrNovenClientEnable(false, kServiceFaceId);
    LOGI("noven service faceid type restart");
    VyrNovenClientEnable(true, kServiceFaceId);
}

void Camera::TemplateNv21ToAon(const uint8_t *src, uint32_t w, uint32_t h, uint8_t *dst,
                               uint32_t dw, uint32_t dh) {
    face3d_image_t source{};
    source.type = 1;
    source.data = const_cast<uint8_t *>(src);
    source.size = static_cast<uint64_t>(w) * h * 3 / 2;
    source.width = static_cast<int32_t>(w);
    source.height = static_cast<int32_t>(h);
    source.rotation = kAoRotation;
    face3d_image_t target{};
    target.type = 2;
    target.data = dst;
    target.size = static_cast<uint64_t>(dw) * dh;
    target.width = static_cast<int32_t>(dw);
    target.height = static_cast<int32_t>(dh);
    target.rotation = kAoRotation;
    const int32_t ret = mFace3dLoaded ? mFace3d->face3d_algo_yuv2ao(&source, &target) : -1;
    if (ret != 0) {
        LOGE("TemplateNv21ToAon %d %d to %d %d error: %d", static_cast<int32_t>(w),
             static_cast<int32_t>(h), static_cast<int32_t>(dw), static_cast<int32_t>(dh), ret);
    }
}

void Camera::FaceIdTemplateEmulate() {
    if (!IsBetaUser()) {
        LOGE("no beta version, skip faceId template emulate");
        return;
    }
    for (uint32_t user = 0; user < facepkg::kUsers; ++user) {
        std::vector<char> bytes;
        FileReader reader(mHal, kEmulateFiles[user]);
        if (!reader.Read(bytes) || bytes.empty()) {
            continue;
        }
        LOGI("userId %d:%s\t data size: %lu", static_cast<int32_t>(user), kEmulateFiles[user],
             static_cast<unsigned long>(bytes.size()));
        if (user >= 2 && !mSupportTof) {
            return;
        }
        const uint32_t width = user < 2 ? facepkg::kAoWidth : kTofWidth;
        const uint32_t height = user < 2 ? facepkg::kAoHeight : kTofHeight;
        const size_t expected = static_cast<size_t>(width) * height;
        if (bytes.size() != expected) {
            LOGE("userId %d template size %lu != %lu no match", static_cast<int32_t>(user),
                 static_cast<unsigned long>(bytes.size()), static_cast<unsigned long>(expected));
            continue;
        }
        FaceIdTemplateSet(user, reinterpret_cast<const uint8_t *>(bytes.data()), width, height);
    }
}

void Camera::SaveCameraRawData(uint64_t frame, uint32_t function, const void *data, size_t size) {
    if (!IsBetaUser() || data == nullptr) {
        return;
    }
    const auto *bytes = static_cast<const uint8_t *>(data);
    std::vector<uint8_t> copy(bytes, bytes + size);
    const std::string directory =
        std::string(kTofImageDir) + TypeName(static_cast<int>(function)) + "/";
    const std::string name =
        "tof_rawdata-" + FormatTime(VyrHal::RealTimeMs(), 0) + "-" + std::to_string(frame) + ".raw";
    // The log writer saves the file later.
    mFrame.LockData(true);
    mFrame.GetData().AddImage(directory, name, copy);
    mFrame.LockData(false);
}

void Camera::BetaSaveFaceIdRawData(std::string name, bool encrypted) {
    if (!IsBetaUser() || !mFace3dLoaded) {
        return;
    }
    std::vector<uint8_t> pixels(kCropSide * kCropSide, 0);
    face3d_image_t image{};
    image.data = pixels.data();
    image.size = pixels.size();
    image.width = static_cast<int32_t>(kCropSide);
    image.height = static_cast<int32_t>(kCropSide);
    const int32_t ret = mFace3d->face3d_algo_get_face_image(&image, encrypted ? 1 : 0);
    if (ret != 0) {
        LOGE("face3d_algo_get_face_image fail, return value is %d", ret);
        return;
    }
    const std::string fileName = std::string(encrypted ? "ENCRYP_" : "") + "FACE3D_" +
                                 FormatTime(VyrHal::RealTimeMs(), 0) + "_112_112_IR_" + name +
                                 ".raw";
    mFrame.LockData(true);
    mFrame.GetData().AddImage(std::string(kTofImageDir) + "CAMERA_FACE_ID/", fileName, pixels);
    mFrame.LockData(false);
}
