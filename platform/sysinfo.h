#pragma once

/**
 * @file
 * The platform-description parser: which I2C device nodes carry the devices of one node type.
 *
 * The member order and sizes are the library's binary interface.
 */

#include <stdint.h> // NOLINT(modernize-deprecated-headers): the library is C

#ifdef __cplusplus
extern "C"
{
#endif

    /** One I2C device node; the entries of a result form a list that ends with a null `next`. */
    struct i2c_sysinfo_node
    {
        char path[64]; /**< path of the I2C character device, NUL-terminated */
        struct i2c_sysinfo_node* next;
    };

    /** What the parser found for one node type. Block and entries are one `malloc` allocation. */
    struct i2c_sysinfo
    {
        uint32_t count; /**< number of device instances, as the description gives it */
        struct i2c_sysinfo_node* first;
    };

    /**
     * Looks up the device nodes of `node_type`.
     *
     * @param node_type code of the platform description
     * @param result set to a new block on success; the caller releases all of it with one `free`
     * @return 0 on success; otherwise nothing was allocated and `result` was not touched
     */
    int i2c_parse_sysinfo(uint32_t node_type, struct i2c_sysinfo** result);

#ifdef __cplusplus
}
#endif
