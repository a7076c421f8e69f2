#include "src/base/utilities.h"

#include <wx/filename.h>
#include <wx/stdpaths.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cwchar>

#include "lib/text.h"
#include "src/platform/error_text.h"

namespace kovgui {

unsigned char asciiToHex(unsigned char c) {
    if (c > 96) return static_cast<unsigned char>(c - 87);
    if (c > 64) return static_cast<unsigned char>(c - 55);
    if (c < 48) return 0;
    return static_cast<unsigned char>(c - 48);
}

unsigned char asciiToHex(unsigned char high, unsigned char low) {
    return static_cast<unsigned char>((asciiToHex(high) << 4) + asciiToHex(low));
}

unsigned char hex2uchar(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) ? asciiToHex(static_cast<unsigned char>(c)) : 0;
}

unsigned char hex2ascii(const char* p) {
    const unsigned char high = hex2uchar(p[0]);
    return static_cast<unsigned char>(high * 16 + (p[0] ? hex2uchar(p[1]) : 0));
}

namespace {

bool isBlank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

const char* skipBlanks(const char* text) {
    while (isBlank(*text))
        ++text;
    return text;
}

/// Reads up to `digits` digits. @return behind them, or null when the number is none or out of range
const char* readNumber(const char* text, int digits, int lowest, int highest, int* out) {
    text = skipBlanks(text);
    int value = 0;
    const char* end = text;
    while (end - text < digits && std::isdigit(static_cast<unsigned char>(*end)))
        value = value * 10 + (*end++ - '0');
    if (end == text || value < lowest || value > highest) return nullptr;
    *out = value;
    return end;
}

const char* readConversion(const char* text, char conversion, std::tm* out) {
    switch (conversion) {
        case 'Y':
            text = readNumber(text, 4, 0, 9999, &out->tm_year);
            if (text) out->tm_year -= 1900;
            return text;
        case 'm':
            text = readNumber(text, 2, 1, 12, &out->tm_mon);
            if (text) out->tm_mon -= 1;
            return text;
        case 'd':
            return readNumber(text, 2, 1, 31, &out->tm_mday);
        case 'H':
            return readNumber(text, 2, 0, 23, &out->tm_hour);
        case 'M':
            return readNumber(text, 2, 0, 59, &out->tm_min);
        case 'S':
            return readNumber(text, 2, 0, 60, &out->tm_sec);
        default:
            return nullptr;
    }
}

}  // namespace

const char* _strptime(const char* text, const char* format, std::tm* out) {
    for (; *format && text; ++format) {
        if (*format == '%' && format[1]) {
            text = readConversion(text, *++format, out);
        } else if (isBlank(*format)) {
            text = skipBlanks(text);
        } else if (*text++ != *format) {
            return nullptr;
        }
    }
    return text;
}

std::time_t to_seconds(const char* text) {
    std::tm date{};
    if (!text || !_strptime(text, "%Y/%m/%d", &date)) return 0;
    return std::mktime(&date);
}

std::string getLastWindowsError(std::string format) {
    const std::string text = platform::lastErrorText();
    const size_t at = format.find("%s");
    return at == std::string::npos ? format : format.replace(at, 2, text);
}

void setExePathAsCurrentDirectory() {
    const wxFileName executable(wxStandardPaths::Get().GetExecutablePath());
    wxFileName::SetCwd(executable.GetPath());
}

bool validateMac(wxString& mac) {
    uint8_t bytes[mac_size];
    if (!parse_mac(mac.utf8_string(), bytes)) return false;
    char text[mac_text_size];
    mactostr(bytes, text, sizeof text);
    mac = wxString(text).Upper();
    return true;
}

std::string toAnsi(const wchar_t* text) {
    std::string out;
    std::mbstate_t state{};
    for (; *text; ++text) {
        char bytes[MB_LEN_MAX];
        const size_t count = std::wcrtomb(bytes, *text, &state);
        if (count == static_cast<size_t>(-1)) {
            out += '?';
            state = {};
        } else {
            out.append(bytes, count);
        }
    }
    return out;
}

std::string toAnsi(const std::wstring& text) {
    return toAnsi(text.c_str());
}

std::wstring toUnicode(const char* text) {
    std::wstring out;
    std::mbstate_t state{};
    const char* const end = text + std::char_traits<char>::length(text);
    while (text < end) {
        wchar_t one = 0;
        const size_t count = std::mbrtowc(&one, text, static_cast<size_t>(end - text), &state);
        const bool converted = count <= static_cast<size_t>(end - text) && count > 0;
        out += converted ? one : L'?';
        if (!converted) state = {};
        text += converted ? count : 1;
    }
    return out;
}

std::wstring toUnicode(const std::string& text) {
    return toUnicode(text.c_str());
}

std::string printedList(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string printed(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = printedList(format, arguments);
    va_end(arguments);
    return text;
}

void replace(std::string& text, const std::string& from, const std::string& to) {
    if (from.empty()) return;
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

std::string printable(std::string_view bytes) {
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 0x20 && byte < 0x7F) || c == '\n' || c == '\t') {
            out += c;
            continue;
        }
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
        out += escaped;
    }
    return out;
}

}  // namespace kovgui
