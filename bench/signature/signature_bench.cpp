/**
 * @file
 * The service's check of payloads that lie in the page cache, beside the digest of as many bytes in
 * memory, and beside a check by bare calls of libcrypto and the system.
 *
 * usage: signature_bench FOLDER [--benchmark_...]
 *
 * Every file in the folder is a payload for a PBB, named by its size in bytes.
 */

#include "auth/signature.hpp"
#include "service/component_table.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/pem.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace
{

constexpr auto keyPath = "/etc/shared_keys/i2cpld/K4/default.pub";
constexpr std::size_t pieceSize = 0x20000;

using Bytes = std::vector<std::uint8_t>;

Bytes contentsOf(const std::string& path)
{
    Bytes contents(std::filesystem::file_size(path));
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(contents.data()),
              static_cast<std::streamsize>(contents.size()));
    return contents;
}

void checkFile(benchmark::State& state, const std::string& path)
{
    for ([[maybe_unused]] auto _ : state)
    {
        if (!Tavrinupdate::verifySignature(path))
        {
            state.SkipWithError("refused");
        }
    }
}

void digestMemory(benchmark::State& state, const std::string& path)
{
    const Bytes payload = contentsOf(path);
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
    for ([[maybe_unused]] auto _ : state)
    {
        EVP_Digest(payload.data(), payload.size() - signatureSize, digest.data(), nullptr,
                   EVP_sha512(), nullptr);
        benchmark::DoNotOptimize(digest);
    }
}

/** Feeds a file to the verifier in pieces that stay in the cache. @return the bytes at its end */
std::array<std::uint8_t, signatureSize> readBare(const std::string& path, EVP_MD_CTX& context)
{
    std::array<std::uint8_t, pieceSize> piece{};
    std::array<std::uint8_t, signatureSize> signature{};
    const int fd = ::open(path.c_str(), O_RDONLY);
    auto left = static_cast<std::size_t>(::lseek(fd, 0, SEEK_END)) - signatureSize;
    ::lseek(fd, 0, SEEK_SET);
    while (left > 0)
    {
        const ssize_t size = ::read(fd, piece.data(), std::min(left, piece.size()));
        if (size <= 0)
        {
            break;
        }
        EVP_DigestVerifyUpdate(&context, piece.data(), static_cast<std::size_t>(size));
        left -= static_cast<std::size_t>(size);
    }
    benchmark::DoNotOptimize(::read(fd, signature.data(), signature.size()));
    ::close(fd);
    return signature;
}

/** What no check can do without: the key and the file are read, digested, verified. */
bool isVerifiedBare(const std::string& path)
{
    const BioPtr keyFile(BIO_new_file(keyPath, "r"));
    const PublicKeyPtr key(PEM_read_bio_PUBKEY(keyFile.get(), nullptr, nullptr, nullptr));
    const DigestContextPtr context(EVP_MD_CTX_new());
    EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha512(), nullptr, key.get());
    const auto signature = encodeSignature(readBare(path, *context));
    return EVP_DigestVerifyFinal(context.get(), signature.bytes.get(), signature.length) == 1;
}

void checkBare(benchmark::State& state, const std::string& path)
{
    for ([[maybe_unused]] auto _ : state)
    {
        if (!isVerifiedBare(path))
        {
            state.SkipWithError("refused");
        }
    }
}

void registerFor(const std::filesystem::path& file)
{
    const auto add = [&](const std::string& name, auto* function)
    {
        benchmark::RegisterBenchmark((name + "/" + file.filename().string()).c_str(), function,
                                     file.string())
            ->Unit(benchmark::kMillisecond);
    };
    add("check", checkFile);
    add("digest", digestMemory);
    add("bare", checkBare);
}

} // namespace

int main(int count, char** arguments)
{
    benchmark::Initialize(&count, arguments);
    if (count != 2)
    {
        std::fputs("usage: signature_bench FOLDER [--benchmark_...]\n", stderr);
        return 2;
    }
    updateRequest().CompId = component_id::pbb;
    for (const auto& file : std::filesystem::directory_iterator(arguments[1]))
    {
        registerFor(file.path());
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
