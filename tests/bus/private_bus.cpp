#include "private_bus.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace bus_test
{

namespace fs = std::filesystem;

namespace
{

constexpr auto config_text = R"(<busconfig>
  <type>session</type>
  <listen>unix:dir=@FOLDER@</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <deny own="@FORBIDDEN@"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*" eavesdrop="true"/>
  </policy>
</busconfig>
)";

void replace(std::string& text, const std::string& mark, const std::string& value)
{
    text.replace(text.find(mark), mark.size(), value);
}

fs::path new_folder()
{
    auto name = (fs::temp_directory_path() / "bus-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
    {
        throw std::runtime_error("no folder for the bus");
    }
    // A caller without privileges has to reach the socket.
    fs::permissions(name, fs::perms::others_exec | fs::perms::others_read, fs::perm_options::add);
    return name;
}

std::string first_line(int descriptor)
{
    std::string line;
    for (char character = 0; read(descriptor, &character, 1) == 1 && character != '\n';)
    {
        line += character;
    }
    return line;
}

[[noreturn]] void become_daemon(const std::string& config, int address_out)
{
    // However the tests end, the daemon does not outlive them.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const auto config_option = "--config-file=" + config;
    const auto address_option = "--print-address=" + std::to_string(address_out);
    execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", config_option.c_str(),
           address_option.c_str(), nullptr);
    _exit(127);
}

} // namespace

PrivateBus::PrivateBus() : folder_(new_folder())
{
    std::string text = config_text;
    replace(text, "@FOLDER@", folder_.string());
    replace(text, "@FORBIDDEN@", forbidden_name);
    const auto config = folder_ / "bus.conf";
    std::ofstream(config) << text;
    start(config.string());
}

void PrivateBus::start(const std::string& config)
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
    {
        throw std::runtime_error("no pipe for the bus address");
    }
    daemon_ = fork();
    if (daemon_ == 0)
    {
        close(ends[0]);
        become_daemon(config, ends[1]);
    }
    close(ends[1]);
    address_ = first_line(ends[0]);
    close(ends[0]);
    if (address_.empty())
    {
        stop();
        fs::remove_all(folder_);
        throw std::runtime_error("dbus-daemon does not start");
    }
}

PrivateBus::~PrivateBus()
{
    stop();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void PrivateBus::stop()
{
    if (daemon_ > 0)
    {
        kill(daemon_, SIGTERM);
        waitpid(daemon_, nullptr, 0);
        daemon_ = -1;
    }
}

} // namespace bus_test
