#include "service/update_request.hpp"

#include <memory>

UpdateRequestData& updateRequest()
{
    // Never destroyed: a detached worker may still read it while the process ends.
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one record
    static UpdateRequestData* const request = std::make_unique<UpdateRequestData>().release();
    return *request;
}
