#pragma once

#include "service/component_objects.hpp"
#include "service/cpld_inventory.hpp"
#include "service/der_buffer.hpp"
#include "service/payload_header.hpp"
#include "service/sd_bus_handles.hpp"

#include <boost/asio/io_context.hpp>
#include <sdbusplus/asio/connection.hpp>
#include <sdbusplus/bus/match.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

class FinishedJobsWatch;

/**
 * The service object: owner of the component records and of everything the service has on the bus.
 *
 * Its operations are grouped by the folder that defines them. The folders' other operations, and
 * what can be said without a bus, a device or a library, are free functions in headers of their
 * own.
 *
 * One object lives in the process entry's frame, on the main thread. Operations that are static use
 * nothing of the object, so that a detached thread may call them while the process ends.
 */
class Tavrinupdate : public CompUpdateObject,
                     public CompMpropDriRegistrationObject,
                     public BaseSwInventoryObject,
                     public TavrinInventoryObject
{
  public:
    // service/ ----------------------------------------------------------------------------------

    /**
     * Puts the four interfaces on the bus at `path`.
     *
     * @param eventLoop must outlive the object
     * @throws sdbusplus::exception::SdBusError when an interface cannot be added
     */
    Tavrinupdate(boost::asio::io_context& eventLoop,
                 std::shared_ptr<sdbusplus::asio::connection> bus, const char* path);

    Tavrinupdate(const Tavrinupdate&) = delete;
    Tavrinupdate& operator=(const Tavrinupdate&) = delete;
    Tavrinupdate(Tavrinupdate&&) = delete;
    Tavrinupdate& operator=(Tavrinupdate&&) = delete;

    ~Tavrinupdate() override;

    // inventory/ --------------------------------------------------------------------------------

    /**
     * Numeric identifier of the server platform, asked from the platform service every time.
     *
     * Blocks until the answer is there or the bus's time-out (25 s) is over. Any thread.
     *
     * @return 0 when it is unknown or cannot be read
     */
    static std::int32_t GetPlatformID();

    // hw/ ---------------------------------------------------------------------------------------

    /**
     * Lists the I2C device nodes of a kind and stores their count in the record.
     *
     * @param nodes receives the nodes' paths behind what it already holds
     * @return 0, or the status of the failure; then neither record nor list was changed
     */
    [[nodiscard]] static int getSysinfoNodes(CpldInventory& record,
                                             std::vector<std::string>& nodes);

    /**
     * Opens an instance's device node.
     *
     * An index beyond the list stops the process.
     *
     * @param fd receives the descriptor, which the caller owns; left alone on failure
     */
    [[nodiscard]] static bool openI2cfdUsingNodename(InstanceIndex index,
                                                     const CpldInventory& record,
                                                     const std::vector<std::string>& nodes,
                                                     int& fd) noexcept;

    /**
     * One combined transfer: writes all of `write`, then reads all of `read`, which may be empty.
     *
     * Tried three times, 5 ms apart. Both spans hold at most 255 bytes. On failure `read` keeps
     * whatever it held.
     */
    [[nodiscard]] static bool tavrinWR(std::span<const std::uint8_t> write,
                                       std::span<std::uint8_t> read, const CpldInventory& record,
                                       int fd);

    /**
     * Reads version and FQDD of every instance of a kind and appends them to the record's lists.
     *
     * @return false at the first instance that cannot be read; those before it stay in the lists
     */
    [[nodiscard]] static bool readCpldVersion(CpldInventory& record);

    // auth/ -------------------------------------------------------------------------------------

    /**
     * Chooses the public-key file for the update in hand.
     *
     * @param keyPath receives the path; empty for an unknown component
     */
    static void pub_key_setter(const PayloadHeader& header, std::string& keyPath);

    /**
     * Loads a PEM public key as DER (SubjectPublicKeyInfo).
     *
     * @param derLength receives the number of bytes on success
     * @return null on any failure, which has been logged
     */
    static DerBuffer TavrinPemPubKeyToDer(const std::string& pemPath, std::size_t& derLength);

    /** Whether a payload file's ECDSA signature verifies. A failure has been logged. */
    [[nodiscard]] static bool verifySignature(std::string payloadPath);

    // update/ -----------------------------------------------------------------------------------

    /**
     * Takes an update job: the bus method.
     *
     * @return 0 when the update was started, 1 when it was refused
     * @throws an error that becomes the D-Bus reply when the job cannot be read
     */
    std::int32_t compFirmwareUpdate(std::string fqdd, std::uint32_t transactionId) override;

    /**
     * Sets properties by name on this object, in the map's order: the bus method.
     *
     * @return 0, or -1 at the first entry that cannot be set; those before it stay set
     */
    std::int32_t setAllProperties(PropertyMap properties) override;

    /** Turns an update call into the request record and starts the job. @return as the method */
    std::int32_t flop_update_handler(const std::string& fqdd, std::uint32_t transactionId);

    /**
     * Validates the update in hand, opens the programming port and starts the worker.
     *
     * @return false when the job was refused, which the coordinator has been told
     * @throws std::filesystem::filesystem_error when the payload directory cannot be read
     */
    [[nodiscard]] bool TavrinUpdateStart(CpldInventory* record, InstanceIndex index,
                                         const std::string& objectPath);

    // What the operations above share -----------------------------------------------------------

    /** The three records in the order in which every loop visits them: PBB, PDB, FLOP. */
    std::array<CpldInventory*, 3> components() { return {&pbb, &pdb, &flop}; }

    CpldInventory pbb;
    CpldInventory pdb;
    CpldInventory flop;

    boost::asio::io_context& io;
    std::shared_ptr<sdbusplus::asio::connection> connection;
    /** The object manager above the instances' objects; empty until the publication. */
    SdBusSlotPtr objectManager;
    /** Signal subscriptions of the watchers. */
    std::vector<std::unique_ptr<sdbusplus::bus::match_t>> matches;
    /** The instances' objects by object path. */
    std::map<std::string, ComponentObjects> registeredObjects;

  private:
    [[nodiscard]] bool startWorker(CpldInventory& record, InstanceIndex index,
                                   const std::string& objectPath);

    /**
     * Brings finished updates from their workers to the main thread; made for the first update.
     *
     * Not shared: a shared pointer, unlike a unique one, needs no definition of a type that only
     * update/ knows.
     */
    std::shared_ptr<FinishedJobsWatch> finishedJobs_;
};
