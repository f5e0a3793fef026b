#pragma once

#include "fakes/files.hpp"
#include "fakes/platform_log.hpp"
#include "fakes/software_inventory.hpp"
#include "service/component_table.hpp"
#include "service/publication.hpp"
#include "service/tavrinupdate.hpp"
#include "tests/bus/conversation.hpp"

#include <boost/asio/io_context.hpp>

#include <memory>
#include <string>
#include <vector>

/** A service object on a bus of the tests' own, and a client that hears what it announces. */
class ObjectsTest : public bus_test::Conversation
{
  protected:
    using Lines = std::vector<std::string>;

    ObjectsTest();

    /** Makes a record look as after its versions were read: instance n has version "n.0.0". */
    static void makeReady(CpldInventory& record, std::uint32_t instances);

    void publish() { registerObjectPaths_PopulateInventory(updater); }

    /** The objects of an instance, by the last part of its path. */
    ComponentObjects& objectsOf(const std::string& name);

    /** The service's own interfaces at a path, as introspection lists them. */
    Lines interfacesAt(const std::string& path);

    /** What the client heard since it was asked last: "PBB_PLD_1 added 4", "FLOP_1 removed 1". */
    Lines news();

    boost::asio::io_context io;
    std::shared_ptr<sdbusplus::asio::connection> connection;
    Tavrinupdate updater;

  private:
    void hear(sdbusplus::message_t& signal);

    Lines heard;
    sdbusplus::bus::match_t listener;
};
