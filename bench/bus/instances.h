#pragma once

#include "component.h"

/** @file The CPLDs of a minimal service, with the names and values that the service gives to its
 * own. */

extern const char bus_name[];
extern const char manager_path[];

struct kind
{
    const char* node;
    const char* name;
    const char* fqdd_prefix;
    uint32_t component_id;
};

enum
{
    kind_count = 3,
    path_size = 128,
};

extern const struct kind kinds[kind_count];

/** The values that every object begins with. */
struct component* new_component(void);

/** A CPLD with all its values: of a kind that has `count` of them the one with this number, from 1.
 */
struct component* new_instance(const struct kind* kind, unsigned number, unsigned count);

/** Where it is published. @param path has path_size bytes */
void instance_path(char* path, const struct kind* kind, unsigned number);
