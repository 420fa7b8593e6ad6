/* Holds a block device open with O_EXCL, as a program that owns it would,
 * until it is sent a signal: `hold /dev/nvme1n1 &`. Prints "held PATH" once
 * the device is open; ends with 1 when it cannot be opened. Built statically
 * by scripts/vm-test, as the test machine has no C library of its own. */
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <errno.h>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: hold BLOCK_DEVICE\n");
        return 2;
    }
    if (open(argv[1], O_RDONLY | O_EXCL) < 0) {
        fprintf(stderr, "hold: %s: %s\n", argv[1], strerror(errno));
        return 1;
    }
    printf("held %s\n", argv[1]);
    fflush(stdout);
    for (;;) {
        pause();
    }
}
