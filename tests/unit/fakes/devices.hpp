#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace fakes
{

/** One message of an I2C transfer, as it arrived. */
struct I2cMessage
{
    unsigned address = 0;
    unsigned flags = 0;
    std::vector<std::uint8_t> written;
    std::size_t length = 0;

    bool operator==(const I2cMessage&) const = default;
};

/** One `ioctl` on a device, as it arrived. */
struct I2cRequest
{
    unsigned long number = 0;
    std::vector<I2cMessage> messages;

    bool operator==(const I2cRequest&) const = default;
};

/**
 * A CPLD behind an I2C device node, for as long as the object lives.
 *
 * Device paths begin with "/dev/fake-"; one that no object stands behind cannot be opened. The
 * journal tells of opening, closing and every transfer, as "write 04, read 1".
 */
class Cpld
{
  public:
    explicit Cpld(std::string path);
    Cpld(const Cpld&) = delete;
    Cpld& operator=(const Cpld&) = delete;
    Cpld(Cpld&&) = delete;
    Cpld& operator=(Cpld&&) = delete;
    ~Cpld();

    /** A register's value. */
    std::uint8_t& operator[](std::uint8_t number) { return registers_.at(number); }

    /** From now on the device acknowledges writes and forgets them. */
    void ignoreWrites() { ignoresWrites_ = true; }

    /** The next reads of a register show these values, whatever it holds; all later ones are true.
     */
    void show(std::uint8_t number, std::initializer_list<std::uint8_t> values)
    {
        shown_[number] = values;
    }

    /** The error numbers of the next transfers, 0 for one that works; all later ones work. */
    void answerWith(const std::vector<int>& errors)
    {
        errors_.assign(errors.begin(), errors.end());
    }

    /** What `ioctl` returns for a transfer that works, instead of the number of messages. */
    void succeedWith(int result) { result_ = result; }
    std::optional<int> result() const { return result_; }

    const std::string& path() const { return path_; }
    const std::vector<I2cRequest>& requests() const { return requests_; }

    /** Carries a transfer out. @return 0 or an error number; for the fake `ioctl` */
    int transfer(const I2cRequest& request, std::uint8_t* read);

  private:
    int nextError();
    std::uint8_t nextValue(std::uint8_t number);

    std::string path_;
    std::array<std::uint8_t, 256> registers_{};
    bool ignoresWrites_ = false;
    std::optional<int> result_;
    std::deque<int> errors_;
    std::map<std::uint8_t, std::deque<std::uint8_t>> shown_;
    std::vector<I2cRequest> requests_;
};

/** From now on every path that is opened as devices are is a device's, or no longer. */
void takeAllPaths(bool take);

/** Flags of the last `open` of a device path. */
int lastOpenFlags();

/** Number of device nodes that were opened and not closed. */
std::size_t openDevices();

/** What a device's journal entry about opening and closing says. */
std::string opened(const Cpld& device);
std::string closed(const Cpld& device);

} // namespace fakes
