// The Bluetooth pen's HID node, the fingerprint auxiliary block and the
// touch commands.
#include <android/log.h>
#include <boundchk.h>
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>

#include "hal/HalStatus.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/LibFpacTpAlg.h"
#include "platform/LibSysTrace.h"
#include "platform/PropertyTable.h"
#include "platform/Sysfs.h"
#include "platform/Utils.h"
#include "platform/WatchDog.h"
#include "touch/TouchScreen.h"

namespace {

constexpr uint64_t kExpectMs = 20000;
// The integrator's descrambling data, searched in this order.
constexpr const char *kDescrambleFiles[] = {"/odm/etc/vyr/fp_roi_descramble.conf",
                                            "/vendor/etc/vyr/fp_roi_descramble.conf"};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

template <typename T>
T ReadAt(const uint8_t *base, size_t at) {
    T value;
    memcpy(&value, base + at, sizeof(T));
    return value;
}

template <typename T>
void WriteAt(uint8_t *base, size_t at, T value) {
    memcpy(base + at, &value, sizeof(T));
}

}  // namespace

bool TouchScreen::BtPenReadData(int fd) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr, "BtPenReadData300",
                         kExpectMs);
    ScopedTrace trace(mHal.GetTrace(), "BtPenReadData");
    char buffer[kPenReportSize] = {0};
    ssize_t ret = read(fd, buffer, sizeof(buffer));
    if (ret < 0) {
        if (errno == ENODEV) {
            LOGW("read disconnect");
            return false;
        }
        return true;
    }
    if (ret == 0) {
        // Every writer of the node has gone.
        return false;
    }
    if (mLog.GetLevel() >= 4) {
        std::string bytes;
        for (char byte : buffer) {
            bytes += " " + std::to_string(static_cast<uint8_t>(byte));
        }
        LOGD("vyr data[0-%d]:%s", kPenReportSize - 1, bytes.c_str());
    }
    NotifyThp(kNotifyPen, buffer, kPenReportSize);
    return true;
}

void TouchScreen::NotifyThp(int32_t type, const char *data, int32_t size) {
    ScopedTrace trace(mHal.GetTrace(), "NotifyThp");
    vyr_msg_t msg;
    msg.client = "thp-client";
    msg.type = type;
    msg.dataSize = size;
    if (data != nullptr && size > 0) {
        msg.data.assign((static_cast<size_t>(size) + 3) / 4, 0);
        errno_t err = memcpy_s(msg.data.data(), msg.data.size() * sizeof(int32_t), data,
                               static_cast<size_t>(size));
        if (err != EOK) {
            LOGE("memcpy_s failed, err = %d", err);
            return;
        }
    }
    mHal.GetNotify().notify(msg);
}

bool TouchScreen::LoadDescrambler() {
    if (mDescramblerTried) {
        return mDescrambler.IsLoaded();
    }
    mDescramblerTried = true;
    for (const char *file : kDescrambleFiles) {
        std::string text;
        if (!mHal.GetSysfs().ReadFile(file, text)) {
            continue;
        }
        std::string error;
        if (!mDescrambler.Parse(text, error)) {
            LOGE("fp roi descramble data %s: %s", file, error.c_str());
            return false;
        }
        LOGI("fp roi descramble data: %s", file);
        return true;
    }
    return false;
}

