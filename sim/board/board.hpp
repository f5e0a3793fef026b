#pragma once

/**
 * @file
 * The simulated board of this process: where the libraries find devices and faults.
 */

#include "board/control.hpp"
#include "board/cpld.hpp"
#include "board/description.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace sim
{

/** Thread-safe. Exists once, for the whole life of the process. */
class Board
{
  public:
    /** The board that the environment names, or null: then nothing is simulated. */
    static Board* find();

    explicit Board(const std::string& directory);

    /** The present description; what is returned does not change any more. */
    std::shared_ptr<const Description> description();

    /** The device behind an I2C path, or null. */
    Cpld* deviceAt(const std::string& path);

    /** The device of a component, or null. */
    Cpld* device(const std::string& component, unsigned int index);

    /**
     * Tells the faults that `event` happens at the point `at`.
     *
     * Every matching fault counts the event. The effects of those that act are laid over each
     * other, the newest on top; "delay_ms" and "gate" have been waited for when this returns.
     *
     * @return an object with the effect's members, empty where all is as usual
     */
    Json happen(const std::string& at, const Json& event);

    Control& control() { return control_; }

  private:
    Cpld* cpld(const DeviceDescription& description);

    std::string directory_;
    Control control_;
    std::mutex mutex_;
    std::uint64_t generation_ = 0;
    std::shared_ptr<const Description> description_;
    std::map<std::string, std::unique_ptr<Cpld>> devices_;
};

} // namespace sim
