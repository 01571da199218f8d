#include "flash/identity_record/record.hpp"

#include <cstring>

#include "comm_digest.h"
#include "comm_log.h"

namespace comm::sn {
namespace {

unsigned char s_image[kRecordSize];
uint32_t s_started;

}  // namespace

unsigned char *image() { return s_image; }
bool started() { return s_started != 0; }
void set_started() { s_started = 1; }

}  // namespace comm::sn
