#include "platform/sysinfo.h"

#include "board/board.hpp"

#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

namespace
{

constexpr int noDescription = -2;

/** What the parser says about one node type. */
struct Answer
{
    int status = noDescription;
    std::uint32_t count = 0;
    std::vector<std::string> paths;
};

Answer answerFor(sim::Board& board, std::uint32_t nodeType)
{
    const sim::Json json = board.description()
                               ->sysinfo.value(std::to_string(nodeType), sim::Json::object())
                               .with(board.happen("sysinfo", {{"node_type", nodeType}}));

    Answer answer;
    answer.status = json.value("status", json["paths"].isNull() ? noDescription : 0);
    answer.paths = json.value("paths", answer.paths);
    answer.count = json.value("count", static_cast<std::uint32_t>(answer.paths.size()));
    return answer;
}

/** Block and entries in one allocation, which the caller releases with one `free`. */
i2c_sysinfo* blockOf(const Answer& answer)
{
    const std::size_t entries = answer.paths.size();
    void* memory = std::calloc(1, sizeof(i2c_sysinfo) + entries * sizeof(i2c_sysinfo_node));
    auto* block = static_cast<i2c_sysinfo*>(memory);
    const std::span nodes(reinterpret_cast<i2c_sysinfo_node*>(block + 1), entries);
    block->count = answer.count;
    block->first = entries == 0 ? nullptr : nodes.data();
    for (std::size_t i = 0; i < entries; ++i)
    {
        answer.paths[i].copy(nodes[i].path, sizeof(nodes[i].path) - 1);
        nodes[i].next = i + 1 < entries ? &nodes[i + 1] : nullptr;
    }
    return block;
}

} // namespace

int i2c_parse_sysinfo(std::uint32_t node_type, i2c_sysinfo** result)
{
    sim::Board* board = sim::Board::find();
    if (board == nullptr)
    {
        return noDescription;
    }
    const Answer answer = answerFor(*board, node_type);
    sim::traceCall("i2c_parse_sysinfo", {{"node_type", node_type}},
                   {{"status", answer.status}, {"count", answer.count}, {"paths", answer.paths}});
    if (answer.status == 0)
    {
        *result = blockOf(answer);
    }
    return answer.status;
}
