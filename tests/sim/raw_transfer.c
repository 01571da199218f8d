// SPDX-License-Identifier: MIT
/* Run on the simulated board: raw transfers on one device, each given as
 * r|w:COUNT:OFFSET, from a buffer of 64 KiB whatever COUNT says. Prints one
 * line per transfer: the result of read or write and errno (0 on success). */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

int main(int argc, char **argv) {
    static char buf[1 << 16];
    int fd = argc > 1 ? open(argv[1], O_RDWR) : -1;
    if (fd < 0) return 1;
    for (int i = 2; i < argc; ++i) {
        char op = 0;
        unsigned long count = 0;
        long offset = 0;
        if (sscanf(argv[i], "%c:%lx:%lx", &op, &count, &offset) != 3) return 2;
        lseek(fd, offset, SEEK_SET);
        errno = 0;
        const ssize_t r = op == 'r' ? read(fd, buf, count) : write(fd, buf, count);
        printf("%zd %d\n", r, r < 0 ? errno : 0);
    }
    return close(fd) == 0 ? 0 : 1;
}
