#include "auth/openssl_handles.hpp"
#include "log/file_descriptor.hpp"
#include "log/log.hpp"
#include "service/tavrinupdate.hpp"

#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>

namespace
{

constexpr auto functionName = "TavrinPemPubKeyToDer";

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); } // NOLINT: owned here
};

using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

/** Opens a file for libcrypto. @return null where that cannot be done */
FilePtr openStream(const std::string& path)
{
    FileDescriptor file = openFile(path.c_str(), O_RDONLY);
    FilePtr stream(::fdopen(file.get(), "rb"));
    if (stream != nullptr)
    {
        file.release();
    }
    return stream;
}

PublicKeyPtr readPemKey(const std::string& path)
{
    const FilePtr file = openStream(path);
    if (file == nullptr)
    {
        logRecord("[%s] : Error opening PEM public key file: %s\n", functionName, path.c_str());
        return nullptr;
    }
    PublicKeyPtr key(PEM_read_PUBKEY(file.get(), nullptr, nullptr, nullptr));
    if (key == nullptr)
    {
        logRecord("[%s] : Error reading PEM public key: %s\n", functionName, path.c_str());
    }
    return key;
}

/** Moves all that is pending in the BIO to a buffer of the caller's. */
DerBuffer takePending(BIO& bio, std::size_t& length)
{
    constexpr std::size_t largestRead = 0x7FFFFFFF;
    const std::size_t pending = BIO_ctrl_pending(&bio);
    if (pending == 0 || pending > largestRead)
    {
        logRecord("[%s] : Invalid DER size (%zu) for BIO_read\n", functionName, pending);
        return nullptr;
    }
    DerBuffer der(static_cast<std::uint8_t*>(std::malloc(pending))); // NOLINT: freed as such
    if (der == nullptr)
    {
        logRecord("[%s] : Error allocating memory for DER buffer\n", functionName);
        return nullptr;
    }
    if (BIO_read(&bio, der.get(), static_cast<int>(pending)) <= 0)
    {
        logRecord("[%s] : Error reading DER buffer\n", functionName);
        return nullptr;
    }
    length = pending;
    return der;
}

} // namespace

DerBuffer Tavrinupdate::TavrinPemPubKeyToDer(const std::string& pemPath, std::size_t& derLength)
{
    const PublicKeyPtr key = readPemKey(pemPath);
    if (key == nullptr)
    {
        return nullptr;
    }
    const BioPtr bio(BIO_new(BIO_s_mem()));
    if (bio == nullptr)
    {
        logRecord("[%s] : Error creating BIO for output\n", functionName);
        return nullptr;
    }
    if (i2d_PUBKEY_bio(bio.get(), key.get()) != 1)
    {
        logRecord("[%s] : Error writing DER-encoded public key\n", functionName);
        return nullptr;
    }
    return takePending(*bio, derLength);
}
