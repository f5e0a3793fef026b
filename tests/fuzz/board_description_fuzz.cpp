/**
 * @file
 * Whatever the platform-description parser may hand out, as far as its binary interface goes: any
 * status, no result at all, any count, any list of nodes with any paths, of any length.
 *
 * An input is the description (a line each): status; "-" for no result; count, where it is not the
 * number of nodes; number of nodes; number of different paths; those. Then come the devices: which
 * of the nodes has none behind it, and the bytes of a version.
 */

#include "fakes/devices.hpp"
#include "fakes/files.hpp"
#include "fakes/journal.hpp"
#include "fakes/platform_log.hpp"
#include "hw/version.hpp"
#include "input.hpp"
#include "platform/sysinfo.h"
#include "require.hpp"
#include "service/component_table.hpp"
#include "service/instances.hpp"
#include "service/tavrinupdate.hpp"
#include "update/fqdd.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>

namespace
{

using namespace fuzz;

/** What the parser hands out, whatever it is asked for. */
struct Description
{
    Description() = default;
    explicit Description(Input& input);

    std::uint32_t count() const
    {
        return claimed.value_or(static_cast<std::uint32_t>(paths.size()));
    }

    int status = 0;
    bool isNull = false;
    std::optional<std::uint32_t> claimed;
    std::vector<std::string> paths;
};

Description description;

Description::Description(Input& input) :
    status(static_cast<int>(input.number())), isNull(input.line() == "-")
{
    constexpr std::int64_t mostNodes = 300;
    constexpr std::int64_t mostPaths = 8;
    if (const auto count = input.line(); !count.empty())
    {
        claimed = static_cast<std::uint32_t>(std::strtoll(count.c_str(), nullptr, 10)); // NOLINT
    }
    const auto nodes = std::clamp<std::int64_t>(input.number(), 0, mostNodes);
    std::vector<std::string> texts(
        static_cast<std::size_t>(std::clamp<std::int64_t>(input.number(), 1, mostPaths)));
    std::ranges::generate(texts, [&input] { return input.line(); });
    for (std::size_t i = 0; i < static_cast<std::size_t>(nodes); ++i)
    {
        paths.push_back(texts.at(i % texts.size()));
    }
}

/** The path as it can be read from its entry: up to a NUL, or all that there is room for. */
std::string readable(const std::string& path)
{
    return path.substr(0, std::min(path.find('\0'), sizeof(i2c_sysinfo_node::path)));
}

std::vector<std::string> readablePaths()
{
    std::vector<std::string> paths;
    std::ranges::transform(description.paths, std::back_inserter(paths), readable);
    return paths;
}

/** One CPLD behind every path but those that an input leaves out. */
class Devices
{
  public:
    Devices(std::int64_t without, std::uint8_t first, std::uint8_t second)
    {
        for (const auto& path : readablePaths())
        {
            if (without-- != 0 && !devices_.contains(path))
            {
                auto& device =
                    *devices_.emplace(path, std::make_unique<fakes::Cpld>(path)).first->second;
                device[0x00] = device[0x0C] = first;
                device[0x01] = device[0x0D] = second;
            }
        }
        fakes::takeAllPaths(true);
    }
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;
    Devices(Devices&&) = delete;
    Devices& operator=(Devices&&) = delete;
    ~Devices() { fakes::takeAllPaths(false); }

    bool exists(const std::string& path) const { return devices_.contains(path); }

  private:
    std::map<std::string, std::unique_ptr<fakes::Cpld>> devices_;
};

/** What listing the nodes must come to: the status, and on success the count. */
int expectedStatus()
{
    return description.status != 0              ? description.status
           : description.isNull                 ? -ENODATA
           : description.count() > maxInstances ? -ERANGE
                                                : 0;
}

void listNodes(CpldInventory& record)
{
    std::vector<std::string> nodes;
    const int status = Tavrinupdate::getSysinfoNodes(record, nodes);
    require(status == expectedStatus(), "the parser's answer is judged right");
    require(status != 0 || nodes == readablePaths(), "every path is read, and nothing behind it");
    require(status == 0 || nodes.empty(), "no node comes from a failed listing");
    require(record.instanceCount.get() == (status == 0 ? description.count() : 0),
            "the count is taken");
}

void requireVersions(const CpldInventory& record, const CpldVersion& version)
{
    require(record.fqdds.size() == record.cpldVersions.size(), "each FQDD has a version");
    for (std::uint32_t i = 0; i < record.fqdds.size(); ++i)
    {
        require(record.cpldVersions[i] == versionText(version), "the version is the device's");
        require(kindOfFqdd(record.fqdds[i]) == findKind(record.kindCode) &&
                    instanceOfFqdd(record.fqdds[i]) == InstanceIndex(i),
                "an FQDD leads back to its device");
    }
}

/** How many of the counted devices are there, up to the first that is not. */
std::size_t readableDevices(const Devices& devices)
{
    const auto paths = readablePaths();
    const auto end = paths.begin() + description.count();
    return static_cast<std::size_t>(std::find_if_not(paths.begin(), end,
                                                     [&](const std::string& path)
                                                     { return devices.exists(path); }) -
                                    paths.begin());
}

void readVersions(CpldInventory record, const Devices& devices, const VersionBytes& bytes)
{
    fakes::clearJournal();
    const bool read = Tavrinupdate::readCpldVersion(record);
    require(fakes::openDevices() == 0, "every device node is closed");
    requireVersions(record, decodeVersion(*findKind(record.kindCode), bytes));
    const bool listed = expectedStatus() == 0;
    const auto expected = listed ? readableDevices(devices) : 0;
    require(record.fqdds.size() == expected, "the devices are read in order, up to one that fails");
    require(read == (listed && expected == description.count()),
            "all are read, or it is a failure");
}

} // namespace

int i2c_parse_sysinfo(uint32_t /*node_type*/, i2c_sysinfo** result)
{
    if (description.status != 0 || description.isNull)
    {
        return description.status;
    }
    // Exactly as large as it must be, so that a byte behind it is nobody's.
    const auto& paths = description.paths;
    auto* const block = static_cast<i2c_sysinfo*>(
        std::calloc(1, sizeof(i2c_sysinfo) + paths.size() * sizeof(i2c_sysinfo_node))); // NOLINT
    auto* const entries = reinterpret_cast<i2c_sysinfo_node*>(block + 1);               // NOLINT
    block->count = description.count();
    i2c_sysinfo_node** link = &block->first;
    for (std::size_t i = 0; i < paths.size(); ++i)
    {
        paths[i].copy(entries[i].path, sizeof(entries[i].path));
        *link = entries + i;
        link = &entries[i].next;
    }
    *result = block;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool prepared = (fakes::resetFiles(), fakes::refuseLogFile('a'), true);
    static_cast<void>(prepared);
    fakes::clearPlatformLog();
    Input input(data, size);
    description = Description(input);
    const auto without = input.number();
    const VersionBytes bytes{static_cast<std::uint8_t>(input.byte()),
                             static_cast<std::uint8_t>(input.byte())};
    const Devices devices(without, bytes[0], bytes[1]);

    CpldInventory pbb;
    CpldInventory pdb;
    CpldInventory flop;
    initialiseComponentTable(pbb, pdb, flop);
    for (auto* const record : {&pbb, &pdb, &flop})
    {
        listNodes(*record);
        // More devices than nodes end the process on purpose, which no input may.
        if (expectedStatus() != 0 || description.count() <= description.paths.size())
        {
            readVersions(*record, devices, bytes);
        }
    }
    return 0;
}
