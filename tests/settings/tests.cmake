# The stand-in itself (no fake here): values kept in a file, atomic writes.
comm_add_test(test_settings SOURCES settings/test_settings.cpp LIBS zev_settings)
