// SPDX-License-Identifier: MIT
// The identity record's image in memory and its started flag; the layout
// and the judging rules are in record_rules.hpp.
#pragma once

#include "record_rules.hpp"

namespace comm::sn {

// The image: the record in memory, zero until the first start.
unsigned char *image();
// The started flag: set by the first start and never cleared.
bool started();
void set_started();
// Whether the image holds what the last start chose, read whole from flash
// (or zeroed because neither copy had data). Updates are refused otherwise.
bool loaded();
void set_loaded(bool whole);

}  // namespace comm::sn
