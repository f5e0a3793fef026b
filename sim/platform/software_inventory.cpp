#include "platform/software_inventory.h"

#include "board/board.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>

namespace
{

constexpr int noInventory = -2;
constexpr std::size_t recordSize = 4096;

/** The block that a caller hands over, without the zeros at its end. */
sim::Json recordText(const void* record)
{
    if (record == nullptr)
    {
        return {};
    }
    const std::span bytes(static_cast<const unsigned char*>(record), recordSize);
    const auto last =
        std::find_if(bytes.rbegin(), bytes.rend(), [](auto byte) { return byte != 0; });
    return sim::hexadecimal(bytes.first(static_cast<std::size_t>(bytes.rend() - last)));
}

/** The component that a record is about; the change query names it nowhere else. */
std::uint32_t componentOf(const void* record)
{
    constexpr std::size_t componentOffset = 60;
    std::uint32_t component = 0;
    if (record != nullptr)
    {
        std::memcpy(&component, static_cast<const char*>(record) + componentOffset,
                    sizeof(component));
    }
    return component;
}

/** What the inventory knows of a component, with the present faults on top. */
sim::Json knowledgeOf(sim::Board& board, std::uint32_t component, const char* at)
{
    return board.description()
        ->software.value(std::to_string(component), sim::Json::object())
        .with(board.happen(at, {{"component", component}}));
}

void fill(char* buffer, std::uint32_t size, const std::string& text)
{
    const std::size_t length = std::min<std::size_t>(text.size(), size - 1U);
    text.copy(buffer, length);
    buffer[length] = '\0';
}

} // namespace

int SIPLGetAvailableVersionsWithSha256(std::uint32_t component_id, char* current_version,
                                       char* previous_version, char* sha256,
                                       std::uint32_t version_size, std::uint32_t sha256_size,
                                       std::uint32_t reserved, void* record, void* reserved_pointer)
{
    sim::Board* board = sim::Board::find();
    if (board == nullptr)
    {
        return noInventory;
    }
    const sim::Json known = knowledgeOf(*board, component_id, "sipl_versions");
    const int status = known.value("status", 0);
    sim::traceCall("sipl.get_available_versions",
                   {{"component_id", component_id},
                    {"version_size", version_size},
                    {"sha256_size", sha256_size},
                    {"reserved", reserved},
                    {"reserved_pointer_is_null", reserved_pointer == nullptr},
                    {"record", recordText(record)}},
                   status);
    if (status == 0)
    {
        fill(current_version, version_size, known.value("current", std::string()));
        fill(previous_version, version_size, known.value("previous", std::string()));
        fill(sha256, sha256_size, known.value("sha256", std::string()));
    }
    return status;
}

bool SIPLHasVersionChanged(std::uint32_t query, void* record, std::uint64_t* change_value)
{
    sim::Board* board = sim::Board::find();
    if (board == nullptr)
    {
        return false;
    }
    const sim::Json known = knowledgeOf(*board, componentOf(record), "sipl_changed");
    const bool changed = known.value("changed", false);
    const auto value = known.value("change_value", std::uint64_t{0});
    sim::traceCall(
        "sipl.has_version_changed",
        {{"query", query}, {"change_value", *change_value}, {"record", recordText(record)}},
        {{"changed", changed}, {"change_value", value}});
    if (value != 0)
    {
        *change_value = value;
    }
    return changed;
}

void* SMAllocMem(std::size_t size)
{
    // Not zero, so that a caller that forgets to clear the block is seen.
    constexpr int garbage = 0xA5;
    sim::Board* board = sim::Board::find();
    const bool refused =
        board != nullptr && board->happen("sm_alloc", {{"size", size}}).value("null", false);
    void* block = refused ? nullptr : std::malloc(size);
    if (block != nullptr)
    {
        std::memset(block, garbage, size);
    }
    sim::traceCall("sm.alloc_mem", {{"size", size}}, reinterpret_cast<std::uintptr_t>(block));
    return block;
}

void SMFreeMem(void* block)
{
    sim::traceCall("sm.free_mem", {{"block", reinterpret_cast<std::uintptr_t>(block)}});
    std::free(block);
}
