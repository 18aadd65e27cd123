// Entry points of the face algorithm library "libface3d_sdk.so" (wrapper
// LibFace3dSdk). The names are the library's own, misspellings included.
// All return 0 on success and the library's error code otherwise.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Image types.
#define FACE3D_IMAGE_NV21 1
#define FACE3D_IMAGE_AO 2
#define FACE3D_IMAGE_TOF_IR 3

// Sense mask of face3d_algo_detect.
#define FACE3D_SENSE_DIRECTION 0x1
#define FACE3D_SENSE_GAZE 0x2
#define FACE3D_SENSE_IDENTITY 0x4

#define FACE3D_FEATURE_SIZE 1724
#define FACE3D_STATISTIC_INFO_SIZE 128
#define FACE3D_VERSION_SIZE 256

// An image: a TOF IR frame (640 x 480, one byte a pixel), an NV21 picture or
// an always-on image. `rotation` in degrees; `exposure` of a TOF frame.
typedef struct face3d_image_t {
    int32_t type;
    void *data;
    uint64_t size;
    int32_t width;
    int32_t height;
    int32_t rotation;
    int32_t exposure;
} face3d_image_t;

// Detection options, 76 bytes; `attention` 1 asks for the eye gaze.
typedef struct face3d_detect_options_t {
    int32_t reserved0[9];
    int32_t attention;
    int32_t reserved1[9];
} face3d_detect_options_t;

// Detection result, 784 bytes. `status`: 0 face looking at the screen,
// 1 and 2 no face, 3 to 5 and above other outcomes, 0xFFFFFFFF failure.
typedef struct face3d_detect_result_t {
    int32_t faceCount;
    uint8_t detail[768];
    int32_t orientation;  // 0 to 3
    int32_t exposure;     // for the next frame
    int32_t status;
} face3d_detect_result_t;

// Features of one face and the extraction status (0 good).
typedef struct face3d_feature_result_t {
    uint8_t features[FACE3D_FEATURE_SIZE];
    int32_t status;
} face3d_feature_result_t;

// Enrolment outcome: `status` 0 enrolled.
typedef struct face3d_enroll_result_t {
    int32_t status;
    int32_t userId;
    int32_t reserved[6];
} face3d_enroll_result_t;

// Identification, 24 bytes: `status` 0 match, 1 mismatch, 2 no verdict;
// `userId` -1 nobody.
typedef struct face3d_identify_result_t {
    int32_t status;
    int32_t userId;
    int32_t reserved[3];
    float score;
} face3d_identify_result_t;

// Counters of the library since the last clear; the first bytes are the
// figures of one function (80 for direction, 96 for gaze and identity).
typedef struct face3d_statistic_info_t {
    uint8_t data[FACE3D_STATISTIC_INFO_SIZE];
} face3d_statistic_info_t;

int32_t face3d_algo_initialize(const char *configPath);
// Writes the NUL-terminated version text into `buffer` of `length` bytes.
int32_t face3d_algo_version(char *buffer, int32_t length);
// Loads the frame for the next detection; `slot` is 0.
int32_t face3d_algo_load_image(const face3d_image_t *image, int32_t slot);
int32_t face3d_algo_detect(uint32_t sense, const face3d_detect_options_t *options,
                           face3d_detect_result_t *result);
// Enrols `userId` from the loaded image.
int32_t face3d_algo_enroll(int32_t userId, face3d_enroll_result_t *result);
// Features of the face of the last detection.
int32_t face3d_extract_features(face3d_feature_result_t *result);
int32_t face3d_algo_enroll_from_features(int32_t userId, const uint8_t *features,
                                         face3d_enroll_result_t *result);
int32_t face3d_algo_delete_template(int32_t userId);
// Identifies the face of the last detection among the enrolled users.
int32_t face3d_algo_identify(face3d_identify_result_t *result);
int32_t face3d_algo_reset(void);
// Frees everything, enrolled users included.
int32_t face3d_algo_destory(void);
// Converts an NV21 picture into an always-on image of the target's size.
int32_t face3d_algo_yuv2ao(const face3d_image_t *source, face3d_image_t *target);
int32_t face3d_algo_get_statistic_info(face3d_statistic_info_t *info);
// `which`: 1 direction, 2 gaze, 4 identity.
int32_t face3d_algo_clear_statistic_info(int32_t which);
// The last face crop (112 x 112) into image->data of image->size bytes;
// enciphered when `encrypted` is non-zero.
int32_t face3d_algo_get_face_image(face3d_image_t *image, int32_t encrypted);
// Deciphers `size` bytes of an enciphered face crop.
int32_t face3d_algo_decrypt(const uint8_t *input, uint8_t *output, uint32_t size);

typedef int32_t (*face3d_algo_initialize_t)(const char *configPath);
typedef int32_t (*face3d_algo_version_t)(char *buffer, int32_t length);
typedef int32_t (*face3d_algo_load_image_t)(const face3d_image_t *image, int32_t slot);
typedef int32_t (*face3d_algo_detect_t)(uint32_t sense, const face3d_detect_options_t *options,
                                        face3d_detect_result_t *result);
typedef int32_t (*face3d_algo_enroll_t)(int32_t userId, face3d_enroll_result_t *result);
typedef int32_t (*face3d_extract_features_t)(face3d_feature_result_t *result);
typedef int32_t (*face3d_algo_enroll_from_features_t)(int32_t userId, const uint8_t *features,
                                                      face3d_enroll_result_t *result);
typedef int32_t (*face3d_algo_delete_template_t)(int32_t userId);
typedef int32_t (*face3d_algo_identify_t)(face3d_identify_result_t *result);
typedef int32_t (*face3d_algo_reset_t)(void);
typedef int32_t (*face3d_algo_destory_t)(void);
typedef int32_t (*face3d_algo_yuv2ao_t)(const face3d_image_t *source, face3d_image_t *target);
typedef int32_t (*face3d_algo_get_statistic_info_t)(face3d_statistic_info_t *info);
typedef int32_t (*face3d_algo_clear_statistic_info_t)(int32_t which);
typedef int32_t (*face3d_algo_get_face_image_t)(face3d_image_t *image, int32_t encrypted);
typedef int32_t (*face3d_algo_decrypt_t)(const uint8_t *input, uint8_t *output, uint32_t size);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
static_assert(sizeof(face3d_detect_options_t) == 76, "detection options are 76 bytes");
static_assert(offsetof(face3d_detect_options_t, attention) == 36, "attention at byte 36");
static_assert(sizeof(face3d_detect_result_t) == 784, "detection result is 784 bytes");
static_assert(offsetof(face3d_detect_result_t, orientation) == 772, "orientation at 772");
static_assert(offsetof(face3d_detect_result_t, exposure) == 776, "exposure at 776");
static_assert(offsetof(face3d_detect_result_t, status) == 780, "status at 780");
static_assert(sizeof(face3d_identify_result_t) == 24, "identify result is 24 bytes");
static_assert(offsetof(face3d_identify_result_t, score) == 20, "score at 20");
#endif
