// Commands of the Camera module. Unless a command says otherwise it only
// queues an event, so its reply says nothing about the result.
#include <boundchk.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "camera/Camera.h"
#include "file/DirOperator.h"
#include "file/FileReader.h"
#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {

constexpr int32_t kMaxEnvFrames = 20;
constexpr size_t kPipelineRecordBytes = 32;
constexpr size_t kFaceIdUpdateBytes = 28;
constexpr size_t kFaceInitBytes = 20;
constexpr const char *kTofImageDir = "/data/vendor/log/vyrlog/TofImage/";

// The JSON replies keep their keys in the order written.
using ReplyJson = nlohmann::ordered_json;

void SetJsonReply(std::vector<uint8_t> &out, const ReplyJson &reply) {
    SetReply(out, reply.dump(-1, ' ', false, ReplyJson::error_handler_t::replace));
}

ReplyJson ErrorReply(const char *message) {
    return ReplyJson{{"result", "error"}, {"message", message}};
}

// Two int32 values at the head of a zeroed block of `bytes`.
std::vector<uint8_t> TwoValues(int32_t first, int32_t second, size_t bytes) {
    std::vector<uint8_t> block(bytes, 0);
    memcpy_s(block.data(), block.size(), &first, sizeof(first));
    memcpy_s(block.data() + sizeof(first), block.size() - sizeof(first), &second, sizeof(second));
    return block;
}

}  // namespace

bool Camera::InitVyrd() {
    {
        std::lock_guard<std::mutex> lock(mEnvMutex);
        mEnvMode = "normal";
    }
    mEnvFrames = kMaxEnvFrames;
    // The order of the module's command table.
    return InitVyrdSetEnv() && InitVyrdCameraOn() && InitVyrdCameraOff() && InitVyrdAoServiceOn() &&
           InitVyrdAoServicOff() && InitVyrdFaceIdMap() && InitVyrdFaceIdTemplate() &&
           InitVyrdFaceIdSupport() && InitVyrdFaceIdInit() && InitVyrdFaceIdEmulate() &&
           InitVyrdRotationEmulate() && InitVyrdTofSupport() && InitVyrdFaceIdUpdate() &&
           InitVyrdNovenCmd() && InitVyrdImageSwitch() && InitVyrdGetFileList() &&
           InitVyrdRemoveFile() && InitVyrdGetFileData();
}

bool Camera::InitVyrdSetEnv() {
    return AddCmd("set-env", [this](const std::string /*client*/, const std::string param,
                                    std::vector<uint8_t> &out) {
        std::string reply = "usage: set-env mode(normal/bright/dark/check),frames(max=20)\r\n";
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 1 && fields.size() != 2) {
            SetReply(out, reply);
            return;
        }
        const std::string mode = fields[0];
        int32_t frames = kMaxEnvFrames;
        if (fields.size() == 2) {
            const int32_t asked = std::atoi(fields[1].c_str());
            if (asked <= kMaxEnvFrames) {
                frames = asked;
            }
        }
        std::lock_guard<std::mutex> lock(mEnvMutex);
        if (mode == "check") {
            reply += "current senting: mode=" + mEnvMode +
                     " frames=" + std::to_string(mEnvFrames.load());
        } else if (mode == "normal" || mode == "bright" || mode == "dark") {
            mEnvMode = mode;
            mEnvFrames = frames;
            reply += "set finish: mode=" + mode + " frames=" + std::to_string(frames);
        }
        SetReply(out, reply);
    });
}

bool Camera::InitVyrdCameraOn() {
    return AddCmd("camera-on", [this](const std::string client, const std::string param,
                                      std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: camera-on cameraType,lux");
            return;
        }
        const int type = std::atoi(fields[0].c_str());
        const int lux = std::atoi(fields[1].c_str());
        LOGI("cameraType: %d lux: %d, enable", type, lux);
        CameraSwitch(client, type, true, lux);
    });
}

bool Camera::InitVyrdCameraOff() {
    return AddCmd("camera-off", [this](const std::string client, const std::string param,
                                       std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: camera-off cameraType");
            return;
        }
        const int type = std::atoi(fields[0].c_str());
        LOGI("cameraType: %d lux: %d, disable", type, 0);
        CameraSwitch(client, type, false, 0);
    });
}

