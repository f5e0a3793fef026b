#include "second_platform.hpp"

#include "platform/cpldfwupdate.hpp"
#include "platform/dlog.h"
#include "platform/hal.hpp"
#include "platform/software_inventory.h"
#include "platform/sysinfo.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

namespace second
{

namespace
{

/** Versions 7.8.9, 4.5.6 and 1.2.3; ports closed. */
const std::array<Cpld, 3> kinds{{
    {62, "PBB_PLD", 0, {0x87, 0x09, 0, 0, 0x01}},
    {44, "PDB_PLD", 0, {0x54, 0x06, 0, 0, 0x01}},
    {26, "FLOP", 0, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x23, 0x10}},
}};

std::map<std::string, Cpld, std::less<>> madeCplds()
{
    std::map<std::string, Cpld, std::less<>> all;
    const auto count = static_cast<unsigned int>(setting("SECOND_DEVICES", 1));
    for (Cpld cpld : kinds)
    {
        for (cpld.index = 0; cpld.index < count; ++cpld.index)
        {
            // Those of a kind stand in the order of their numbers.
            const auto number = std::to_string(100 + cpld.index);
            all[std::string("/platform/boards/") + cpld.name + "/" + number] = cpld;
        }
    }
    return all;
}

} // namespace

std::int64_t setting(const char* name, std::int64_t usual)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? usual : std::strtol(text, nullptr, 10);
}

std::map<std::string, Cpld, std::less<>>& cplds()
{
    static auto all = madeCplds();
    return all;
}

bool tells()
{
    static const bool quiet = std::getenv("SECOND_QUIET") != nullptr;
    return !quiet;
}

void tell(const std::string& line)
{
    if (!tells())
    {
        return;
    }
    const std::string whole = line + "\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, whole.data(), whole.size());
}

} // namespace second

using second::tell;

// The log
// ------------------------------------------------------------------------------------------

void dlog_vprintf(int level, int module, const char* format, va_list arguments)
{
    if (!second::tells())
    {
        return;
    }
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text[std::strcspn(text.data(), "\n")] = '\0';
    tell("log " + std::to_string(level) + "/" + std::to_string(module) + " " + text.data());
}

void dlog_printf(int level, int module, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    dlog_vprintf(level, module, format, arguments);
    va_end(arguments);
}

// The platform description
// ---------------------------------------------------------------------------

int i2c_parse_sysinfo(std::uint32_t node_type, i2c_sysinfo** result)
{
    const auto& all = second::cplds();
    void* const memory =
        std::calloc(1, sizeof(i2c_sysinfo) + all.size() * sizeof(i2c_sysinfo_node));
    auto* const block = static_cast<i2c_sysinfo*>(memory);
    auto* node = reinterpret_cast<i2c_sysinfo_node*>(block + 1);
    i2c_sysinfo_node** link = &block->first;
    for (const auto& [path, cpld] : all)
    {
        if (cpld.nodeType == node_type)
        {
            path.copy(node->path, sizeof(node->path) - 1);
            *link = node;
            link = &node++->next;
            ++block->count;
        }
    }
    *result = block;
    return 0;
}

// Programming
// ----------------------------------------------------------------------------------------

namespace
{

/** The two version bytes that stand behind a payload's header are all the image there is. */
cpldfwupdate_error_code program(second::Cpld& cpld, const std::string& payload)
{
    constexpr std::size_t header = 124;
    constexpr std::size_t lockRegister = 4;
    std::array<char, header + 2> bytes{};
    std::ifstream file(payload, std::ios::binary);
    if ((cpld.registers[lockRegister] & 1U) != 0 || !file.read(bytes.data(), bytes.size()))
    {
        return {5, 0, 0};
    }
    std::memcpy(cpld.registers.data(), bytes.data() + header, 2);
    return {0, 0, 0};
}

} // namespace

cpldfwupdate::cpldfwupdate(std::string component, unsigned int device_index,
                           std::string payload_path, void (*progress)(unsigned int),
                           unsigned int log_module) :
    run_(nullptr)
{
    tell("program " + component + "[" + std::to_string(device_index) + "] for " +
         std::to_string(log_module));
    auto codes = std::make_unique<cpldfwupdate_error_code>(cpldfwupdate_error_code{0, 0, 6});
    for (auto& [path, cpld] : second::cplds())
    {
        if (component == cpld.name && device_index == cpld.index)
        {
            *codes = program(cpld, payload_path);
        }
    }
    const auto step = static_cast<unsigned int>(second::setting("SECOND_STEP", 50));
    for (unsigned int percent = step; percent <= 100; percent += step)
    {
        progress(percent);
    }
    run_ = codes.release();
}

cpldfwupdate::~cpldfwupdate()
{
    delete static_cast<cpldfwupdate_error_code*>(run_);
}

cpldfwupdate_error_code cpldfwupdate::get_error_code()
{
    return *static_cast<cpldfwupdate_error_code*>(run_);
}

// The hold line
// --------------------------------------------------------------------------------------

namespace
{

class Line final : public HAL_i2c
{
  public:
    int WriteBit(std::uint8_t value) override
    {
        tell("hold line " + std::to_string(value));
        return 0;
    }
    bool HasInterruptCallback() const override { return false; }
    int UnregisterInterruptCallback() override { return 0; }
};

} // namespace

HAL_cfgbase* HAL_cfgdata::ReadHALConfig(const std::string& name)
{
    return name == "HOLD_S5_FLOP_CPLD_UPDATE" ? std::make_unique<Line>().release() : nullptr;
}

// The software inventory
// -----------------------------------------------------------------------------

int SIPLGetAvailableVersionsWithSha256(std::uint32_t /*component_id*/, char* current_version,
                                       char* /*previous_version*/, char* sha256,
                                       std::uint32_t version_size, std::uint32_t sha256_size,
                                       std::uint32_t /*reserved*/, void* /*record*/,
                                       void* /*reserved_pointer*/)
{
    std::snprintf(current_version, version_size, "%s", "factory");
    std::memset(sha256, 'e', sha256_size); // no room is left for the NUL
    return 0;
}

bool SIPLHasVersionChanged(std::uint32_t /*query*/, void* /*record*/, std::uint64_t* change_value)
{
    *change_value = 0x1122334455667788;
    return true;
}

void* SMAllocMem(std::size_t size)
{
    return std::malloc(size);
}

void SMFreeMem(void* block)
{
    std::free(block);
}
