#include "service_world.hpp"

#include "fakes/files.hpp"
#include "fakes/hold_line.hpp"
#include "fakes/journal.hpp"
#include "fakes/platform_log.hpp"
#include "fakes/programming_library.hpp"
#include "fakes/software_inventory.hpp"
#include "fakes/sysinfo.hpp"
#include "neighbours.hpp"
#include "require.hpp"
#include "service/component_table.hpp"
#include "service/update_request.hpp"
#include "threads_at_once.hpp"
#include "update/update_slot.hpp"
#include "watchers/cpld_inventory_utils.hpp"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <utility>

namespace fuzz
{

namespace
{

constexpr auto devicePath = "/dev/fake-cpld";

void makeFilesAsNew()
{
    fakes::resetFiles();
    // The log file has its own tests, and takes most of the time.
    fakes::refuseLogFile('a');
    const std::filesystem::path keys = FUZZ_SIGNED_FOLDER;
    for (const auto* const name :
         {"/etc/shared_keys/i2cpld/K4/default.pub", "/etc/shared_keys/flop/K4/flop.pub"})
    {
        fakes::write(fakes::placeOf(name), fakes::contentOf(keys / "default.pub"));
    }
}

void makeFakesAsNew()
{
    fakes::clearJournal();
    fakes::clearPlatformLog();
    fakes::holdLine() = {};
    fakes::programmingLibrary() = {};
    fakes::softwareInventory() = {};
    fakes::sysinfo() = {};
    fakes::sysinfo().nodes = {devicePath};
    updateRequest() = {};
}

/**
 * The first signal that tells of a complete FRU read is acted on, once in a process. It must not be
 * the first input that carries one, so it comes before all inputs, where there is no board.
 */
void seeFirstCompletion()
{
    ServiceWorld world{Neighbours()};
    fakes::sysinfo().status = -1;
    world.start();
}

void prepareOnce()
{
    static bool prepared = false;
    if (!std::exchange(prepared, true))
    {
        makeFilesAsNew();
        seeFirstCompletion();
    }
}

std::size_t openDescriptors()
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

} // namespace

/** Destroyed after everything else in the world; looks for what is left of it. */
class ServiceWorld::Leftovers
{
  public:
    Leftovers() : descriptors_(openDescriptors()) {}
    Leftovers(const Leftovers&) = delete;
    Leftovers& operator=(const Leftovers&) = delete;
    Leftovers(Leftovers&&) = delete;
    Leftovers& operator=(Leftovers&&) = delete;
    ~Leftovers()
    {
        require(fakes::openDevices() == 0, "no device node is left open");
        require(fakes::holdLine().alive == 0, "no object of the hardware abstraction is left over");
        require(fakes::programmingLibrary().alive == 0, "no programming run is left over");
        require(fakes::softwareInventory().alive == 0, "no block of the platform is left over");
        require(!updateRunning(), "no update goes on");
        require(openDescriptors() == descriptors_, "no descriptor is left open");
    }

  private:
    std::size_t descriptors_;
};

ServiceWorld::ServiceWorld(BusEnd::Neighbour neighbour) :
    leftovers_((prepareOnce(), std::make_shared<Leftovers>())), device_(devicePath),
    bus_(std::move(neighbour))
{
    makeFakesAsNew();
}

ServiceWorld::~ServiceWorld()
{
    treatThreads(Threads::real);
}

void ServiceWorld::start()
{
    const SdBusPtr native(bus_.connect());
    end_ = bus_.newestEnd();
    auto connection = std::make_shared<sdbusplus::asio::connection>(io_, native.get());
    service_.emplace(io_, connection, "/com/vexa/bevon/dummy");
    initialiseComponentTable(service_->pbb, service_->pdb, service_->flop);

    // The registration thread never ends; what it does is tried without it.
    treatThreads(Threads::never);
    CpldInventoryUtils::Subscribe_Clear_HoldS5(connection, *service_);
    static_cast<void>(Tavrinupdate::readCpldVersion(service_->pbb));
    static_cast<void>(Tavrinupdate::readCpldVersion(service_->pdb));
    CpldInventoryUtils::Subscribe_FruReadComplete_status(connection, *service_);
    treatThreads(Threads::atOnce);
    settle();
}

void ServiceWorld::settle()
{
    bool moved = true;
    while (moved)
    {
        moved = bus_.run();
        io_.restart();
        moved = io_.poll() > 0 || moved;
    }
}

std::size_t happened(std::string_view beginning)
{
    const auto entries = fakes::journal();
    return static_cast<std::size_t>(std::ranges::count_if(
        entries, [beginning](const std::string& entry) { return entry.starts_with(beginning); }));
}

} // namespace fuzz
