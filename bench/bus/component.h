#pragma once

#include <stdbool.h>
#include <stdint.h>

#include <systemd/sd-bus.h>

/**
 * @file
 * One CPLD of the minimal service: the values of its four interfaces, laid out for sd-bus, which
 * reads and writes them through their offsets.
 */

/** Interface "com.vexa.bevon.cmnupdate.comp_update". */
struct update
{
    char* job_id;
    char* resource_uri;
    char* previous_uri;
    char* new_version;
    uint32_t component_id;
    uint32_t timeout;
    uint16_t device_id;
    uint16_t sub_device_id;
    uint16_t vendor_id;
    uint16_t sub_vendor_id;
};

/** Interface "com.vexa.bevon.cmnupdate.comp_mprop_dri_registration". */
struct registration
{
    char* fqdd;
    uint32_t component_id;
    uint8_t reboot_type;
    uint8_t serial_type;
    char* service;
    char* object;
    char* interface;
    char* method;
};

/** Interface "com.vexa.bevon.inventory.BaseSwInventory". */
struct base_inventory
{
    uint32_t component_id;
    uint16_t component_type;
    char* current_version;
    char* current_date;
    uint16_t device_type;
    char* display_name;
    char* fqdd;
    uint8_t flags;
    char* friendly_fqdd;
    int impacts_tpm;
    uint64_t installation_date;
    char* installed_version;
    char* previous_version;
    char* previous_date;
    char* sha256;
    char* previous_sha256;
    char* dependencies;
    uint16_t sideband;
    uint32_t pldm;
    uint32_t pldm_proxy;
    uint8_t release_type;
};

/** Interface "com.vexa.bevon.inventory.TavrinInventory". */
struct inventory
{
    char* fqdd;
    uint32_t component_id;
    uint32_t count;
    uint32_t component_type;
    char* current_version;
    uint32_t device_type;
    char* display_name;
    uint32_t flags;
    char* friendly_fqdd;
    int impacts_tpm;
    uint32_t installation_date;
    char* installed_version;
    char* previous_version;
    char* update_status;
    uint32_t update_percent;
    int scan_block;
};

struct component
{
    struct update update;
    struct registration registration;
    struct base_inventory base;
    struct inventory inventory;
};

/** In the order in which the service has them on the bus. */
enum interface
{
    registration_interface,
    update_interface,
    base_interface,
    inventory_interface,
    interface_count,
};

/** Puts one interface onto the bus. The program ends where that cannot be. */
void serve_interface(sd_bus* bus, const char* path, enum interface interface,
                     struct component* component);

/** Puts all of them onto the bus. */
void serve_component(sd_bus* bus, const char* path, struct component* component);

/** Handler of `CompFirmwareUpdate`, which each program has to have. */
int refuse_update(sd_bus_message* call, void* component, sd_bus_error* error);
