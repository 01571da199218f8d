# SPDX-License-Identifier: MIT
comm_add_test(test_flash_plain SOURCES flash/test_flash_plain.cpp FAKE_SETTINGS)
comm_add_test(test_mtd SOURCES flash/test_mtd.cpp BOARD)
comm_add_test(test_identity_record SOURCES flash/test_identity_record.cpp BOARD FAKE_SETTINGS)
comm_add_test(test_flash_commctl SOURCES flash/test_flash_commctl.cpp TOOLS)
