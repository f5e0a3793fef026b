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
#include <iterator>
#include <memory>
#include <vector>

namespace second
{

std::array<Cpld, 3>& cplds()
{
    // Versions 7.8.9, 4.5.6 and 1.2.3; ports closed.
    static std::array<Cpld, 3> all{{
        {62, "PBB_PLD", "/platform/boards/pbb/cpld", {0x87, 0x09, 0, 0, 0x01}},
        {44, "PDB_PLD", "/platform/boards/pdb/cpld", {0x54, 0x06, 0, 0, 0x01}},
        {26,
         "FLOP",
         "/platform/boards/flop/cpld",
         {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x23, 0x10}},
    }};
    return all;
}

void tell(const std::string& line)
{
    const std::string whole = line + "\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, whole.data(), whole.size());
}

} // namespace second

using second::tell;

// The log
// ------------------------------------------------------------------------------------------

void dlog_vprintf(int level, int module, const char* format, va_list arguments)
{
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
    struct Block
    {
        i2c_sysinfo head;
        i2c_sysinfo_node node;
    };

    const auto* cpld = second::find([&](const auto& each) { return each.nodeType == node_type; });
    if (cpld == nullptr)
    {
        return 2;
    }
    auto* block = static_cast<Block*>(std::calloc(1, sizeof(Block)));
    block->head = {1, &block->node};
    std::strncpy(block->node.path, cpld->path, sizeof(block->node.path) - 1);
    *result = &block->head;
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
    std::ifstream file(payload, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if ((cpld.registers[lockRegister] & 1U) != 0 || bytes.size() < header + 2)
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
    auto* cpld = second::find([&](const auto& each) { return component == each.name; });
    auto codes = std::make_unique<cpldfwupdate_error_code>(cpldfwupdate_error_code{0, 0, 6});
    progress(50);
    if (cpld != nullptr)
    {
        *codes = program(*cpld, payload_path);
    }
    progress(100);
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