bool TouchScreen::ReadFpRoiData(int fd, fproi::Result &result) {
    uint8_t block[fproi::kBlockSize] = {0};
    // A FIFO of the sandbox cannot seek; its writer sends whole blocks.
    (void)lseek(fd, 0, SEEK_SET);
    ssize_t ret = read(fd, block, sizeof(block));
    if (ret != static_cast<ssize_t>(sizeof(block))) {
        LOGW("fp roi data len: %d != ret: %d", static_cast<int>(sizeof(block)),
             static_cast<int>(ret));
        return false;
    }
    const uint16_t version = ReadAt<uint16_t>(block, fproi::kBlockVersion);
    const uint16_t validFrames = ReadAt<uint16_t>(block, fproi::kBlockValidFrames);
    const uint16_t screenStatus = ReadAt<uint16_t>(block, fproi::kBlockScreenStatus);
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG,
                        "version: %d, valid_frames: %d, screen_status: %d", version, validFrames,
                        screenStatus);
    if (validFrames == 0 && version != fproi::kVersionAlwaysRead) {
        return false;
    }
    if (screenStatus != 0) {
        if (!LoadDescrambler()) {
            LOGW("fp roi block scrambled, no descramble data: skipped");
            return false;
        }
        mDescrambler.Descramble(block, fproi::kScrambleBegin, fproi::kScrambleEnd);
    }
    const uint8_t *frames = block + fproi::kBlockFrames;
    for (int row = 0; row < fproi::kRows; ++row) {
        std::string line;
        for (int col = 0; col < fproi::kCols; ++col) {
            line += std::to_string(ReadAt<int16_t>(frames, (row * fproi::kCols + col) * 2));
            line += col + 1 < fproi::kCols ? "\t" : "";
        }
        __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "%s", line.c_str());
    }
    // The frames that the block can hold, whatever it claims.
    const size_t frameCount = std::min<size_t>(validFrames, fproi::kMaxFrames);
    int16_t maxDiff = ReadAt<int16_t>(frames, 0);
    for (size_t cell = 0; cell < frameCount * fproi::kFrameCells; ++cell) {
        maxDiff = std::max(maxDiff, ReadAt<int16_t>(frames, cell * 2));
    }
    uint8_t *out = result.data();
    out[fproi::kResultVersion] = static_cast<uint8_t>(version & 0xFF);
    out[fproi::kResultValidFrames] = static_cast<uint8_t>(validFrames);
    out[fproi::kResultScreenStatus] = static_cast<uint8_t>(screenStatus);
    out[fproi::kResultRows] = fproi::kRows;
    out[fproi::kResultCols] = fproi::kCols;
    WriteAt<int16_t>(out, fproi::kResultMaxDiff, maxDiff);
    errno_t err =
        memcpy_s(out + fproi::kResultFrames, fproi::kFramesSize, frames, fproi::kFramesSize);
    if (err == EOK) {
        err = memcpy_s(out + fproi::kResultReservedId, fproi::kReservedIdSize,
                       block + fproi::kBlockReservedId, fproi::kReservedIdSize);
    }
    if (err != EOK) {
        LOGE("memcpy_s failed, err = %d", err);
        return false;
    }
    return true;
}

bool TouchScreen::InitFpRoi(fproi::Result &result) {
    mFpacTpAlg.reset(new (std::nothrow) LibFpacTpAlg());
    if (mFpacTpAlg == nullptr || !mFpacTpAlg->Init()) {
        LOGE("Init LibFpacTp failed");
        mFpacTpAlg.reset();
        return false;
    }
    if (mFpacTpAlg->init_fpac_tp_alg() != 0) {
        LOGE("init_fpac_tp_alg failed");
        mFpacTpAlg.reset();
        return false;
    }
    const char *version = mFpacTpAlg->fpac_tp_get_version();
    if (version != nullptr) {
        size_t length = std::min(strlen(version), fproi::kResultAlgVersionSize - 1);
        memcpy(result.data() + fproi::kResultAlgVersion, version, length);
        LOGI("fpac alg version: %s", version);
    }
    return true;
}

void TouchScreen::UnInitFpRoi() {
    if (mFpacTpAlg == nullptr) {
        return;
    }
    if (mFpacTpAlg->exit_fpac_tp_alg() != 0) {
        LOGE("exit_fpac_tp_alg failed");
    }
    mFpacTpAlg.reset();
}

