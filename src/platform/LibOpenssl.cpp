#include "platform/LibOpenssl.h"

#include <climits>

namespace {

// Largest piece handed to the library in one update.
constexpr int kChunk = 0x40000;
constexpr int kIvLength = 12;
constexpr int kTagLength = 16;

enum class ChunkResult { kOk, kOverflow, kFailed };

// Runs `update` over src in pieces of at most kChunk bytes. `destUsed`,
// `outTmp` and `srcLeft` are left as they stand after the last piece.
ChunkResult UpdateChunks(EVP_EncryptUpdate_t update, EVP_CIPHER_CTX *ctx, const uint8_t *src,
                         int srcLen, uint8_t *dst, int capacity, int &destUsed, int &outTmp,
                         int &srcLeft) {
    srcLeft = srcLen;
    while (srcLeft > 0) {
        const int length = srcLeft > kChunk ? kChunk : srcLeft;
        // GCM writes as many bytes as it reads: the rest of dst must hold them.
        if (destUsed > capacity || capacity - destUsed < length) {
            return ChunkResult::kOverflow;
        }
        const int room = capacity - destUsed;
        outTmp = room;
        if (update(ctx, dst + destUsed, &outTmp, src, length) == 0) {
            return ChunkResult::kFailed;
        }
        if (outTmp < 0 || outTmp > room) {
            return ChunkResult::kOverflow;
        }
        src += length;
        destUsed += outTmp;
        srcLeft -= length;
    }
    return ChunkResult::kOk;
}

}  // namespace

void LibOpenssl::LoadSymbols() {
    VYR_LIB_SYMBOL(EVP_CIPHER_CTX_new);
    VYR_LIB_SYMBOL(EVP_EncryptInit_ex);
    VYR_LIB_SYMBOL(EVP_DecryptInit_ex);
    VYR_LIB_SYMBOL(EVP_CIPHER_CTX_ctrl);
    VYR_LIB_SYMBOL(EVP_EncryptUpdate);
    VYR_LIB_SYMBOL(EVP_DecryptUpdate);
    VYR_LIB_SYMBOL(EVP_CipherUpdate);
    VYR_LIB_SYMBOL(EVP_EncryptFinal_ex);
    VYR_LIB_SYMBOL(EVP_DecryptFinal_ex);
    VYR_LIB_SYMBOL(EVP_aes_256_gcm);
    VYR_LIB_SYMBOL(EVP_CIPHER_CTX_free);
    VYR_LIB_SYMBOL(RAND_bytes);
}

bool LibOpenssl::HasCipher(bool decrypt) const {
    const bool common = EVP_CIPHER_CTX_new != nullptr && EVP_CIPHER_CTX_ctrl != nullptr &&
                        EVP_aes_256_gcm != nullptr && EVP_CIPHER_CTX_free != nullptr;
    if (decrypt) {
        return common && EVP_DecryptInit_ex != nullptr && EVP_DecryptUpdate != nullptr &&
               EVP_DecryptFinal_ex != nullptr;
    }
    return common && EVP_EncryptInit_ex != nullptr && EVP_EncryptUpdate != nullptr &&
           EVP_EncryptFinal_ex != nullptr;
}

bool LibOpenssl::ValidParams(const void *info, const uint8_t *src, int srcLen, const uint8_t *dst,
                             const int *dstLen) {
    if (info == nullptr || dstLen == nullptr || *dstLen < 0 || srcLen < 0 ||
        (src == nullptr && srcLen > 0) || (dst == nullptr && *dstLen > 0)) {
        LOGE("params is err !\n");
        return false;
    }
    return true;
}

int32_t LibOpenssl::AesGcmAlgorithm(VyrCryptInfo *info, const uint8_t *src, int srcLen,
                                    uint8_t *dst, int *dstLen) {
    if (info == nullptr) {
        LOGE("params is err !\n");
        return 1;
    }
    switch (info->mode) {
        case VYR_CRYPT_ENCRYPT:
            return DoAesGcmEncrypt(info, src, srcLen, dst, dstLen);
        case VYR_CRYPT_DECRYPT:
            return DoAesGcmDecrypt(info, src, srcLen, dst, dstLen);
        default:
            return 1;
    }
}

