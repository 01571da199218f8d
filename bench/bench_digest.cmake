# SPDX-License-Identifier: MIT
# MD5 is measured against OpenSSL's in the same run.
find_package(OpenSSL REQUIRED)
target_link_libraries(${name} PRIVATE OpenSSL::Crypto)
