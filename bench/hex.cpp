// Parsing and converting Intel HEX texts of 1 MB beside srec_cat doing the same, file to file, and the memory
// it takes. Read the ratios within one run; ours is to be three times as fast at least, within four times the
// text.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "src/FlashDlg/IFFFile.h"
#include "src/FlashDlg/IntelHexConverter.h"

extern char** environ;

namespace {

constexpr int rounds = 21;
constexpr size_t text_size = 1'000'000;

using clock_type = std::chrono::steady_clock;

void appendRecord(std::string& text, unsigned type, unsigned address, const std::vector<unsigned>& data) {
    char part[16];
    const auto count = static_cast<unsigned>(data.size());
    std::snprintf(part, sizeof part, ":%02X%04X%02X", count, address, type);
    text += part;
    unsigned sum = count + (address >> 8) + address + type;
    for (const unsigned value : data) {
        std::snprintf(part, sizeof part, "%02X", value);
        text += part;
        sum += value;
    }
    std::snprintf(part, sizeof part, "%02X\n", -sum & 0xFF);
    text += part;
}

/// As a linker writes a large program: 16 bytes a record, a segment record for each 64 KiB.
std::string linkerText() {
    std::string text;
    for (unsigned address = 0; text.size() < text_size; address += 16) {
        if (address % 65536 == 0 && address) appendRecord(text, 2, 0, {address / 65536 * 16, 0});
        std::vector<unsigned> data(16);
        for (unsigned i = 0; i < 16; ++i)
            data[i] = (address * 7 + i * 13 + 1) & 0xFF;
        appendRecord(text, 0, address & 0xFFFF, data);
    }
    return text + ":00000001FF\n";
}

/// The device's 64 KiB in records of one byte: the image, and what comes out, is the same for both.
std::string smallRecordsText() {
    std::string text;
    for (unsigned address = 0; address < 65536; ++address)
        appendRecord(text, 0, address, {(address * 7 + 1) & 0xFF});
    return text + ":00000001FF\n";
}

double best(const std::function<void()>& work) {
    double best_ms = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const auto start = clock_type::now();
        work();
        best_ms =
            std::min(best_ms, std::chrono::duration<double, std::milli>(clock_type::now() - start).count());
    }
    return best_ms;
}

void convertFile(const std::string& in, const std::string& out) {
    std::ifstream file(in, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    std::vector<std::string> lines;
    if (!kovgui::IntelHexConverter::convert(text.c_str(), lines)) std::exit(1);
    std::ofstream result(out, std::ios::binary);
    for (const std::string& line : lines)
        result << line;
}

void runSrecCat(const std::string& in, const std::string& out) {
    const std::vector<std::string> words = {
        "srec_cat", in, "-Intel", "-o", out, "-Intel", "-Output_Block_Size=16"};
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = 1;
    if (posix_spawnp(&child, "srec_cat", nullptr, nullptr, arguments.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        std::fprintf(stderr, "srec_cat failed; it is in the package srecord\n");
        std::exit(1);
    }
}

/// Kilobytes by which the work raises a process's peak.
long peakOf(const std::function<void()>& work) {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
        rusage before{}, after{};
        getrusage(RUSAGE_SELF, &before);
        work();
        getrusage(RUSAGE_SELF, &after);
        const long grown = after.ru_maxrss - before.ru_maxrss;
        _exit(write(ends[1], &grown, sizeof grown) == sizeof grown ? 0 : 1);
    }
    long grown = -1;
    const bool whole = read(ends[0], &grown, sizeof grown) == sizeof grown;
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return whole ? grown : -1;
}

std::string writeFirmware(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary)
        << "[Version]\nTR_SYSTEM = x\nBL_VERSION = v1a1a\nBUILD_VERSION = v1.0.0.0\nBUILD_DATUM = 2021/1/1\n"
        << "[Program]\nhex = \"\n"
        << text << "\"\n";
    return path;
}

void load(const std::string& path) {
    kovgui::IFFFile file;
    std::vector<std::string> lines;
    if (file.openFile(path.c_str()) != 1 || !kovgui::IntelHexConverter::convert(file.programHex(), lines))
        _exit(1);
}

void compare(const char* name, const std::string& text, const std::filesystem::path& folder) {
    const std::string in = folder / "in.hex";
    std::ofstream(in, std::ios::binary) << text;
    const std::string firmware = writeFirmware(folder / "firmware.iff", text);
    const std::string small = writeFirmware(folder / "small.iff", ":00000001FF\n");
    const double theirs = best([&] { runSrecCat(in, folder / "theirs.hex"); });
    const double ours = best([&] { convertFile(in, folder / "ours.hex"); });
    const long converting = peakOf([&] {
        std::vector<std::string> lines;
        if (!kovgui::IntelHexConverter::convert(text.c_str(), lines)) std::exit(1);
    });
    // What the code itself takes counts for a file of any size.
    const long loading = peakOf([&] { load(firmware); }) - peakOf([&] { load(small); });
    const double text_kb = static_cast<double>(text.size()) / 1024;
    std::printf("%-16s %7.0f KB  srec_cat %7.2f ms  ours %6.2f ms  %5.1f times as fast\n", name, text_kb,
                theirs, ours, theirs / ours);
    std::printf("%-16s memory beside the text: converting %.2f, firmware file and converting %.2f of it\n",
                "", static_cast<double>(converting) / text_kb, static_cast<double>(loading) / text_kb);
}

}  // namespace

int main() {
    std::string folder = std::filesystem::temp_directory_path() / "bench-hex-XXXXXX";
    if (!mkdtemp(folder.data())) return 1;
    compare("linker's text", linkerText(), folder);
    compare("small records", smallRecordsText(), folder);
    std::filesystem::remove_all(folder);
    return 0;
}
