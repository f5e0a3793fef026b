#pragma once

/**
 * @file
 * The facts in which the three kinds of CPLD differ: one row a kind.
 */

#include <array>
#include <cstdint>

/** How the record of a kind names it; not the order in which the kinds are visited. */
enum class KindCode : std::uint8_t
{
    flop = 0,
    pbb = 1,
    pdb = 2,
};

/** Numbers under which the update coordinator knows the three kinds. */
namespace component_id
{
inline constexpr std::uint32_t flop = 112102;
inline constexpr std::uint32_t pbb = 114678;
inline constexpr std::uint32_t pdb = 114747;
} // namespace component_id

/** Where one number of a version stands in the two bytes that are read for it. */
struct VersionNibble
{
    std::uint8_t byte;
    bool high;
};

/** How a programming port is opened and closed; `hw/` has an operation for each. */
enum class PortRule : std::uint8_t
{
    lockBit,
    enableBit,
};

/** A public-key file, and the line that tells the trace log of its choice. */
struct KeyFile
{
    const char* path;
    const char* line;
};

/** The public keys of a kind, by the hardware revision that a payload is for. */
struct KeyFiles
{
    const char* line;
    KeyFile x;
    KeyFile a;
    KeyFile standard;
};

struct ComponentKind
{
    KindCode code;
    std::uint32_t componentId;
    /** Node of the platform description; also the name in log texts and object paths. */
    const char* nodeName;
    /** Published as display name and as friendly name. */
    const char* name;
    /** What the FQDDs of the instances begin with. */
    const char* fqddPrefix;
    /** Code under which the platform description lists the device nodes. */
    std::uint32_t nodeType;
    /** The first of the two registers that hold the version. */
    std::uint8_t versionRegister;
    VersionNibble major;
    VersionNibble minor;
    VersionNibble maintenance;
    PortRule portRule;
    KeyFiles keys;
};

/** In the order in which every loop visits them: PBB, PDB, FLOP. */
extern const std::array<ComponentKind, 3> componentKinds;

/** @return null for a code that names none of the kinds */
const ComponentKind* findKind(KindCode code);

/** @return null for a number that names none of the kinds */
const ComponentKind* findComponent(std::uint32_t componentId);
