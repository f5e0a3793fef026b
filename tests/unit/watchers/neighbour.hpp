#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <string>
#include <thread>

/**
 * Another service on a bus, with a thread and a connection of its own: it answers each call of
 * `Get` as it is told.
 */
class Neighbour
{
  public:
    /** Puts the answer's body into the message. */
    using Answer = std::function<void(sd_bus_message*)>;

    /** Returns when the name is owned. @throws std::runtime_error where it cannot be */
    Neighbour(const std::string& address, const char* name, Answer answer);

  private:
    static int reply(sd_bus_message* call, void* self, sd_bus_error* error);

    void serve(const std::stop_token& ending);

    Answer answer_;
    sd_bus* bus_ = nullptr;
    std::jthread thread_;
};
