/**
 * @file
 * Runs a fuzz target over inputs that are there already, in builds without a fuzzer.
 *
 * Each file named on the command line, or found in a folder named there, is a case in the output
 * that the test runner reads (TAP).
 */

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

namespace fs = std::filesystem;

std::vector<fs::path> inputsAmong(const std::vector<fs::path>& places)
{
    std::vector<fs::path> inputs;
    for (const auto& place : places)
    {
        if (fs::is_directory(place))
        {
            std::ranges::copy(fs::directory_iterator(place), std::back_inserter(inputs));
        }
        else
        {
            inputs.push_back(place);
        }
    }
    std::ranges::sort(inputs);
    return inputs;
}

/** @return whether there was anything to run: a target cannot fail without ending the process */
bool replay(const fs::path& input)
{
    std::ifstream file(input, std::ios::binary);
    if (!file.is_open())
    {
        return false;
    }
    const std::vector<char> content(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), // NOLINT
                           content.size());
    return true;
}

} // namespace

int main(int count, char** arguments)
{
    const auto inputs = inputsAmong({arguments + 1, arguments + count});
    std::printf("1..%zu\n", inputs.size());
    std::size_t failed = 0;
    for (std::size_t i = 0; i < inputs.size(); ++i)
    {
        // Before a crash, so that the output ends with the input that led there.
        std::printf("# %s\n", inputs[i].c_str());
        std::fflush(stdout);
        const bool ran = replay(inputs[i]);
        failed += ran ? 0 : 1;
        std::printf("%s %zu - %s\n", ran ? "ok" : "not ok", i + 1, inputs[i].filename().c_str());
    }
    std::printf("# %zu inputs run\n", inputs.size() - failed);
    return inputs.empty() || failed != 0 ? 1 : 0;
}
