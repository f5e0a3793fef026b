#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

/** @file A message bus that belongs to the tests. */

namespace bus_test
{

/** A dbus-daemon with a folder of its own; both go with this object. Everybody may connect, call
 * and own names. */
class PrivateBus
{
  public:
    /** Returns when the daemon accepts connections. @throws std::runtime_error where it does not
     * start */
    PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    const std::string& address() const { return address_; }

    /** Ends the daemon; returns when it is gone. */
    void stop();

    /** A name that the daemon's policy lets nobody own. */
    static constexpr const char* forbidden_name = "com.example.Forbidden";

  private:
    void start(const std::string& config);

    std::filesystem::path folder_;
    std::string address_;
    pid_t daemon_ = -1;
};

} // namespace bus_test
