#include "fakes/files.hpp"

#include "fakes/next_symbol.hpp"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace
{

namespace fs = std::filesystem;

constexpr std::string_view logFile = "/var/log/tavrinupdate.log";
constexpr std::string_view keyFolder = "/etc/shared_keys/";

char refusedMode = '\0';

/** A folder of this process's own; gone when it ends. */
class ProcessFolder
{
  public:
    ProcessFolder()
    {
        auto name = (fs::temp_directory_path() / "tavrinupdate-unit-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
        {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    ProcessFolder(const ProcessFolder&) = delete;
    ProcessFolder& operator=(const ProcessFolder&) = delete;
    ProcessFolder(ProcessFolder&&) = delete;
    ProcessFolder& operator=(ProcessFolder&&) = delete;
    ~ProcessFolder()
    {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

const fs::path& processFolder()
{
    static const ProcessFolder folder;
    return folder.path();
}

bool isKept(std::string_view path)
{
    return path == logFile || path.starts_with(keyFolder);
}

char modeOf(int flags)
{
    return (flags & O_APPEND) != 0 ? 'a' : (flags & O_ACCMODE) == O_RDONLY ? 'r' : 'w';
}

} // namespace

namespace fakes
{

fs::path placeOf(std::string_view path)
{
    return isKept(path) ? processFolder() / path.substr(1) : fs::path(path);
}

int openInPlace(const char* path, int flags, mode_t mode)
{
    if (path == logFile && modeOf(flags) == refusedMode)
    {
        errno = EACCES;
        return -1;
    }
    const auto place = placeOf(path).string();
    return nextSymbol<int(const char*, int, ...)>("open")(place.c_str(), flags, mode);
}

void refuseLogFile(char mode)
{
    refusedMode = mode;
}

void resetFiles()
{
    refusedMode = '\0';
    for (const auto& entry : fs::directory_iterator(processFolder()))
    {
        fs::remove_all(entry.path());
    }
    fs::create_directories(placeOf(logFile).parent_path());
    fs::create_directories(scratchFolder());
}

fs::path scratchFolder()
{
    return processFolder() / "scratch";
}

std::string contentOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write(const fs::path& path, std::string_view content)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace fakes