void TouchScreen::ProcessFpRoiData(int fd) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr, "ProcessFpRoiData580",
                         kExpectMs);
    ScopedTrace trace(mHal.GetTrace(), "ProcessFpRoiData");
    fproi::Result result{};
    if (!ReadFpRoiData(fd, result) || !InitFpRoi(result)) {
        return;
    }
    uint8_t *out = result.data();
    memcpy(out + fproi::kResultMagic, "srpf", 4);
    WriteAt<uint64_t>(out, fproi::kResultTimestamp, VyrHal::RealTimeMs());
    const size_t frameCount = std::min<size_t>(out[fproi::kResultValidFrames], fproi::kMaxFrames);
    int16_t frames[fproi::kFramesSize / 2];
    memcpy(frames, out + fproi::kResultFrames, sizeof(frames));
    float confidence = 0.0f;
    float threshold = 0.0f;
    mFpacTpAlg->fpac_tp_alg_classify(frames, fproi::kRows * fproi::kCols,
                                     static_cast<int32_t>(frameCount), 0, &confidence, &threshold);
    WriteAt<float>(out, fproi::kResultConfidence, confidence);
    WriteAt<float>(out, fproi::kResultThreshold, threshold);
    const uint16_t crc = fproi::Crc16Xmodem(out, result.size());
    WriteAt<uint16_t>(out, fproi::kResultCrc, crc);
    LOGI("maxDiff: %d, confidence: %f, threshold: %f, crc: %d",
         ReadAt<int16_t>(out, fproi::kResultMaxDiff), static_cast<double>(confidence),
         static_cast<double>(threshold), crc);
    const int ret = mHal.GetSysfs().SetFpAuxiliaryResult(out, fproi::kResultSize);
    if (ret != static_cast<int>(fproi::kResultSize)) {
        LOGE("SetFpAuxiliaryResylt error: %d != %d", ret, static_cast<int>(fproi::kResultSize));
        if (ret == 0) {
            ClosePollFd(kPollFpRoi);
            LOGW("not slef algo, disable fpac check");
        }
    }
    UnInitFpRoi();
}

bool TouchScreen::InitVyrd() {
    LOGI("+");
    return InitVyrdBtPenRaw() && InitVyrdBtPenConnect() && InitVyrdBtPenSuspend() &&
           InitVyrdBtPenName() && InitVyrdThpConfig();
}

bool TouchScreen::InitVyrdBtPenRaw() {
    return AddCmd("btpen-raw", [](const std::string /*client*/, const std::string param,
                                  std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() == 2) {
            SetReply(out, std::to_string(atoi(fields[1].c_str())) + "\n");
        }
    });
}

bool TouchScreen::InitVyrdBtPenConnect() {
    return AddCmd("btpen-connect", [this](const std::string /*client*/, const std::string param,
                                          std::vector<uint8_t> &out) {
        const std::string value = Lower(param);
        if (value == "on" || value == "1") {
            mHal.GetHalStatus().Set(HAL_STATUS_BTPEN);
            SetReply(out, "init connect ok");
        } else if (value == "off" || value == "0") {
            mHal.GetHalStatus().Clear(HAL_STATUS_BTPEN);
            SetReply(out, "init disconnect ok");
        }
    });
}

bool TouchScreen::InitVyrdBtPenSuspend() {
    return AddCmd("btpen-suspend", [](const std::string /*client*/, const std::string param,
                                      std::vector<uint8_t> &out) {
        const std::string value = Lower(param);
        if (value == "on" || value == "1") {
            SetReply(out, "btpen suspend");
        } else if (value == "off" || value == "0") {
            SetReply(out, "btpen resume");
        }
    });
}

bool TouchScreen::InitVyrdBtPenName() {
    return AddCmd("btpen-name", [this](const std::string /*client*/, const std::string param,
                                       std::vector<uint8_t> &out) {
        std::string real = CheckPath(param);
        int fd = real.empty() ? -1 : open(real.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            LOGI("open %s failed: %s, fd  = %d", param.c_str(), strerror(errno), fd);
            SetReply(out, "failed");
            return;
        }
        LOGI("open %s success, fd = %d", param.c_str(), fd);
        mPollFds[kPollBtPen].store(fd);
        WritePipe('c');
        PropertyTable props;
        props.SetBtPenNode(param);
        SetReply(out, std::to_string(fd));
    });
}

bool TouchScreen::InitVyrdThpConfig() {
    return AddCmd("thp_config", [this](const std::string /*client*/, const std::string /*param*/,
                                       std::vector<uint8_t> &out) {
        out.clear();
        for (int i = 0; i < 4; ++i) {
            out.push_back(static_cast<uint8_t>(mThpConfig >> (8 * i)));
        }
    });
}
