/* SPDX-License-Identifier: MIT */
/* Prints the header version and the MD5 of its first argument, through
 * the installed library. */
#include <stdio.h>
#include <string.h>

#include "comm_digest.h"
#include "comm_log.h"
#include "comm_version.h"

int main(int argc, char **argv) {
    char text[33] = {0};
    const char *in = argc > 1 ? argv[1] : "";

    Zev_Comm_SetPrintLev(0);
    dir_md5_string(text, in, (uint32_t)strlen(in));
    printf("%s %s\n", COMM_VERSION_STRING, text);
    return COMM_VERSION_MAJOR == 1 ? 0 : 1;
}
