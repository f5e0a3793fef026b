#pragma once

/** @file Where the firmware-update coordinator is found on the bus. */

inline constexpr auto coordinatorService = "com.vexa.bevon.cmnfwupd";
inline constexpr auto coordinatorPath = "/com/vexa/bevon/cmnfwupd";
inline constexpr auto coordinatorInterface = "com.vexa.bevon.cmnfwupd.fw_management";
