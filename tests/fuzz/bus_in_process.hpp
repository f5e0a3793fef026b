#pragma once

#include "service/sd_bus_handles.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace fuzz
{

/** The bus's end of one of the service's connections. */
class BusEnd
{
  public:
    /** What another service does with a call: sends an answer to it, or nothing. */
    using Neighbour = std::function<void(BusEnd& end, sd_bus_message* call)>;

    /** @param descriptor becomes the end's own */
    BusEnd(int descriptor, std::string name, const Neighbour& neighbour);
    BusEnd(const BusEnd&) = delete;
    BusEnd& operator=(const BusEnd&) = delete;
    BusEnd(BusEnd&&) = delete;
    BusEnd& operator=(BusEnd&&) = delete;
    ~BusEnd() = default;

    /** Takes in and answers what has come. @return whether there was anything */
    bool run();

    /** Whether the service still has the other end. */
    bool open() const { return open_; }

    /** Ends the connection, as a bus that goes down does. */
    void close();

    SdBusMessagePtr newSignal(const char* path, const char* interface, const char* member);
    SdBusMessagePtr newCall(const char* path, const char* interface, const char* member);

    /** Sends a message that was made here. @return its number, 0 where it cannot be sent */
    std::uint64_t deliver(sd_bus_message* message);

    /** Sends bytes as they are. */
    void deliverRaw(const std::string& bytes);

    /** The service's answers, by the number of the call; the caller may take them out. */
    std::map<std::uint64_t, SdBusMessagePtr> replies;

  private:
    static int receive(sd_bus_message* message, void* self, sd_bus_error* error);
    void answer(sd_bus_message* call);
    void answerAsDaemon(sd_bus_message* call);

    std::string name_;
    const Neighbour& neighbour_;
    bool open_ = true;
    SdBusPtr native_;
};

/** An answer with nothing in it. */
SdBusMessagePtr emptyAnswer(sd_bus_message* call);

/**
 * A message bus inside the process, with everybody who is on it: no daemon, no thread, no socket
 * that anybody else could find.
 *
 * While an object lives, every bus connection that the service opens leads here. The bus runs
 * whenever somebody waits for it; so the same messages always lead to the same course of events.
 */
class BusInProcess
{
  public:
    explicit BusInProcess(BusEnd::Neighbour neighbour);
    BusInProcess(const BusInProcess&) = delete;
    BusInProcess& operator=(const BusInProcess&) = delete;
    BusInProcess(BusInProcess&&) = delete;
    BusInProcess& operator=(BusInProcess&&) = delete;
    ~BusInProcess();

    /** The bus of this moment; null without one. */
    static BusInProcess* current();

    /** Opens a connection. @return the service's end, with a reference for the caller */
    sd_bus* connect();

    /** The bus's end of the connection that was opened last. */
    std::shared_ptr<BusEnd> newestEnd() const { return ends_.back(); }

    /** Takes in and answers what has come on all connections. @return whether there was anything */
    bool run();

  private:
    BusEnd::Neighbour neighbour_;
    /** Those of open connections. */
    std::vector<std::shared_ptr<BusEnd>> ends_;
    unsigned opened_ = 0;
    bool running_ = false;
};

} // namespace fuzz
