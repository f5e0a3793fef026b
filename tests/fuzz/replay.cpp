/**
 * @file
 * Runs a fuzz target over the inputs in a folder, in builds without a fuzzer.
 *
 * Each is a case in the output that the test runner reads (TAP). One that fails ends the process.
 */

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

namespace fs = std::filesystem;

/** @throws std::exception where the input cannot be read */
void replay(const fs::path& input)
{
    std::ifstream file(input, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    const std::vector<std::uint8_t> content(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(content.data(), content.size());
}

} // namespace

int main(int count, char** arguments)
{
    const fs::directory_iterator folder(count == 2 ? arguments[1] : "");
    const std::set<fs::path> inputs(folder, fs::directory_iterator());
    std::printf("1..%zu\n", inputs.size());
    std::size_t number = 0;
    for (const auto& input : inputs)
    {
        // Before a crash, so that the output ends with the input that led there.
        std::printf("# %s\n", input.c_str());
        std::fflush(stdout);
        replay(input);
        std::printf("ok %zu - %s\n", ++number, input.filename().c_str());
    }
    return inputs.empty() ? 1 : 0;
}
