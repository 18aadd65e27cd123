// Entry points of the activity engine client "libartolviengineclient.so"
// (wrapper LibArEngineClient): decodes engine data that comes through the
// message queue and hands the output to a registered function.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Output of the engine: `dataType` 1 carries the algorithm version as the
// first 32-bit word. `data` is valid only during the call.
typedef void (*AREGCDataCallback_t)(void *data, int32_t dataType, int32_t size);

// 0 on success.
int32_t AREGCInit(void);
// Decodes one block; the output comes through the registered function, on
// the caller's thread. 0 on success.
int32_t AREGCDecodeData(const char *data, uint32_t size);
int32_t AREGCProcessDataFuncRegister(AREGCDataCallback_t callback);

typedef int32_t (*AREGCInit_t)(void);
typedef int32_t (*AREGCDecodeData_t)(const char *data, uint32_t size);
typedef int32_t (*AREGCProcessDataFuncRegister_t)(AREGCDataCallback_t callback);

#ifdef __cplusplus
}
#endif
