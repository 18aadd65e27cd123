// Entry points of the fingerprint-area touch check "libfpac_tp_alg.so"
// (wrapper LibFpacTpAlg).
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Version text; never null.
const char *fpac_tp_get_version(void);
// 0 on success.
int32_t init_fpac_tp_alg(void);
int32_t exit_fpac_tp_alg(void);
// Classifies `validFrames` frames of `cells` signed 16-bit cells each
// (rows * cols, one frame after the other); `mode` is 0. Writes the
// confidence that a finger, not a palm or water, touches, and the threshold
// the library applies. 0 on success.
int32_t fpac_tp_alg_classify(const int16_t *frames, int32_t cells, int32_t validFrames,
                             int32_t mode, float *confidence, float *threshold);

typedef const char *(*fpac_tp_get_version_t)(void);
typedef int32_t (*init_fpac_tp_alg_t)(void);
typedef int32_t (*exit_fpac_tp_alg_t)(void);
typedef int32_t (*fpac_tp_alg_classify_t)(const int16_t *frames, int32_t cells, int32_t validFrames,
                                          int32_t mode, float *confidence, float *threshold);

#ifdef __cplusplus
}
#endif
