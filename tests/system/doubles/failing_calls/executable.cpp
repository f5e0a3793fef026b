#include "executable.hpp"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>

#include <array>
#include <cstddef>
#include <cstring>

namespace failing
{

namespace
{

/** The executable's code in memory, and how far that is from where the file has it. */
struct Code
{
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    std::uintptr_t shift = 0;
};

int readCode(dl_phdr_info* object, std::size_t /*size*/, void* result)
{
    auto& code = *static_cast<Code*>(result);
    code.shift = object->dlpi_addr;
    for (int i = 0; i < object->dlpi_phnum; ++i)
    {
        const auto& segment = object->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0)
        {
            code.begin = object->dlpi_addr + segment.p_vaddr;
            code.end = code.begin + segment.p_memsz;
        }
    }
    return 1; // the first object is the executable
}

const Code& code()
{
    static const Code found = []
    {
        Code result;
        dl_iterate_phdr(readCode, &result);
        return result;
    }();
    return found;
}

/** The file that this code is from; nothing where it only passes others' calls on. */
const char* callerName(const void* frame)
{
    Dl_info info{};
    if (dladdr(frame, &info) == 0 || info.dli_fname == nullptr)
    {
        return "";
    }
    const char* slash = std::strrchr(info.dli_fname, '/');
    const char* name = slash == nullptr ? info.dli_fname : slash + 1;
    for (const char* passing : {"libfailing_calls.", "libc.", "libstdc++."})
    {
        if (std::strncmp(name, passing, std::strlen(passing)) == 0)
        {
            return "";
        }
    }
    return name;
}

/** The first use allocates, which must not happen in the middle of an allocation. */
[[gnu::constructor]] void prepare()
{
    std::array<void*, 1> unused{};
    backtrace(unused.data(), static_cast<int>(unused.size()));
    code();
}

} // namespace

bool isInExecutable(const void* address) noexcept
{
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    return number >= code().begin && number < code().end;
}

Origin originOfCall() noexcept
{
    std::array<void*, 100> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    Origin origin;
    for (int i = 0; i < count; ++i)
    {
        const void* frame = frames.at(static_cast<std::size_t>(i));
        if (*origin.object == '\0')
        {
            origin.object = callerName(frame);
        }
        if (isInExecutable(frame))
        {
            // A return address is that of the next statement.
            origin.place = reinterpret_cast<std::uintptr_t>(frame) - code().shift - 1;
            break;
        }
    }
    return origin;
}

} // namespace failing
