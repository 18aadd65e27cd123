#include "log/FileDft.h"

#include <android/log.h>

#include <cstdio>
#include <new>

#include "file/DirOperator.h"
#include "file/FileStorer.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {

constexpr const char *kSeparator = "==========\n";

const DftFiles kActivityFiles = {
    "/data/vendor/log/arlog", "/ar_bigdata.tmp", "/ar_bigdata.txt", 936005012, 86400, false};
const DftFiles kMotionFiles = {"/data/vendor/log/motionlog",
                               "/motion_bigdata.tmp",
                               "/motion_bigdata.txt",
                               936005019,
                               86400,
                               false};

}  // namespace

FileDft::FileDft(VyrHal &hal, const DftFiles &files)
    : Dft(hal, files.millis),
      mDir(files.dir),
      mTmpPath(std::string(files.dir) + files.tmpName),
      mTxtPath(std::string(files.dir) + files.txtName) {
    Init(files.eventId, files.interval);
    mHal.GetDirOperator().DirCreateVyrlog(mDir);
    ReadPreTime(mTmpPath);
}

FileDft::~FileDft() = default;

bool FileDft::OpenStorer() {
    mStorer.reset(new (std::nothrow) FileStorer(mHal, mTmpPath, true));
    if (mStorer == nullptr) {
        LOGE("alloc FileStorer:%s memory error", mTmpPath.c_str());
        return false;
    }
    return true;
}

void FileDft::StoreString(const std::string &text) {
    if (mStorer == nullptr) {
        if (!OpenStorer()) {
            return;
        }
        if (HasKeyContent()) {
            LOGI("mKeyContent:%s", mKeyContent.c_str());
            StoreKeyContent(mKeyContent);
        }
    }
    // A file that cannot be opened loses the record, but the period still
    // ends on time.
    if (!mStorer->Init()) {
        LOGE("open %s failed, record lost", mTmpPath.c_str());
    } else if (mStorer->GetSize() + text.length() >= kMaxFileSize) {
        mIsOutOfRange = true;
    } else {
        mStorer->Write("", text, true);
    }
    if (CanReport()) {
        ReportBigdata();
    }
}

void FileDft::StoreKeyContent(const std::string &content) {
    LOGI("content: %s, len: %d", content.c_str(), static_cast<int>(content.length()));
    if (&content != &mKeyContent) {
        SetKeyContent(content);
    }
    if (mStorer == nullptr && !OpenStorer()) {
        return;
    }
    if (!mStorer->Init()) {
        return;
    }
    if (mStorer->GetSize() + content.length() < kMaxFileSize) {
        mStorer->Write(content, kSeparator, true);
        mIsOutOfRange = false;
    } else {
        mIsOutOfRange = true;
    }
}

void FileDft::SetKeyContent(const std::string &content) {
    mKeyContent = content;
}

void FileDft::SetReportParams() {
    SetInt("OUT_OF_RANGE", mIsOutOfRange ? 1 : 0);
}

void FileDft::LogReported() {
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG,
                        "ReportBigdata eventId: %d, mIsOutOfRange: %d", static_cast<int>(mEventId),
                        mIsOutOfRange ? 1 : 0);
}

void FileDft::ReportBigdata() {
    mStorer.reset();
    const std::string from = DevicePathOf(mTmpPath);
    const std::string to = DevicePathOf(mTxtPath);
    if (rename(from.c_str(), to.c_str()) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "rename error: %s to %s",
                            mTmpPath.c_str(), mTxtPath.c_str());
        return;
    }
    SetReportParams();
    Report();
    LogReported();
}

ActivityDft::ActivityDft(VyrHal &hal) : FileDft(hal, kActivityFiles) {}

MotionDft::MotionDft(VyrHal &hal) : FileDft(hal, kMotionFiles) {}

void MotionDft::SetKeyContent(const std::string &content) {
    LOGI("content: %s, len: %d", content.c_str(), static_cast<int>(content.length()));
    mKeyContent = content;
}
