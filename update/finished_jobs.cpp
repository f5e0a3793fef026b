#include "update/finished_jobs.hpp"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

FinishedJobs::FinishedJobs() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!event_.isOpen())
    {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void FinishedJobs::add(std::string objectPath)
{
    {
        const std::lock_guard lock(mutex_);
        paths_.push_back(std::move(objectPath));
    }
    // Can only fail when the counter is full, and then the descriptor is readable already.
    static_cast<void>(::eventfd_write(descriptor(), 1));
}

std::vector<std::string> FinishedJobs::takeAll()
{
    eventfd_t count = 0;
    static_cast<void>(::eventfd_read(descriptor(), &count));
    const std::lock_guard lock(mutex_);
    return std::exchange(paths_, {});
}

FinishedJobsWatch::FinishedJobsWatch(boost::asio::io_context& io, Handler handler) :
    jobs_(std::make_shared<FinishedJobs>()), handler_(std::move(handler)),
    readable_(io, jobs_->descriptor())
{
    wait();
}

void FinishedJobsWatch::wait()
{
    readable_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                         [this](const boost::system::error_code& error)
                         {
                             if (error)
                             {
                                 return;
                             }
                             for (const auto& path : jobs_->takeAll())
                             {
                                 handler_(path);
                             }
                             wait();
                         });
}
