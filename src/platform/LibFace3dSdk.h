// Wrapper of "libface3d_sdk.so", the face algorithms on TOF frames.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/face3d_sdk_api.h"

class LibFace3dSdk : public LibBase {
public:
    bool Init() { return OpenLib("face3d_sdk", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(face3d_algo_initialize);
        VYR_LIB_SYMBOL(face3d_algo_version);
        VYR_LIB_SYMBOL(face3d_algo_load_image);
        VYR_LIB_SYMBOL(face3d_algo_detect);
        VYR_LIB_SYMBOL(face3d_algo_enroll);
        VYR_LIB_SYMBOL(face3d_extract_features);
        VYR_LIB_SYMBOL(face3d_algo_enroll_from_features);
        VYR_LIB_SYMBOL(face3d_algo_delete_template);
        VYR_LIB_SYMBOL(face3d_algo_identify);
        VYR_LIB_SYMBOL(face3d_algo_reset);
        VYR_LIB_SYMBOL(face3d_algo_destory);
        VYR_LIB_SYMBOL(face3d_algo_yuv2ao);
        VYR_LIB_SYMBOL(face3d_algo_get_statistic_info);
        VYR_LIB_SYMBOL(face3d_algo_clear_statistic_info);
        VYR_LIB_SYMBOL(face3d_algo_get_face_image);
        VYR_LIB_SYMBOL(face3d_algo_decrypt);
    }

    face3d_algo_initialize_t face3d_algo_initialize = nullptr;
    face3d_algo_version_t face3d_algo_version = nullptr;
    face3d_algo_load_image_t face3d_algo_load_image = nullptr;
    face3d_algo_detect_t face3d_algo_detect = nullptr;
    face3d_algo_enroll_t face3d_algo_enroll = nullptr;
    face3d_extract_features_t face3d_extract_features = nullptr;
    face3d_algo_enroll_from_features_t face3d_algo_enroll_from_features = nullptr;
    face3d_algo_delete_template_t face3d_algo_delete_template = nullptr;
    face3d_algo_identify_t face3d_algo_identify = nullptr;
    face3d_algo_reset_t face3d_algo_reset = nullptr;
    face3d_algo_destory_t face3d_algo_destory = nullptr;
    face3d_algo_yuv2ao_t face3d_algo_yuv2ao = nullptr;
    face3d_algo_get_statistic_info_t face3d_algo_get_statistic_info = nullptr;
    face3d_algo_clear_statistic_info_t face3d_algo_clear_statistic_info = nullptr;
    face3d_algo_get_face_image_t face3d_algo_get_face_image = nullptr;
    face3d_algo_decrypt_t face3d_algo_decrypt = nullptr;
};
