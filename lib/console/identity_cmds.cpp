#include <cstdio>

#include "lib/console/arguments.h"
#include "lib/console_cmd.h"
#include "lib/device_cmd.h"

int process_cmd_ping(char*) {
    uint32_t microseconds = 0;
    if (ping(&microseconds) != 0) return console_failure("ping failed");
    const bool long_time = microseconds > 1000;
    printf("PING: turn around %u%s\n", long_time ? microseconds / 1000 : microseconds,
           long_time ? "ms" : "us");
    fflush(stdout);
    return cmd_ok;
}

int process_cmd_version(char*) {
    uint8_t version[4];
    if (fwv_read(version) != 0) return console_failure("reading firmware version failed");
    printf("Firmware %d.%d.%d.%d\n", version[0], version[1], version[2], version[3]);
    fflush(stdout);
    return cmd_ok;
}

int process_cmd_date(char*) {
    uint8_t date[4];
    if (fwd_read(date) != 0) return console_failure("reading firmware date failed");
    printf("Date %02d.%02d.%d%02d\n", date[0], date[1], date[3], date[2]);
    fflush(stdout);
    return cmd_ok;
}

int process_cmd_blversion(char*) {
    uint8_t version[4];
    if (blv_read(version) != 0) return console_failure("reading bootloader version failed");
    printf("Bootloader %d%c%d%c\n", version[3], console_char(version[2]), version[1],
           console_char(version[0]));
    fflush(stdout);
    return cmd_ok;
}

int process_cmd_blstring(char*) {
    char text[bls_max_length + 1] = {};
    if (bls_read(text) != 0) return console_failure("reading bootloader string failed");
    for (const char* c = text; *c; ++c)
        putchar(console_char(static_cast<uint8_t>(*c)));
    putchar('\n');
    fflush(stdout);
    return cmd_ok;
}
