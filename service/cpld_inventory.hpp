#pragma once

#include "service/component_kind.hpp"
#include "service/instances.hpp"

#include <cstdint>
#include <string>
#include <vector>

/**
 * Everything known about the CPLDs of one kind of board.
 *
 * The service object holds one record a kind. The main thread owns them; threads that need one take
 * a copy along, which has the instance count in common with its original.
 */
struct CpldInventory
{
    InstanceCount instanceCount;
    std::uint32_t componentId = 0;
    /** Change value of the software inventory, published as `InstallationDate`. */
    std::uint64_t installationDate = 0;
    /** One entry an instance, published as `CurrentVersionString`. Nothing fills the entries. */
    std::vector<std::string> currentVersions;
    /** Published as `DisplayName`. */
    std::string deviceName;
    /** One entry an instance, filled by the version reader. */
    std::vector<std::string> fqdds;
    /** Published as `FriendlyFQDD`. */
    std::string friendlyName;
    /** Reserved for the version before the current one; always empty. */
    std::string previousVersion;
    /** One entry an instance as read from the CPLD, published as `InstalledVersionString`. */
    std::vector<std::string> cpldVersions;
    /** Reserved for the same of each instance; one empty entry an instance. */
    std::vector<std::string> previousVersions;
    KindCode kindCode = KindCode::flop;
    /** Node of the platform description; also the name in log texts and object paths. */
    std::string nodeName;
    /** True once the versions of all instances of the kind have been read. */
    bool inventoryReady = false;
    /** Text of the image's SHA-256, published as `Sha256String`. */
    std::string sha256;
};
