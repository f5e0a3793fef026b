#include "update/worker.hpp"

#include "hw/programming_port.hpp"
#include "log/log.hpp"
#include "platform/cpldfwupdate.hpp"
#include "update/progress.hpp"
#include "update/update_slot.hpp"

#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <thread>
#include <utility>

namespace
{

using namespace std::chrono_literals;

constexpr auto functionName = "FW_update";

// Both pauses sleep on when a signal interrupts them.
constexpr auto pauseAfterProgramming = 1s;
constexpr auto pauseAfterClosing = 500ms;

/** Runs one step of a job; an exception is logged and does not keep the next step back. */
template <typename Step>
void guarded(const ThreadTag& tag, Step step) noexcept
{
    try
    {
        step();
    }
    catch (const std::exception& error)
    {
        logRecord("[%s:%s] : Exception: %s\n", functionName, tag.text(), error.what());
    }
    catch (...)
    {
        logRecord("[%s:%s] : Exception: %s\n", functionName, tag.text(), "unknown");
    }
}

void program(const UpdateJob& job, const ThreadTag& tag, std::optional<cpldfwupdate>& run)
{
    logTrace("[%s:%s] : Calling library for %s\n", functionName, tag.text(),
             job.request.Fqdd.c_str());
    run.emplace(job.component.nodeName, job.index.value(), job.request.PayloadPath, StatusUpdate_CB,
                static_cast<unsigned>(logModule));
    std::this_thread::sleep_for(pauseAfterProgramming);
    logTrace("[%s:%s] : CPLD update Finished.....\n", functionName, tag.text());
}

void closeProgrammingPort(UpdateJob& job, const ThreadTag& tag)
{
    if (!enable_disable_programingNode(job.index, closePort, job.component))
    {
        logRecord("[%s:%s] : Failed to disable HARDIP on %s\n", functionName, tag.text(),
                  job.component.nodeName.c_str());
    }
}

/** Whether the run ended without error codes. */
bool succeeded(cpldfwupdate& run, const ThreadTag& tag)
{
    const auto codes = run.get_error_code();
    if (codes.i2cdriver == 0 && codes.dup == 0 && codes.upd == 0)
    {
        return true;
    }
    logRecord(
        "[%s:%s] : ***Error codes*** received from CPLD library: upd:%d dup:%d i2cdriver:%d\n",
        functionName, tag.text(), codes.upd, codes.dup, codes.i2cdriver);
    return false;
}

void logOutcome(const UpdateJob& job, const ThreadTag& tag, bool success)
{
    const char* const device = job.component.nodeName.c_str();
    if (success)
    {
        logRecord("[%s:%s] : No Error codes received from CPLD library. Successfully updated %s\n",
                  functionName, tag.text(), device);
    }
    else
    {
        logRecord("[%s:%s] : Failed to update %s, Exiting\n", functionName, tag.text(), device);
    }
}

void reportOutcome(const UpdateJob& job, bool success)
{
    constexpr std::uint32_t complete = 100;
    if (success)
    {
        reportUpdateStatus(job.request, update_state::succeeded, complete);
    }
    else
    {
        reportUpdateStatus(job.request, update_state::failed, 0);
    }
}

} // namespace

ThreadTag::ThreadTag(pthread_t thread) noexcept
{
    if (thread == 0)
    {
        std::snprintf(text_.data(), text_.size(), "%s", "thread::id of a non-executing thread");
    }
    else
    {
        std::snprintf(text_.data(), text_.size(), "%lu", static_cast<unsigned long>(thread));
    }
}

void FW_update(UpdateJob job) noexcept
{
    const ThreadTag tag(pthread_self());
    logTrace("[%s:%s] : Thread function: Entering\n", functionName, tag.text());

    // The library's object lives to the end: it is asked after the port is closed. Where the
    // coordinator sends its next job from inside the last report, it is destroyed while the next
    // job's object may exist already.
    std::optional<cpldfwupdate> run;
    guarded(tag, [&] { program(job, tag, run); });
    guarded(tag, [&] { closeProgrammingPort(job, tag); });
    std::this_thread::sleep_for(pauseAfterClosing);

    bool success = false;
    guarded(tag, [&] { success = run.has_value() && succeeded(*run, tag); });
    logOutcome(job, tag, success);

    giveUpdateSlotBack();
    guarded(tag, [&] { reportOutcome(job, success); });
    guarded(tag, [&] { job.finished->add(std::move(job.objectPath)); });
}