bool Camera::InitVyrdRotationEmulate() {
    return AddCmd("rotation-emulate",
                  [this](const std::string /*client*/, const std::string /*param*/,
                         std::vector<uint8_t> & /*out*/) {
                      const uint8_t rotation = 2;
                      LOGI("emulate rotation: %d", rotation);
                      PostEvent(EVENT_MOTION, std::vector<uint8_t>{rotation});
                  });
}

bool Camera::InitVyrdAoServiceOn() {
    return AddCmd("aoservice-on", [this](const std::string /*client*/, const std::string param,
                                         std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: aoservice-on pipeline,lux");
            return;
        }
        const int32_t pipeline = std::atoi(fields[0].c_str());
        const int32_t lux = std::atoi(fields[1].c_str());
        LOGI("pipeline: %d lux: %d, enable", pipeline, lux);
        PostEvent(EVENT_PIPELINE_ON, TwoValues(pipeline, lux, kPipelineRecordBytes));
    });
}

bool Camera::InitVyrdAoServicOff() {
    return AddCmd("aoservice-off", [this](const std::string /*client*/, const std::string param,
                                          std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: aoservice-off pipeline");
            return;
        }
        const int32_t pipeline = std::atoi(fields[0].c_str());
        const int32_t lux = std::atoi(fields[1].c_str());
        LOGI("pipeline: %d lux: %d, disable", pipeline, lux);
        PostEvent(EVENT_PIPELINE_OFF, TwoValues(pipeline, lux, kPipelineRecordBytes));
    });
}

bool Camera::InitVyrdFaceIdMap() {
    return AddCmd("faceid-map", [this](const std::string /*client*/, const std::string /*param*/,
                                       std::vector<uint8_t> &out) {
        // The answer is the map as the previous call left it; a template
        // change in between shows as 0xFF.
        std::lock_guard<std::mutex> lock(mLock);
        out.assign(1, static_cast<uint8_t>(mFaceIdMap & 0xFF));
        int32_t map = 0;
        if (mFaceTemplates.count(0) != 0) {
            map += 1;
        }
        if (mFaceTemplates.count(1) != 0) {
            map += 2;
        }
        mFaceIdMap = map;
    });
}

bool Camera::InitVyrdFaceIdTemplate() {
    return AddCmd("faceid-template", [this](const std::string /*client*/, const std::string param,
                                            std::vector<uint8_t> &out) {
        const uint32_t user = static_cast<uint32_t>(std::atoi(param.c_str()));
        std::lock_guard<std::mutex> lock(mLock);
        out = FaceIdTemplateGet(user).data;
    });
}

bool Camera::InitVyrdFaceIdSupport() {
    return AddCmd("faceid-support", [this](const std::string /*client*/,
                                           const std::string /*param*/, std::vector<uint8_t> &out) {
        out.assign(1, static_cast<uint8_t>((mConfigMask >> CAMERA_FACE_ID) & 1u));
    });
}

bool Camera::InitVyrdFaceIdInit() {
    return AddCmd("faceid-init", [this](const std::string /*client*/, const std::string /*param*/,
                                        std::vector<uint8_t> & /*out*/) {
        if ((mConfigMask & (1u << CAMERA_FACE_ID)) == 0) {
            return;
        }
        std::vector<uint8_t> record(kFaceInitBytes, 0);
        for (size_t i = 12; i < 16; ++i) {
            record[i] = 0xFF;
        }
        PostEvent(EVENT_FACE_INIT, std::move(record));
    });
}

bool Camera::InitVyrdFaceIdEmulate() {
    return AddCmd("faceid-emulate",
                  [this](const std::string /*client*/, const std::string /*param*/,
                         std::vector<uint8_t> & /*out*/) {
                      std::lock_guard<std::mutex> lock(mLock);
                      FaceIdTemplateEmulate();
                  });
}

bool Camera::InitVyrdTofSupport() {
    return AddCmd("tof-support", [this](const std::string /*client*/, const std::string /*param*/,
                                        std::vector<uint8_t> &out) {
        out.assign(1, static_cast<uint8_t>(mSupportTof ? 1 : 0));
    });
}

