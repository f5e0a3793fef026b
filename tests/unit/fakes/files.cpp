#include "fakes/files.hpp"

#include "fakes/next_symbol.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace
{

namespace fs = std::filesystem;

constexpr std::string_view logFile = "/var/log/tavrinupdate.log";
constexpr std::string_view keyFolder = "/etc/shared_keys/";
/** Opened through a stream at the start, to see that the streams' library comes this way too. */
constexpr std::string_view probe = "/tavrinupdate-probe";

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
    return path == logFile || path == probe || path.starts_with(keyFolder);
}

std::FILE* openKept(const char* name, const char* path, const char* mode)
{
    if (path == logFile && mode[0] == refusedMode)
    {
        errno = EACCES;
        return nullptr;
    }
    const auto place = fakes::placeOf(path).string();
    return fakes::nextSymbol<std::FILE*(const char*, const char*)>(name)(place.c_str(), mode);
}

/** A build whose streams open files by another call would write to the machine's own files. */
void checkThatStreamsComeThisWay()
{
    std::ofstream(std::string(probe)) << "probe";
    if (fakes::contentOf(fakes::placeOf(probe)) != "probe")
    {
        std::fputs("file streams do not open their files through fopen: not testing\n", stderr);
        std::abort();
    }
}

} // namespace

// The C++ library's file streams use these as well; it must see them, hence the visibility.
extern "C" __attribute__((visibility("default"))) std::FILE* fopen(const char* path,
                                                                   const char* mode)
{
    return openKept("fopen", path, mode);
}

extern "C" __attribute__((visibility("default"))) std::FILE* fopen64(const char* path,
                                                                     const char* mode)
{
    return openKept("fopen64", path, mode);
}

namespace fakes
{

fs::path placeOf(std::string_view path)
{
    return isKept(path) ? processFolder() / path.substr(1) : fs::path(path);
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
    static const bool checked = (checkThatStreamsComeThisWay(), true);
    static_cast<void>(checked);
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
