#include "auth/openssl_handles.hpp"
#include "auth/signature.hpp"
#include "log/file_descriptor.hpp"
#include "log/log.hpp"
#include "service/tavrinupdate.hpp"

#include <fcntl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <memory>
#include <new>
#include <span>

namespace
{

constexpr auto functionName = "verifySignature";

/** The payload is digested in pieces of at most this size. */
constexpr std::size_t chunkSize = 0x400000;

// NOLINTNEXTLINE(cppcoreguidelines-avoid-c-arrays,modernize-avoid-c-arrays): of a run-time size
using ReadBuffer = std::unique_ptr<std::uint8_t[]>;

/**
 * The memory for the pieces; null where there is none, so that it becomes a refusal.
 *
 * A function of its own: a compiler may work out the value of a constant beforehand, and clang 19
 * in C++23 mode takes an allocation of this size for one that fails.
 */
ReadBuffer makeReadBuffer()
{
    return ReadBuffer(new (std::nothrow) std::uint8_t[chunkSize]);
}

bool readExactly(const FileDescriptor& file, std::span<std::uint8_t> target)
{
    return readUpTo(file, std::as_writable_bytes(target)) == target.size();
}

/** Loads the key that the header asks for. @return null on failure, which has been logged */
PublicKeyPtr loadKey(const PayloadHeader& header)
{
    // A P-384 key has 120 bytes, a P-256 key 91. Nothing else is asked of a key: any that is long
    // enough counts, so nobody but root may write key files.
    constexpr std::size_t shortestDer = 96;

    std::string keyPath;
    Tavrinupdate::pub_key_setter(header, keyPath);

    std::size_t length = 0;
    const DerBuffer der = Tavrinupdate::TavrinPemPubKeyToDer(keyPath, length);
    if (der == nullptr || length < shortestDer)
    {
        logRecord("[%s] : Error in converting PEM public key to DER format\n", functionName);
        return nullptr;
    }
    const std::uint8_t* position = der.get();
    PublicKeyPtr key(d2i_PUBKEY(nullptr, &position, static_cast<long>(length)));
    if (key == nullptr)
    {
        logRecord("[%s] : Error in converting DER public key to EVP format\n", functionName);
    }
    return key;
}

DigestContextPtr beginVerification(EVP_PKEY& key)
{
    DigestContextPtr context(EVP_MD_CTX_new());
    if (context == nullptr)
    {
        logRecord("[%s] : Error in creating signature verifying context\n", functionName);
        return nullptr;
    }
    if (EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha512(), nullptr, &key) < 1)
    {
        logRecord("[%s] : Error in initializing signature verifying context\n", functionName);
        return nullptr;
    }
    return context;
}

/** Feeds the signed bytes to the verifier, one buffer after the other. */
bool digest(const FileDescriptor& file, std::size_t remaining, std::span<std::uint8_t> buffer,
            EVP_MD_CTX& context)
{
    while (remaining != 0)
    {
        const auto chunk = buffer.first(std::min(remaining, buffer.size()));
        if (!readExactly(file, chunk))
        {
            logRecord("[%s] : Error in reading payload's data\n", functionName);
            return false;
        }
        if (EVP_DigestVerifyUpdate(&context, chunk.data(), chunk.size()) < 1)
        {
            logRecord("[%s] : Error in signature verification\n", functionName);
            return false;
        }
        remaining -= chunk.size();
    }
    return true;
}

/** Checks the signature behind the digested bytes. Only an answer of exactly 1 is a yes. */
bool finishVerification(EVP_MD_CTX& context, RawSignature raw)
{
    const auto signature = encodeSignature(raw);
    if (signature.bytes == nullptr ||
        EVP_DigestVerifyFinal(&context, signature.bytes.get(), signature.length) != 1)
    {
        logRecord("[%s] : Error in signature verification\n", functionName);
        return false;
    }
    logTrace("[%s] : Signature verification is successful\n", functionName);
    return true;
}

/** Digests the file from its beginning and checks the signature at its end. */
bool verifyContent(const FileDescriptor& file, std::size_t signedBytes, EVP_MD_CTX& context)
{
    ::lseek(file.get(), 0, SEEK_SET);
    const ReadBuffer memory = makeReadBuffer();
    if (memory == nullptr)
    {
        logRecord("[%s] : Error in allocating memory\n", functionName);
        return false;
    }
    const std::span<std::uint8_t> buffer(memory.get(), chunkSize);

    if (!digest(file, signedBytes, buffer, context))
    {
        return false;
    }
    const auto raw = buffer.first<signatureSize>();
    if (!readExactly(file, raw))
    {
        logRecord("[%s] : Error in reading payload's signature\n", functionName);
        return false;
    }
    return finishVerification(context, raw);
}

} // namespace

bool Tavrinupdate::verifySignature(std::string payloadPath)
{
    logTrace("[%s] : PayloadPath: %s\n", functionName, payloadPath.c_str());
    // Since the listing, something else may have taken the name.
    const FileDescriptor file = openFile(payloadPath.c_str(), O_RDONLY);
    if (!isRegularFile(file))
    {
        logRecord("[%s] : Error opening file: %s\n", functionName, payloadPath.c_str());
        return false;
    }
    PayloadHeader header{};
    const bool hasHeader = readExactly(file, header);
    const PublicKeyPtr key = loadKey(header);
    if (key == nullptr)
    {
        return false;
    }

    const auto signedBytes =
        hasHeader ? signedSize(::lseek(file.get(), 0, SEEK_END)) : std::nullopt;
    if (!signedBytes)
    {
        logRecord("[%s] : Error in getting file size\n", functionName);
        return false;
    }
    const DigestContextPtr context = beginVerification(*key);
    return context != nullptr && verifyContent(file, *signedBytes, *context);
}
