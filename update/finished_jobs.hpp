#pragma once

#include "log/file_descriptor.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/**
 * Object paths of finished updates on their way to the main thread.
 *
 * Workers must touch neither the event loop nor a bus object, so they leave the path here and make
 * a descriptor readable that the loop watches. Shared with the workers, which may outlive the
 * service object.
 */
class FinishedJobs
{
  public:
    /** @throws std::system_error when no descriptor can be had */
    FinishedJobs();

    /** Leaves a path and wakes the main thread. Any thread. */
    void add(std::string objectPath);

    /** Takes all paths that were left. Main thread. */
    std::vector<std::string> takeAll();

    /** Readable while paths are waiting; owned by this object. */
    int descriptor() const { return event_.get(); }

  private:
    FileDescriptor event_;
    std::mutex mutex_;
    std::vector<std::string> paths_;
};

/** The main thread's end: calls a handler for every finished update, from the event loop. */
class FinishedJobsWatch
{
  public:
    using Handler = std::function<void(const std::string& objectPath)>;

    /**
     * @param io must outlive this object
     * @param handler runs on the event loop; what it refers to must outlive this object
     * @throws std::system_error, boost::system::system_error when no descriptor can be had
     */
    FinishedJobsWatch(boost::asio::io_context& io, Handler handler);

    FinishedJobsWatch(const FinishedJobsWatch&) = delete;
    FinishedJobsWatch& operator=(const FinishedJobsWatch&) = delete;
    FinishedJobsWatch(FinishedJobsWatch&&) = delete;
    FinishedJobsWatch& operator=(FinishedJobsWatch&&) = delete;

    ~FinishedJobsWatch() = default;

    const std::shared_ptr<FinishedJobs>& jobs() const { return jobs_; }

  private:
    /** The loop's view of the queue's descriptor, which only the queue closes. */
    class WatchedDescriptor : public boost::asio::posix::stream_descriptor
    {
      public:
        using boost::asio::posix::stream_descriptor::stream_descriptor;
        WatchedDescriptor(const WatchedDescriptor&) = delete;
        WatchedDescriptor& operator=(const WatchedDescriptor&) = delete;
        WatchedDescriptor(WatchedDescriptor&&) = delete;
        WatchedDescriptor& operator=(WatchedDescriptor&&) = delete;
        ~WatchedDescriptor() { release(); }
    };

    void wait();

    std::shared_ptr<FinishedJobs> jobs_;
    Handler handler_;
    WatchedDescriptor readable_;
};
