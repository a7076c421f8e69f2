#include <unistd.h>

#include "src/platform/CapturedOutput.h"

namespace kovgui::platform {
namespace {

/// @return a copy of the stream's descriptor as it was; -1 when it had none
int redirect(std::FILE* stream, int target) {
    std::fflush(stream);
    const int saved = dup(fileno(stream));
    dup2(target, fileno(stream));
    return saved;
}

void restore(std::FILE* stream, int saved) {
    std::fflush(stream);
    if (saved < 0) return;
    dup2(saved, fileno(stream));
    close(saved);
}

}  // namespace

CapturedOutput::CapturedOutput() : file_(std::tmpfile()) {
    if (file_ == nullptr) return;
    saved_out_ = redirect(stdout, fileno(file_));
    saved_err_ = redirect(stderr, fileno(file_));
}

CapturedOutput::~CapturedOutput() {
    finish();
}

std::string CapturedOutput::finish() {
    if (file_ == nullptr) return {};
    restore(stdout, saved_out_);
    restore(stderr, saved_err_);
    std::string text;
    std::rewind(file_);
    char block[4096];
    while (const size_t got = std::fread(block, 1, sizeof block, file_))
        text.append(block, got);
    std::fclose(file_);
    file_ = nullptr;
    return text;
}

}  // namespace kovgui::platform
