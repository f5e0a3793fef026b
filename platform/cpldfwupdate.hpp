#pragma once

/**
 * @file
 * The platform's CPLD programming library.
 *
 * Names, parameter types, member order and the object's size are the library's binary interface.
 */

#include <cstdint>
#include <string>

/** Result of a programming run: all three codes are zero after a success. */
struct cpldfwupdate_error_code
{
    std::int32_t i2cdriver;
    std::int32_t dup;
    std::int32_t upd;
};

/** One programming run of one CPLD. */
class cpldfwupdate
{
  public:
    /**
     * Performs the whole run and returns when it is over, however it ended.
     *
     * The constructor may throw; then no object exists.
     *
     * @param component name of the component kind
     * @param device_index 0-based number of the device within its kind
     * @param payload_path full path of the payload file
     * @param progress called from inside the run with the percentage reached
     * @param log_module module number under which the library logs
     */
    cpldfwupdate(std::string component, unsigned int device_index, std::string payload_path,
                 void (*progress)(unsigned int), unsigned int log_module);

    cpldfwupdate(const cpldfwupdate&) = delete;
    cpldfwupdate& operator=(const cpldfwupdate&) = delete;
    cpldfwupdate(cpldfwupdate&&) = delete;
    cpldfwupdate& operator=(cpldfwupdate&&) = delete;

    ~cpldfwupdate();

    /** The codes of the run that the constructor made. */
    cpldfwupdate_error_code get_error_code();

  private:
    [[maybe_unused]] void* run_; // the library's own state
};
