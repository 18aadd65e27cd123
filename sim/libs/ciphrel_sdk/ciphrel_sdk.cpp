// Stand-in for the closed cipher library libciphrel_sdk.so of the phone, for
// runs on Linux: it exports the EVP and RAND calls that the library offers and
// forwards each one to the real OpenSSL libcrypto, so that encryption is real
// AES-256-GCM and random bytes are real.
//
// Forwarding without recursion: every function here has the same name as the
// libcrypto function it stands for. libcrypto is therefore opened with
// dlopen(RTLD_LOCAL) instead of being linked, and the real functions are
// taken with dlsym on that handle. A handle lookup searches libcrypto and its
// own dependencies only, never this library, whatever the process has loaded
// globally; and libcrypto, loaded in a group of its own, binds its internal
// calls to itself. (Linking libcrypto and looking the names up with
// RTLD_NEXT would depend on load order and on the scope the loader puts the
// stand-in in; the handle lookup does not.)
#include <android/log.h>
#include <dlfcn.h>

#include "platform/api/ciphrel_api.h"

#ifndef CIPHREL_LIBCRYPTO_PATH
#define CIPHREL_LIBCRYPTO_PATH ""
#endif

#define CIPHREL_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr const char *kTag = "ciphrel_sdk";

struct RealCrypto {
    EVP_CIPHER_CTX_new_t ctxNew = nullptr;
    EVP_EncryptInit_ex_t encryptInit = nullptr;
    EVP_DecryptInit_ex_t decryptInit = nullptr;
    EVP_CIPHER_CTX_ctrl_t ctrl = nullptr;
    EVP_EncryptUpdate_t encryptUpdate = nullptr;
    EVP_DecryptUpdate_t decryptUpdate = nullptr;
    EVP_CipherUpdate_t cipherUpdate = nullptr;
    EVP_EncryptFinal_ex_t encryptFinal = nullptr;
    EVP_DecryptFinal_ex_t decryptFinal = nullptr;
    EVP_aes_256_gcm_t aes256Gcm = nullptr;
    EVP_CIPHER_CTX_free_t ctxFree = nullptr;
    RAND_bytes_t randBytes = nullptr;
};

void *OpenCrypto() {
    // The library the build found first, then the usual run-time names.
    const char *const names[] = {CIPHREL_LIBCRYPTO_PATH, "libcrypto.so.3", "libcrypto.so"};
    for (const char *name : names) {
        if (name[0] == '\0') {
            continue;
        }
        void *handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        if (handle != nullptr) {
            return handle;
        }
    }
    __android_log_print(ANDROID_LOG_ERROR, kTag, "libcrypto not found: %s", dlerror());
    return nullptr;
}

template <typename Fn>
void Take(void *handle, const char *name, Fn &slot) {
    slot = reinterpret_cast<Fn>(dlsym(handle, name));
    if (slot == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "libcrypto lacks %s", name);
    }
}

RealCrypto Load() {
    RealCrypto real;
    // Kept open for the life of the process.
    void *handle = OpenCrypto();
    if (handle == nullptr) {
        return real;
    }
    Take(handle, "EVP_CIPHER_CTX_new", real.ctxNew);
    Take(handle, "EVP_EncryptInit_ex", real.encryptInit);
    Take(handle, "EVP_DecryptInit_ex", real.decryptInit);
    Take(handle, "EVP_CIPHER_CTX_ctrl", real.ctrl);
    Take(handle, "EVP_EncryptUpdate", real.encryptUpdate);
    Take(handle, "EVP_DecryptUpdate", real.decryptUpdate);
    Take(handle, "EVP_CipherUpdate", real.cipherUpdate);
    Take(handle, "EVP_EncryptFinal_ex", real.encryptFinal);
    Take(handle, "EVP_DecryptFinal_ex", real.decryptFinal);
    Take(handle, "EVP_aes_256_gcm", real.aes256Gcm);
    Take(handle, "EVP_CIPHER_CTX_free", real.ctxFree);
    Take(handle, "RAND_bytes", real.randBytes);
    return real;
}

const RealCrypto &Real() {
    static const RealCrypto real = Load();
    return real;
}

}  // namespace

// A missing real function reads as the failure of the call: null or 0.

CIPHREL_EXPORT EVP_CIPHER_CTX *EVP_CIPHER_CTX_new(void) {
    return Real().ctxNew != nullptr ? Real().ctxNew() : nullptr;
}

CIPHREL_EXPORT int EVP_EncryptInit_ex(EVP_CIPHER_CTX *ctx, const EVP_CIPHER *cipher, ENGINE *impl,
                                      const unsigned char *key, const unsigned char *iv) {
    return Real().encryptInit != nullptr ? Real().encryptInit(ctx, cipher, impl, key, iv) : 0;
}

CIPHREL_EXPORT int EVP_DecryptInit_ex(EVP_CIPHER_CTX *ctx, const EVP_CIPHER *cipher, ENGINE *impl,
                                      const unsigned char *key, const unsigned char *iv) {
    return Real().decryptInit != nullptr ? Real().decryptInit(ctx, cipher, impl, key, iv) : 0;
}

CIPHREL_EXPORT int EVP_CIPHER_CTX_ctrl(EVP_CIPHER_CTX *ctx, int type, int arg, void *ptr) {
    return Real().ctrl != nullptr ? Real().ctrl(ctx, type, arg, ptr) : 0;
}

CIPHREL_EXPORT int EVP_EncryptUpdate(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl,
                                     const unsigned char *in, int inl) {
    return Real().encryptUpdate != nullptr ? Real().encryptUpdate(ctx, out, outl, in, inl) : 0;
}

CIPHREL_EXPORT int EVP_DecryptUpdate(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl,
                                     const unsigned char *in, int inl) {
    return Real().decryptUpdate != nullptr ? Real().decryptUpdate(ctx, out, outl, in, inl) : 0;
}

CIPHREL_EXPORT int EVP_CipherUpdate(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl,
                                    const unsigned char *in, int inl) {
    return Real().cipherUpdate != nullptr ? Real().cipherUpdate(ctx, out, outl, in, inl) : 0;
}

CIPHREL_EXPORT int EVP_EncryptFinal_ex(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl) {
    return Real().encryptFinal != nullptr ? Real().encryptFinal(ctx, out, outl) : 0;
}

CIPHREL_EXPORT int EVP_DecryptFinal_ex(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl) {
    return Real().decryptFinal != nullptr ? Real().decryptFinal(ctx, out, outl) : 0;
}

CIPHREL_EXPORT const EVP_CIPHER *EVP_aes_256_gcm(void) {
    return Real().aes256Gcm != nullptr ? Real().aes256Gcm() : nullptr;
}

CIPHREL_EXPORT void EVP_CIPHER_CTX_free(EVP_CIPHER_CTX *ctx) {
    if (Real().ctxFree != nullptr) {
        Real().ctxFree(ctx);
    }
}

CIPHREL_EXPORT int RAND_bytes(unsigned char *buf, int num) {
    return Real().randBytes != nullptr ? Real().randBytes(buf, num) : 0;
}
