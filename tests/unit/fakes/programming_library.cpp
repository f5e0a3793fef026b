#include "fakes/programming_library.hpp"

#include "fakes/journal.hpp"

#include <stdexcept>
#include <string>

namespace fakes
{

ProgrammingLibrary& programmingLibrary()
{
    static ProgrammingLibrary library;
    return library;
}

} // namespace fakes

cpldfwupdate::cpldfwupdate(std::string component, unsigned int device_index,
                           std::string payload_path, void (*progress)(unsigned int),
                           unsigned int log_module) :
    run_(nullptr)
{
    auto& library = fakes::programmingLibrary();
    fakes::note("program " + component + " " + std::to_string(device_index) + " from " +
                payload_path + ", module " + std::to_string(log_module));
    for (const auto percentage : library.progress)
    {
        progress(percentage);
    }
    if (library.throwsError)
    {
        throw std::runtime_error("no such device");
    }
    if (library.throwsNumber)
    {
        throw 7; // NOLINT: a library that throws anything at all
    }
    ++library.alive;
}

cpldfwupdate::~cpldfwupdate()
{
    --fakes::programmingLibrary().alive;
    fakes::note("release the run");
}

cpldfwupdate_error_code cpldfwupdate::get_error_code()
{
    fakes::note("ask for the error codes");
    if (fakes::programmingLibrary().codesThrow)
    {
        throw std::runtime_error("no codes");
    }
    return fakes::programmingLibrary().codes;
}
