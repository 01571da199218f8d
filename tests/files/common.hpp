// SPDX-License-Identifier: MIT
// What the tests of this folder share: stub commands, log capture, files.
#pragma once

#include <gtest/gtest.h>

#include "../datetime/stub_commands.hpp"
#include "comm_log.h"

using testsupport::Lines;
using testsupport::logged;
using testsupport::read_file;
using testsupport::write_file;
