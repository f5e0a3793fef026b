#include "fakes/programming_library.hpp"

#include "fakes/journal.hpp"

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
    library.whenRun();
    ++library.alive;
}

cpldfwupdate::~cpldfwupdate()
{
    fakes::programmingLibrary().whenReleased();
    --fakes::programmingLibrary().alive;
    fakes::note("release the run");
}

cpldfwupdate_error_code cpldfwupdate::get_error_code()
{
    fakes::note("ask for the error codes");
    fakes::programmingLibrary().whenAsked();
    return fakes::programmingLibrary().codes;
}