bool Camera::InitVyrdFaceIdUpdate() {
    return AddCmd("faceid-update", [this](const std::string /*client*/, const std::string /*param*/,
                                          std::vector<uint8_t> & /*out*/) {
        std::vector<uint8_t> record(kFaceIdUpdateBytes, 0);
        record[0] = 'c';
        PostEvent(EVENT_TOF_FACE_ID, std::move(record));
    });
}

bool Camera::InitVyrdNovenCmd() {
    return AddCmd("noven-cmd", [this](const std::string /*client*/, const std::string param,
                                      std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: noven-cmd sysType,value");
            return;
        }
        const int32_t sysType = std::atoi(fields[0].c_str());
        const int32_t value = std::atoi(fields[1].c_str());
        PostEvent(EVENT_NOVEN_CMD, TwoValues(sysType, value, 2 * sizeof(int32_t)));
    });
}

bool Camera::InitVyrdImageSwitch() {
    return AddCmd(
        "qorv_vyr_image_switch",
        [this](const std::string /*client*/, const std::string param, std::vector<uint8_t> &out) {
            std::string reply = "qorv_vyr_image_switch change";
            if (param == "on") {
                LOGI("qorv_vyr_image_switch on");
                mHal.GetHalStatus().Set(HAL_STATUS_IMAGE);
            } else if (param == "off") {
                LOGI("qorv_vyr_image_switch off");
                mHal.GetHalStatus().Clear(HAL_STATUS_IMAGE);
            } else {
                LOGE("qorv_vyr_image_switch get false input: %s", param.c_str());
                reply = "usage: qorv_vyr_image_switch on/off";
            }
            SetReply(out, reply);
        });
}

bool Camera::InitVyrdGetFileList() {
    return AddCmd("VNT_get_file_list", [this](const std::string /*client*/, const std::string param,
                                              std::vector<uint8_t> &out) {
        // Text that is no number raises here, as any other handler failure.
        const int function = std::stoi(param, nullptr, 10);
        const std::string dir = std::string(kTofImageDir) + TypeName(function) + "/";
        std::vector<std::string> files;
        if (!mHal.GetDirOperator().DirGetFileList(dir, &files)) {
            SetJsonReply(out, ErrorReply("Failed to get file list"));
            return;
        }
        ReplyJson names = ReplyJson::array();
        for (const std::string &path : files) {
            const size_t slash = path.find_last_of('/');
            names.push_back(slash == std::string::npos ? path : path.substr(slash + 1));
        }
        SetJsonReply(out, ReplyJson{{"result", "success"}, {"fileList", names}});
    });
}

bool Camera::InitVyrdRemoveFile() {
    return AddCmd("VNT_remove_file", [this](const std::string /*client*/, const std::string param,
                                            std::vector<uint8_t> &out) {
        if (!mHal.GetDirOperator().DirDeleteFile(param)) {
            SetJsonReply(out, ErrorReply("Failed to delete file"));
            return;
        }
        SetJsonReply(out, ReplyJson{{"result", "success"}});
    });
}

bool Camera::InitVyrdGetFileData() {
    return AddCmd("VNT_get_file_data", [this](const std::string /*client*/, const std::string param,
                                              std::vector<uint8_t> &out) {
        std::vector<char> bytes;
        FileReader reader(mHal, param);
        if (!reader.Read(bytes)) {
            SetJsonReply(out, ErrorReply("Failed to get file data"));
            return;
        }
        std::vector<uint8_t> data(bytes.begin(), bytes.end());
        if (param.find("ENCRYP_") != std::string::npos) {
            // The library enciphered this crop; it deciphers it too. Without
            // the library the bytes stay zero.
            std::vector<uint8_t> plain(data.size(), 0);
            std::lock_guard<std::mutex> lock(mLock);
            if (VyrFace3dLibInit() && mFace3dLoaded) {
                const int32_t ret = mFace3d->face3d_algo_decrypt(
                    data.data(), plain.data(), static_cast<uint32_t>(data.size()));
                if (ret != 0) {
                    LOGE("face3d_algo_decrypt fail, return value is %d", ret);
                }
            }
            data.swap(plain);
        }
        ReplyJson values = ReplyJson::array();
        for (uint8_t byte : data) {
            values.push_back(byte);
        }
        SetJsonReply(out, ReplyJson{{"result", "success"}, {"fileData", values}});
    });
}
