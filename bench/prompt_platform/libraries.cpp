/**
 * @file
 * The platform's libraries, which know their answers and do nothing else. Each line of the log is a
 * moment of the record, and so is each step of a programming run.
 */

#include "platform/cpldfwupdate.hpp"
#include "platform/dlog.h"
#include "platform/software_inventory.h"
#include "platform/sysinfo.h"
#include "record.hpp"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace
{

/** CPLDs of each kind; BENCH_DEVICES says how many. */
std::uint32_t devices()
{
    const char* text = std::getenv("BENCH_DEVICES");
    return text == nullptr ? 1 : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

} // namespace

// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)

void dlog_vprintf(int /*level*/, int /*module*/, const char* format, std::va_list arguments)
{
    std::array<char, 112> text{};
    (void)std::vsnprintf(text.data(), text.size(), format, arguments);
    bench::note(text.data());
}

void dlog_printf(int level, int module, const char* format, ...) // NOLINT(cert-dcl50-cpp)
{
    std::va_list arguments;
    va_start(arguments, format);
    dlog_vprintf(level, module, format, arguments);
    va_end(arguments);
}

int i2c_parse_sysinfo(std::uint32_t node_type, i2c_sysinfo** result)
{
    const std::uint32_t count = devices();
    void* const memory = std::calloc(1, sizeof(i2c_sysinfo) + count * sizeof(i2c_sysinfo_node));
    auto* const block = static_cast<i2c_sysinfo*>(memory);
    const std::span nodes(reinterpret_cast<i2c_sysinfo_node*>(block + 1), count);
    *block = {count, count == 0 ? nullptr : nodes.data()};
    for (std::uint32_t index = 0; index < count; ++index)
    {
        i2c_sysinfo_node& node = nodes[index];
        (void)std::snprintf(node.path, sizeof(node.path), "/dev/i2c-%u-%u", node_type, index);
        node.next = index + 1 < count ? &node + 1 : nullptr;
    }
    *result = block;
    return 0;
}

// NOLINTEND(cppcoreguidelines-pro-type-vararg,cppcoreguidelines-pro-bounds-array-to-pointer-decay)

int SIPLGetAvailableVersionsWithSha256(std::uint32_t /*component_id*/, char* current_version,
                                       char* previous_version, char* sha256,
                                       std::uint32_t version_size, std::uint32_t sha256_size,
                                       std::uint32_t /*reserved*/, void* /*record*/,
                                       void* /*reserved_pointer*/)
{
    (void)std::snprintf(current_version, version_size, "%s", "1.2.3");
    (void)std::snprintf(previous_version, version_size, "%s", "1.2.2");
    (void)std::snprintf(sha256, sha256_size, "%064d", 0);
    return 0;
}

bool SIPLHasVersionChanged(std::uint32_t /*query*/, void* /*record*/, std::uint64_t* /*value*/)
{
    return false;
}

void* SMAllocMem(std::size_t size)
{
    return std::malloc(size);
}

void SMFreeMem(void* block)
{
    std::free(block);
}

/** A run that has nothing to do but to report its steps. */
cpldfwupdate::cpldfwupdate(std::string /*component*/, unsigned int /*device_index*/,
                           std::string /*payload_path*/, void (*progress)(unsigned int),
                           unsigned int /*log_module*/) :
    run_(nullptr)
{
    constexpr unsigned int step = 10;
    constexpr unsigned int complete = 100;
    bench::note("run begins");
    for (unsigned int percent = 0; percent <= complete; percent += step)
    {
        bench::note("progress");
        progress(percent);
        bench::note("progress told");
    }
    bench::note("run is over");
}

cpldfwupdate::~cpldfwupdate()
{
    bench::note("run is destroyed");
}

cpldfwupdate_error_code cpldfwupdate::get_error_code()
{
    return {0, 0, 0};
}
