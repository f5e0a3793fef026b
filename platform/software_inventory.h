#pragma once

/**
 * @file
 * The platform's software inventory library and its allocator.
 */

#include <stdbool.h> // NOLINT(modernize-deprecated-headers): the library is C
#include <stddef.h>  // NOLINT(modernize-deprecated-headers): the library is C
#include <stdint.h>  // NOLINT(modernize-deprecated-headers): the library is C

#ifdef __cplusplus
extern "C"
{
#endif

    /**
     * Looks up which versions of one firmware component the platform knows.
     *
     * @param component_id number of the component
     * @param current_version filled with text of at most `version_size` bytes, NUL included
     * @param previous_version the same
     * @param sha256 filled with text of at most `sha256_size` bytes, NUL included
     * @param reserved 0
     * @param record the instance's software-inventory record
     * @param reserved_pointer null
     * @return 0 on success; otherwise the buffers are not filled
     */
    int SIPLGetAvailableVersionsWithSha256(uint32_t component_id, char* current_version,
                                           char* previous_version, char* sha256,
                                           uint32_t version_size, uint32_t sha256_size,
                                           uint32_t reserved, void* record, void* reserved_pointer);

    /**
     * Asks whether the software version behind `record` changed.
     *
     * @param query 1
     * @param change_value set by the library; left alone where there is nothing to tell
     */
    bool SIPLHasVersionChanged(uint32_t query, void* record, uint64_t* change_value);

    /** Allocates `size` bytes, or returns null. Released with SMFreeMem only. */
    void* SMAllocMem(size_t size);

    /** Releases a block of SMAllocMem. */
    void SMFreeMem(void* block);

#ifdef __cplusplus
}
#endif
