#pragma once

#include "service/cpld_inventory.hpp"
#include "service/update_request.hpp"
#include "update/finished_jobs.hpp"

#include <pthread.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

/** Everything a worker needs, as its own copy: it may outlive the service object. */
struct UpdateJob
{
    UpdateRequestData request;
    CpldInventory component;
    InstanceIndex index{0};
    std::string objectPath;
    std::shared_ptr<FinishedJobs> finished;
};

/** Text that marks a worker's log lines: its thread's identifier in decimal. */
class ThreadTag
{
  public:
    explicit ThreadTag(pthread_t thread) noexcept;

    const char* text() const noexcept { return text_.data(); }

  private:
    static constexpr std::size_t capacity = 48;
    std::array<char, capacity> text_{};
};

/**
 * Programs one CPLD: the body of an update worker's thread.
 *
 * The programming port is open when it begins. It runs the programming library, closes the port,
 * reports the outcome and leaves the object's path for the main thread. No exception leaves it, and
 * none keeps it from closing the port and reporting.
 */
void FW_update(UpdateJob job) noexcept;
