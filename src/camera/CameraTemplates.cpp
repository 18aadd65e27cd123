// The face template store of the module. Templates live only in memory, for
// the life of the module: users 0 and 1 hold images for the always-on side,
// users 2 and 3 TOF images that the face pipeline turns into feature blocks.
//
// The enrolment packages (init, template, delete) and the beta-only image
// dumps are served by the template handling that builds on this store; until
// it is in, their events are logged and dropped.
#include <boundchk.h>

#include "camera/Camera.h"
#include "log/LogSink.h"

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
    LOGW("face init event (%zu bytes) not handled", data.size());
}

void Camera::ProcessFaceTemplate(std::vector<uint8_t> &data) {
    LOGW("face template event (%zu bytes) not handled", data.size());
}

void Camera::ProcessFaceDelete(std::vector<uint8_t> &data) {
    LOGW("face delete event (%zu bytes) not handled", data.size());
}

void Camera::SaveCameraRawData(uint64_t /*frame*/, uint32_t /*function*/, const void * /*data*/,
                               size_t /*size*/) {}

void Camera::BetaSaveFaceIdRawData(std::string /*name*/, bool /*encrypted*/) {}
