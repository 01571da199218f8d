// SPDX-License-Identifier: MIT
// A fixture whose settings stand-in keeps its values in a file of the
// test's own temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tempdir.hpp"

class SettingsFile : public ::testing::Test {
protected:
    void SetUp() override { setenv("ZEV_SETTINGS_FILE", file().c_str(), 1); }
    void TearDown() override { unsetenv("ZEV_SETTINGS_FILE"); }
    std::string file() const { return dir_ / "settings.conf"; }
    testsupport::TempDir dir_;
};
