// Entry points of the cipher library "libciphrel_sdk.so" (wrapper
// LibOpenssl): the EVP and RAND calls of OpenSSL, with OpenSSL's names and
// types. The object types are OpenSSL's own (same struct tags), so this
// header and OpenSSL's agree where both are seen.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef struct evp_cipher_ctx_st EVP_CIPHER_CTX;
typedef struct evp_cipher_st EVP_CIPHER;
typedef struct engine_st ENGINE;

// EVP_CIPHER_CTX_ctrl commands of GCM (OpenSSL's values).
#define CIPHREL_CTRL_GCM_SET_IVLEN 0x9
#define CIPHREL_CTRL_GCM_GET_TAG 0x10
#define CIPHREL_CTRL_GCM_SET_TAG 0x11

EVP_CIPHER_CTX *EVP_CIPHER_CTX_new(void);
int EVP_EncryptInit_ex(EVP_CIPHER_CTX *ctx, const EVP_CIPHER *cipher, ENGINE *impl,
                       const unsigned char *key, const unsigned char *iv);
int EVP_DecryptInit_ex(EVP_CIPHER_CTX *ctx, const EVP_CIPHER *cipher, ENGINE *impl,
                       const unsigned char *key, const unsigned char *iv);
int EVP_CIPHER_CTX_ctrl(EVP_CIPHER_CTX *ctx, int type, int arg, void *ptr);
int EVP_EncryptUpdate(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl, const unsigned char *in,
                      int inl);
int EVP_DecryptUpdate(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl, const unsigned char *in,
                      int inl);
int EVP_CipherUpdate(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl, const unsigned char *in,
                     int inl);
int EVP_EncryptFinal_ex(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl);
int EVP_DecryptFinal_ex(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl);
const EVP_CIPHER *EVP_aes_256_gcm(void);
void EVP_CIPHER_CTX_free(EVP_CIPHER_CTX *ctx);
int RAND_bytes(unsigned char *buf, int num);

typedef EVP_CIPHER_CTX *(*EVP_CIPHER_CTX_new_t)(void);
typedef int (*EVP_EncryptInit_ex_t)(EVP_CIPHER_CTX *ctx, const EVP_CIPHER *cipher, ENGINE *impl,
                                    const unsigned char *key, const unsigned char *iv);
typedef int (*EVP_DecryptInit_ex_t)(EVP_CIPHER_CTX *ctx, const EVP_CIPHER *cipher, ENGINE *impl,
                                    const unsigned char *key, const unsigned char *iv);
typedef int (*EVP_CIPHER_CTX_ctrl_t)(EVP_CIPHER_CTX *ctx, int type, int arg, void *ptr);
typedef int (*EVP_EncryptUpdate_t)(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl,
                                   const unsigned char *in, int inl);
typedef int (*EVP_DecryptUpdate_t)(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl,
                                   const unsigned char *in, int inl);
typedef int (*EVP_CipherUpdate_t)(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl,
                                  const unsigned char *in, int inl);
typedef int (*EVP_EncryptFinal_ex_t)(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl);
typedef int (*EVP_DecryptFinal_ex_t)(EVP_CIPHER_CTX *ctx, unsigned char *out, int *outl);
typedef const EVP_CIPHER *(*EVP_aes_256_gcm_t)(void);
typedef void (*EVP_CIPHER_CTX_free_t)(EVP_CIPHER_CTX *ctx);
typedef int (*RAND_bytes_t)(unsigned char *buf, int num);

#ifdef __cplusplus
}
#endif
