#pragma once

/**
 * @file
 * Which call of the service is to fail, as the test says it while the service runs.
 *
 * The test arms one class of calls and a number n; the n-th call of that class that one of the
 * chosen threads makes from then on fails. What the simulated controller does on its own account,
 * in the same process, is neither counted nor failed (see `Outside`).
 */

#include <cstddef>
#include <cstdint>

namespace failing
{

/** Classes of calls; the numbers are the control file's. */
enum class Class : std::uint64_t
{
    none = 0,
    memory = 1,  ///< malloc and its family, by whomever in the process
    files = 2,   ///< what is done to payloads, key files and the log file
    bus = 3,     ///< the bus library, as the service calls it
    sockets = 4, ///< the C library, as the bus library calls it to reach the bus
    system = 5,  ///< threads, event descriptors and what else the event loop stands on
};

/** What becomes of a call. */
class Verdict
{
  public:
    /** As if nothing were wrong. */
    Verdict() = default;
    /** @param effect as the control file has it */
    explicit Verdict(std::int64_t effect) : effect_(effect) {}

    /** Whether it fails; `errno` tells why then. */
    [[nodiscard]] bool fails() const;

    /** How much of so many bytes it transfers, where it is one that transfers. */
    [[nodiscard]] std::size_t share(std::size_t size) const;

    /** Whether it finds the end of what it reads. */
    [[nodiscard]] bool ends() const { return effect_ == end; }

    /** The negative error number with which a call of the bus library fails, or zero. */
    [[nodiscard]] int negativeError() const;

  private:
    static constexpr std::int64_t half = -1;
    static constexpr std::int64_t end = -2;

    /** An error number, one of the above, or zero for nothing. */
    std::int64_t effect_ = 0;
};

/**
 * Counts a call and judges it.
 *
 * @param call its name, for the test to tell which one it was
 */
Verdict judge(Class which, const char* call) noexcept;

/** As `judge`, for calls that can only succeed or fail. @return whether it fails; errno is set */
bool isFailed(Class which, const char* call) noexcept;

/** Counts memory that was handed out and not given back. */
void countMemory(std::int64_t blocks, std::int64_t bytes) noexcept;

/** Counts how often the service has begun to wait for a signal, and so has nothing else to do. */
void countWait() noexcept;

/** While one exists, its thread works for the simulated controller and not for the service. */
class Outside
{
  public:
    Outside() noexcept : Outside(true) {}
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;
    Outside(Outside&&) = delete;
    Outside& operator=(Outside&&) = delete;
    ~Outside();

  protected:
    explicit Outside(bool isOutside) noexcept;

  private:
    bool before_;
};

/** The reverse: the simulated controller calls the service back. */
class Inside : private Outside
{
  public:
    Inside() noexcept : Outside(false) {}
};

/** Begins to count for what the control file was given before the process was started. */
void beginWithMain() noexcept;

} // namespace failing
