// SPDX-License-Identifier: MIT
#include "flash/identity_record/record.hpp"

#include <cstring>

#include "comm_digest.h"
#include "comm_log.h"

namespace comm::sn {
namespace {

unsigned char s_image[kRecordSize];
uint32_t s_started;
bool s_not_loaded;

}  // namespace

unsigned char *image() { return s_image; }
bool started() { return s_started != 0; }
void set_started() { s_started = 1; }
bool loaded() { return !s_not_loaded; }
void set_loaded(bool whole) { s_not_loaded = !whole; }

}  // namespace comm::sn
