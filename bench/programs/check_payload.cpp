/**
 * @file
 * The service's check of one payload, as a process of its own, or beside the bare digest of as many
 * bytes in memory.
 *
 * usage: check_payload FILE [ROUNDS]
 *
 * The payload is one for a PBB. Without ROUNDS it is checked once; the exit status is 0 where it
 * verifies. Otherwise prints a line for each round: processor time of the check and of the digest,
 * in nanoseconds.
 *
 * What the service loads once in its life must not count at every check, so this process begins
 * with little: the C++ library is linked in, and the platform's libraries stay out.
 */

#include "auth/openssl_handles.hpp"
#include "auth/signature.hpp"
#include "platform/dlog.h"
#include "service/component_table.hpp"
#include "service/tavrinupdate.hpp"
#include "service/update_request.hpp"
#include "support.hpp"

#include <array>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// The platform log of a controller on which nobody watches it.

void dlog_vprintf(int /*level*/, int /*module*/, const char* /*format*/, std::va_list /*arguments*/)
{
}

void dlog_printf(int /*level*/, int /*module*/, const char* /*format*/, ...) // NOLINT: as declared
{
}

namespace
{

std::vector<char> contentsOf(const std::string& path)
{
    std::vector<char> contents(std::filesystem::file_size(path));
    std::ifstream(path, std::ios::binary)
        .read(contents.data(), static_cast<std::streamsize>(contents.size()));
    return contents;
}

template <typename Action>
std::int64_t processorTime(Action action)
{
    const std::int64_t begin = bench::now(CLOCK_PROCESS_CPUTIME_ID);
    if (!action())
    {
        errx(EXIT_FAILURE, "refused");
    }
    return bench::now(CLOCK_PROCESS_CPUTIME_ID) - begin;
}

/** Each round has the other order, so that both meet the same machine. */
void compare(const std::string& path, int rounds)
{
    const std::vector<char> payload = contentsOf(path);
    const auto check = [&] { return Tavrinupdate::verifySignature(path); };
    const auto digest = [&]
    {
        std::array<std::uint8_t, EVP_MAX_MD_SIZE> result{};
        return EVP_Digest(payload.data(), payload.size() - signatureSize, result.data(), nullptr,
                          EVP_sha512(), nullptr) == 1;
    };
    for (int round = 0; round < rounds; ++round)
    {
        std::int64_t ours = round % 2 == 0 ? processorTime(check) : 0;
        const std::int64_t bare = processorTime(digest);
        ours = round % 2 == 0 ? ours : processorTime(check);
        std::printf("%" PRId64 " %" PRId64 "\n", ours, bare);
    }
}

} // namespace

int main(int count, char** words)
{
    if (count != 2 && count != 3)
    {
        return 2;
    }
    updateRequest().CompId = component_id::pbb;
    if (count == 2)
    {
        return Tavrinupdate::verifySignature(words[1]) ? 0 : 1;
    }
    compare(words[1], std::stoi(words[2]));
    return 0;
}
