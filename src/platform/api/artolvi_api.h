// Entry points of the activity recognition library "libartolvi.so" (wrapper
// LibVyrActivity).
//
// `context` is the address of the caller's 64-bit context word (initial
// value 1); its meaning is the library's.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Size of the status block filled by AlgGetResult_AR.
#define AR_STATUS_BLOCK_SIZE 260

// AlgDataCollect data types.
#define AR_DATA_ACC 0    // three int16: x, y, z in g with 10 fraction bits
#define AR_DATA_MAG 2    // three int32
#define AR_DATA_MODEM 9  // ar_modem_info_t

// The modem record of data type 9, 8 bytes.
typedef struct ar_modem_info_t {
    uint8_t hsFlag;
    uint8_t rat;
    uint8_t unused[2];
    uint32_t cid;
} ar_modem_info_t;

// Low byte 0 on success.
int32_t AlgInit_AR(void);
// Status block (AR_STATUS_BLOCK_SIZE bytes, little-endian): uint32 header
// word at 0; per algorithm slot id (0..63) the state byte at 4 + 4 * id and
// the int16 score at 6 + 4 * id. 0 on success.
int32_t AlgGetResult_AR(uint8_t *statusBlock, void *context);
// `productId` points to the product number (0 for none), `mode` is 2.
// Low byte 0 on success.
int32_t ProductIdInit(uint32_t *productId, int32_t mode);
int32_t TransInit(void);
int32_t AlgEnableVehicleBicycle(void);
int32_t AlgDisableVehicleBicycle(void);
// One sample of `dataType` (see above); `count` is 1.
int32_t AlgDataCollect(const void *sample, int32_t dataType, int32_t count, void *context);
int32_t AlgInit_HighSpeedRecog(void *context);
// Fills *result with the high-speed rail state. 0 on success.
int32_t AlgGetResult_HighSpeedRecog(int32_t *result, void *context);
int32_t AlgClose_HighSpeedRecog(void *context);

typedef int32_t (*AlgInit_AR_t)(void);
typedef int32_t (*AlgGetResult_AR_t)(uint8_t *statusBlock, void *context);
typedef int32_t (*ProductIdInit_t)(uint32_t *productId, int32_t mode);
typedef int32_t (*TransInit_t)(void);
typedef int32_t (*AlgEnableVehicleBicycle_t)(void);
typedef int32_t (*AlgDisableVehicleBicycle_t)(void);
typedef int32_t (*AlgDataCollect_t)(const void *sample, int32_t dataType, int32_t count,
                                    void *context);
typedef int32_t (*AlgInit_HighSpeedRecog_t)(void *context);
typedef int32_t (*AlgGetResult_HighSpeedRecog_t)(int32_t *result, void *context);
typedef int32_t (*AlgClose_HighSpeedRecog_t)(void *context);

#ifdef __cplusplus
}
#endif
