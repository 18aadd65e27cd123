// Wrapper of "libciphrel_sdk.so", the cipher library with OpenSSL's EVP and
// RAND calls: AES-256-GCM in chunks, and secure random bytes.
#pragma once

#include <cstdint>

#include "platform/LibBase.h"
#include "platform/api/ciphrel_api.h"

// Parameters of one AES-256-GCM operation.
struct VyrCryptInfo {
    uint8_t key[32];
    uint8_t iv[12];
    uint32_t mode;    // VYR_CRYPT_ENCRYPT or VYR_CRYPT_DECRYPT
    uint8_t tag[16];  // written by encryption, checked by decryption
};

inline constexpr uint32_t VYR_CRYPT_ENCRYPT = 0;
inline constexpr uint32_t VYR_CRYPT_DECRYPT = 1;

class LibOpenssl : public LibBase {
public:
    explicit LibOpenssl(LogSink &log = LogSink::System()) : LibBase(log) {}

    bool Init() { return OpenLib("ciphrel_sdk", ""); }
    void LoadSymbols() override;

    // By info->mode: encrypt or decrypt; 1 for another mode.
    int32_t AesGcmAlgorithm(VyrCryptInfo *info, const uint8_t *src, int srcLen, uint8_t *dst,
                            int *dstLen);
    // *dstLen: capacity of dst on entry, bytes written on return. 0 on
    // success, 1 on failure. The library never gets more than 0x40000 bytes
    // in one call.
    int32_t DoAesGcmEncrypt(VyrCryptInfo *info, const uint8_t *src, int srcLen, uint8_t *dst,
                            int *dstLen);
    // As encryption; the result is 1 when the tag does not match, with the
    // plain text written all the same.
    int32_t DoAesGcmDecrypt(const VyrCryptInfo *info, const uint8_t *src, int srcLen, uint8_t *dst,
                            int *dstLen);
    // `size` random bytes into `out`. 0 on success, 1 on failure.
    int32_t GetSecureRand(void *out, uint32_t size);

    EVP_CIPHER_CTX_new_t EVP_CIPHER_CTX_new = nullptr;
    EVP_EncryptInit_ex_t EVP_EncryptInit_ex = nullptr;
    EVP_DecryptInit_ex_t EVP_DecryptInit_ex = nullptr;
    EVP_CIPHER_CTX_ctrl_t EVP_CIPHER_CTX_ctrl = nullptr;
    EVP_EncryptUpdate_t EVP_EncryptUpdate = nullptr;
    EVP_DecryptUpdate_t EVP_DecryptUpdate = nullptr;
    EVP_CipherUpdate_t EVP_CipherUpdate = nullptr;
    EVP_EncryptFinal_ex_t EVP_EncryptFinal_ex = nullptr;
    EVP_DecryptFinal_ex_t EVP_DecryptFinal_ex = nullptr;
    EVP_aes_256_gcm_t EVP_aes_256_gcm = nullptr;
    EVP_CIPHER_CTX_free_t EVP_CIPHER_CTX_free = nullptr;
    RAND_bytes_t RAND_bytes = nullptr;

private:
    bool HasCipher(bool decrypt) const;
    bool ValidParams(const void *info, const uint8_t *src, int srcLen, const uint8_t *dst,
                     const int *dstLen);
};
