#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/support/temporary_directory.h"

inline void shell(const std::string& command) {
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
}

/// A firmware file made of a C program, with the tools that firmware is made with.
class FirmwareFile {
public:
    std::string path(const std::string& name) const { return files_.path() + "/" + name; }

    /// Compiles a program that says that it has this version, and packs it as program.iff.
    void build(const std::string& version, const std::string& more = "") const {
        std::ofstream(path("program.c"))
            << "#include <avr/io.h>\n#include <avr/pgmspace.h>\n"
               "const char version[] __attribute__((used)) = \"OABR_FW v"
            << version << " 2024/5/6\";\n"
            << more << "int main(void) { DDRB = 1; for (;;) PORTB ^= version[PINB & 7]; }\n";
        shell("avr-gcc -mmcu=atmega328p -Os -o " + path("program.elf") + " " + path("program.c"));
        shell("avr-objcopy -O ihex " + path("program.elf") + " " + path("program.hex"));
        shell(OABR_SOURCE_DIR "/tools/make-iff --target OABR_Korvex --bootloader v2a1b --version v" +
              version + " --date 2024/5/6 " + path("program.hex") + " " + path("program.iff"));
    }

private:
    const sim_process::TemporaryDirectory files_;
};
