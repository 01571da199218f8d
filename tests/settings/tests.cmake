# SPDX-License-Identifier: MIT
# The stand-in itself (no fake here): values kept in a file, atomic writes.
comm_add_test(test_settings SOURCES settings/test_settings.cpp LIBS zev_settings)
# Concurrent writers: threads (also under ThreadSanitizer), processes, kills.
comm_add_test(test_settings_writers SOURCES settings/test_settings_writers.cpp LIBS zev_settings LABELS threads)
