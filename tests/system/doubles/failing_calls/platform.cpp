/**
 * @file
 * The border between the service and the simulated controller: what the platform's libraries and
 * the simulated I2C bus allocate or open is theirs to fail, by the simulation's own faults.
 */

#include "../next_function.hpp"
#include "control.hpp"
#include "platform/cpldfwupdate.hpp"
#include "platform/dlog.h"
#include "platform/hal.hpp"
#include "platform/software_inventory.h"
#include "platform/sysinfo.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <memory>
#include <string>
#include <utility>

using failing::Outside;

// The log

void dlog_vprintf(int level, int module, const char* format, va_list arguments)
{
    static auto* const next = nextFunction("dlog_vprintf", &dlog_vprintf);
    const Outside mark;
    next(level, module, format, arguments);
}

void dlog_printf(int level, int module, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    dlog_vprintf(level, module, format, arguments);
    va_end(arguments);
}

// The platform description

int i2c_parse_sysinfo(std::uint32_t node_type, i2c_sysinfo** result)
{
    static auto* const next = nextFunction("i2c_parse_sysinfo", &i2c_parse_sysinfo);
    const Outside mark;
    return next(node_type, result);
}

// The software inventory

int SIPLGetAvailableVersionsWithSha256(std::uint32_t component_id, char* current_version,
                                       char* previous_version, char* sha256,
                                       std::uint32_t version_size, std::uint32_t sha256_size,
                                       std::uint32_t reserved, void* record, void* reserved_pointer)
{
    static auto* const next =
        nextFunction("SIPLGetAvailableVersionsWithSha256", &SIPLGetAvailableVersionsWithSha256);
    const Outside mark;
    return next(component_id, current_version, previous_version, sha256, version_size, sha256_size,
                reserved, record, reserved_pointer);
}

bool SIPLHasVersionChanged(std::uint32_t query, void* record, std::uint64_t* change_value)
{
    static auto* const next = nextFunction("SIPLHasVersionChanged", &SIPLHasVersionChanged);
    const Outside mark;
    return next(query, record, change_value);
}

void* SMAllocMem(std::size_t size)
{
    static auto* const next = nextFunction("SMAllocMem", &SMAllocMem);
    const Outside mark;
    return next(size);
}

void SMFreeMem(void* block)
{
    static auto* const next = nextFunction("SMFreeMem", &SMFreeMem);
    const Outside mark;
    next(block);
}

// Programming

namespace
{

using Progress = void (*)(unsigned int);

/** The service's callback of the run that was begun last. */
std::atomic<Progress> serviceProgress{nullptr};

void reportInside(unsigned int percentage)
{
    const failing::Inside mark;
    serviceProgress.load()(percentage);
}

} // namespace

cpldfwupdate::cpldfwupdate(std::string component, unsigned int device_index,
                           std::string payload_path, Progress progress, unsigned int log_module)
{
    using Constructor = void(void*, std::string, unsigned int, std::string, Progress, unsigned int);
    static auto* const next = reinterpret_cast<Constructor*>(nextFunction(
        "_ZN12cpldfwupdateC1ENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEjS5_PFvjEj"));
    const Outside mark;
    serviceProgress = progress;
    next(this, std::move(component), device_index, std::move(payload_path), reportInside,
         log_module);
}

cpldfwupdate::~cpldfwupdate()
{
    static auto* const next =
        reinterpret_cast<void (*)(void*)>(nextFunction("_ZN12cpldfwupdateD1Ev"));
    const Outside mark;
    next(this);
}

cpldfwupdate_error_code cpldfwupdate::get_error_code()
{
    static auto* const next = reinterpret_cast<cpldfwupdate_error_code (*)(void*)>(
        nextFunction("_ZN12cpldfwupdate14get_error_codeEv"));
    const Outside mark;
    return next(this);
}

// The hold line

namespace
{

class Line final : public HAL_i2c
{
  public:
    explicit Line(HAL_cfgbase* line) : line_(line) {}
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    Line(Line&&) = delete;
    Line& operator=(Line&&) = delete;
    ~Line() override
    {
        const Outside mark;
        line_.reset();
    }

    int WriteBit(std::uint8_t value) override
    {
        const Outside mark;
        return line_->WriteBit(value);
    }
    bool HasInterruptCallback() const override
    {
        const Outside mark;
        return line_->HasInterruptCallback();
    }
    int UnregisterInterruptCallback() override
    {
        const Outside mark;
        return line_->UnregisterInterruptCallback();
    }

  private:
    std::unique_ptr<HAL_cfgbase> line_;
};

} // namespace

HAL_cfgbase* HAL_cfgdata::ReadHALConfig(const std::string& name)
{
    static auto* const next = reinterpret_cast<HAL_cfgbase* (*)(const std::string&)>(nextFunction(
        "_ZN11HAL_cfgdata13ReadHALConfigERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"));
    const Outside mark;
    auto* const line = next(name);
    return line == nullptr ? nullptr : std::make_unique<Line>(line).release();
}

// The simulated I2C bus, which stands in front of the C library; for open and close see files.cpp

extern "C"
{

    int ioctl(int fd, unsigned long request, ...) noexcept
    {
        static auto* const next =
            reinterpret_cast<int (*)(int, unsigned long, ...)>(nextFunction("ioctl"));
        va_list arguments;
        va_start(arguments, request);
        void* const argument = va_arg(arguments, void*);
        va_end(arguments);
        const Outside mark;
        return next(fd, request, argument);
    }

    /** Nothing counts before main, where the dynamic loader and the libraries set themselves up. */
    int __libc_start_main(int (*main)(int, char**, char**), int count, char** arguments, // NOLINT
                          void (*init)(), void (*fini)(), void (*loaderFini)(), void* stackEnd)
    {
        using Main = int(int, char**, char**);
        static Main* serviceMain = nullptr;
        using Start = int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*);
        auto* const next = reinterpret_cast<Start*>(nextFunction("__libc_start_main"));
        serviceMain = main;
        const auto begin = [](int argc, char** argv, char** environment)
        {
            failing::beginWithMain();
            return serviceMain(argc, argv, environment);
        };
        return next(begin, count, arguments, init, fini, loaderFini, stackEnd);
    }
}
