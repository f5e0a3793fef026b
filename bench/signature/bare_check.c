/**
 * @file
 * Checks of one payload by bare calls of libcrypto, for a look at what they cost.
 *
 * usage: bare_check KEY FILE COUNT [through-der | through-bio]
 *
 * The key may go through its DER form, as the service's does, which judges the length of that; a
 * BIO has it encoded twice, first for its length.
 */

#include <err.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    NUMBER_SIZE = 48,
    SIGNATURE_SIZE = 2 * NUMBER_SIZE
};

static EVP_PKEY* read_key(const char* path)
{
    FILE* file = fopen(path, "rb");
    EVP_PKEY* key = file == NULL ? NULL : PEM_read_PUBKEY(file, NULL, NULL, NULL);
    if (key == NULL)
    {
        errx(EXIT_FAILURE, "no key: %s", path);
    }
    fclose(file);
    return key;
}

static EVP_PKEY* through_der(EVP_PKEY* key)
{
    unsigned char* der = NULL;
    const int length = i2d_PUBKEY(key, &der);
    const unsigned char* begin = der;
    EVP_PKEY* decoded = d2i_PUBKEY(NULL, &begin, length);
    OPENSSL_free(der);
    EVP_PKEY_free(key);
    return decoded;
}

static EVP_PKEY* through_bio(EVP_PKEY* key)
{
    BIO* der = BIO_new(BIO_s_mem());
    i2d_PUBKEY_bio(der, key);
    EVP_PKEY* decoded = d2i_PUBKEY_bio(der, NULL);
    BIO_free(der);
    EVP_PKEY_free(key);
    return decoded;
}

/** The key, in the form that the way to it gives. */
static EVP_PKEY* take_key(const char* path, const char* way)
{
    EVP_PKEY* key = read_key(path);
    if (strcmp(way, "through-der") == 0)
    {
        return through_der(key);
    }
    return strcmp(way, "through-bio") == 0 ? through_bio(key) : key;
}

/** The signature as libcrypto takes it. @return its length */
static size_t encode(const unsigned char* raw, unsigned char** encoded)
{
    ECDSA_SIG* signature = ECDSA_SIG_new();
    ECDSA_SIG_set0(signature, BN_bin2bn(raw, NUMBER_SIZE, NULL),
                   BN_bin2bn(raw + NUMBER_SIZE, NUMBER_SIZE, NULL));
    const int length = i2d_ECDSA_SIG(signature, encoded);
    ECDSA_SIG_free(signature);
    return length < 0 ? 0 : (size_t)length;
}

/** Takes the key over. */
static void check(EVP_PKEY* key, const unsigned char* payload, size_t size)
{
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    unsigned char* encoded = NULL;
    const size_t length = encode(payload + size - SIGNATURE_SIZE, &encoded);
    if (EVP_DigestVerifyInit(context, NULL, EVP_sha512(), NULL, key) != 1 ||
        EVP_DigestVerifyUpdate(context, payload, size - SIGNATURE_SIZE) != 1 ||
        EVP_DigestVerifyFinal(context, encoded, length) != 1)
    {
        errx(EXIT_FAILURE, "refused");
    }
    OPENSSL_free(encoded);
    EVP_MD_CTX_free(context);
    EVP_PKEY_free(key);
}

int main(int argc, char* argv[])
{
    static unsigned char payload[1 << 16];
    FILE* file = argc >= 4 ? fopen(argv[2], "rb") : NULL;
    if (file == NULL)
    {
        errx(EXIT_FAILURE, "usage: bare_check KEY FILE COUNT [through-der | through-bio]");
    }
    const size_t size = fread(payload, 1, sizeof(payload), file);
    fclose(file);
    if (size < SIGNATURE_SIZE || size == sizeof(payload))
    {
        errx(EXIT_FAILURE, "a payload has less than 64 KiB here, and a signature");
    }
    for (long left = strtol(argv[3], NULL, 10); left > 0; --left)
    {
        check(take_key(argv[1], argc > 4 ? argv[4] : ""), payload, size);
    }
    return 0;
}