int32_t LibOpenssl::DoAesGcmEncrypt(VyrCryptInfo *info, const uint8_t *src, int srcLen,
                                    uint8_t *dst, int *dstLen) {
    LOGI("AES GCM Encrypt:");
    if (!ValidParams(info, src, srcLen, dst, dstLen)) {
        return 1;
    }
    EVP_CIPHER_CTX *ctx = HasCipher(false) ? EVP_CIPHER_CTX_new() : nullptr;
    if (ctx == nullptr) {
        LOGE("Encryp handel is NULL");
        return 1;
    }
    EVP_EncryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_ctrl(ctx, CIPHREL_CTRL_GCM_SET_IVLEN, kIvLength, nullptr);
    EVP_EncryptInit_ex(ctx, nullptr, nullptr, info->key, info->iv);

    int destUsed = 0;
    int outTmp = 0;
    int srcLeft = 0;
    switch (UpdateChunks(EVP_EncryptUpdate, ctx, src, srcLen, dst, *dstLen, destUsed, outTmp,
                         srcLeft)) {
        case ChunkResult::kOverflow:
            LOGE("dstLen overflow");
            EVP_CIPHER_CTX_free(ctx);
            return 1;
        case ChunkResult::kFailed:
            LOGE("DecryptUpdate fail !");
            EVP_CIPHER_CTX_free(ctx);
            return 1;
        case ChunkResult::kOk:
            break;
    }
    LOGI("2 outTmp %d destUsed %d srcLeft %d\n", outTmp, destUsed, srcLeft);

    outTmp = *dstLen - destUsed;
    EVP_EncryptFinal_ex(ctx, dst + destUsed, &outTmp);
    *dstLen = outTmp + destUsed;

    EVP_CIPHER_CTX_ctrl(ctx, CIPHREL_CTRL_GCM_GET_TAG, kTagLength, info->tag);
    EVP_CIPHER_CTX_free(ctx);
    return 0;
}

int32_t LibOpenssl::DoAesGcmDecrypt(const VyrCryptInfo *info, const uint8_t *src, int srcLen,
                                    uint8_t *dst, int *dstLen) {
    LOGI("AES GCM Decrypt:");
    if (!ValidParams(info, src, srcLen, dst, dstLen)) {
        return 1;
    }
    EVP_CIPHER_CTX *ctx = HasCipher(true) ? EVP_CIPHER_CTX_new() : nullptr;
    if (ctx == nullptr) {
        LOGE("Encryp handel is NULL");
        return 1;
    }
    EVP_DecryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_ctrl(ctx, CIPHREL_CTRL_GCM_SET_IVLEN, kIvLength, nullptr);
    // The library copies the expected tag; it never writes through it.
    uint8_t tag[kTagLength];
    for (int i = 0; i < kTagLength; ++i) {
        tag[i] = info->tag[i];
    }
    EVP_CIPHER_CTX_ctrl(ctx, CIPHREL_CTRL_GCM_SET_TAG, kTagLength, tag);
    EVP_DecryptInit_ex(ctx, nullptr, nullptr, info->key, info->iv);

    int destUsed = 0;
    int outTmp = 0;
    int srcLeft = 0;
    switch (UpdateChunks(EVP_DecryptUpdate, ctx, src, srcLen, dst, *dstLen, destUsed, outTmp,
                         srcLeft)) {
        case ChunkResult::kOverflow:
            LOGE("dstLen overflow");
            EVP_CIPHER_CTX_free(ctx);
            return 1;
        case ChunkResult::kFailed:
            LOGE("DecryptUpdate fail !");
            EVP_CIPHER_CTX_free(ctx);
            return 1;
        case ChunkResult::kOk:
            break;
    }
    LOGI("2 outTmp %d destUsed %d srcLeft %d\n", outTmp, destUsed, srcLeft);

    outTmp = *dstLen - destUsed;
    const int r = EVP_DecryptFinal_ex(ctx, dst + destUsed, &outTmp);
    *dstLen = outTmp + destUsed;
    LOGI("Tag Verify %s", r > 0 ? "Successful!" : "Failed!");
    EVP_CIPHER_CTX_free(ctx);
    return r > 0 ? 0 : 1;
}

int32_t LibOpenssl::GetSecureRand(void *out, uint32_t size) {
    if (out == nullptr || size == 0 || size > static_cast<uint32_t>(INT_MAX)) {
        LOGE("params is err !\n");
        return 1;
    }
    if (RAND_bytes == nullptr ||
        RAND_bytes(static_cast<unsigned char *>(out), static_cast<int>(size)) == 0) {
        LOGE("Generate Random number is faild !\n");
        return 1;
    }
    return 0;
}
