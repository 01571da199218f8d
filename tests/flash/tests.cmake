comm_add_test(test_flash_plain SOURCES flash/test_flash_plain.cpp FAKE_SETTINGS)
comm_add_test(test_flash SOURCES flash/test_flash.cpp BOARD FAKE_SETTINGS)
comm_add_test(test_flash_commctl SOURCES flash/test_flash_commctl.cpp TOOLS)
