#pragma once

#include <span>

#include "lib/e2p.h"

// The default configuration of each area: the two markers and nothing between them, so that a device without
// settings runs on its chips' own power-on values. Entries put between the markers become part of every
// store.

extern const std::span<const e2p_cfg_cmd> default_cfg_switch;
extern const std::span<const e2p_cfg_cmd> default_cfg_phy1;
extern const std::span<const e2p_cfg_cmd> default_cfg_phy2;
