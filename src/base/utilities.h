#pragma once

#include <wx/string.h>

#include <cstdarg>
#include <ctime>
#include <string>
#include <string_view>

// Small helpers that stand alone.

namespace kovgui {

// Hexadecimal digits. The asciiToHex pair validates nothing: a character above 'F' or 'f' counts on ('G' is
// 16), one below '0' is 0.

unsigned char asciiToHex(unsigned char c);
unsigned char asciiToHex(unsigned char high, unsigned char low);
/// The value of one digit of either case, 0 for any other character.
unsigned char hex2uchar(char c);
/// The byte that the two digits at `p` stand for.
unsigned char hex2ascii(const char* p);

/// Reads a date with the conversions %Y, %m, %d, %H, %M and %S; other characters of the format must stand in
/// the text as they are, a blank stands for any white space.
/// @return what follows in the text, null when it does not match
const char* _strptime(const char* text, const char* format, std::tm* out);
/// Seconds since 1970 at midnight, local time, of a date "year/month/day"; 0 when the text is none.
std::time_t to_seconds(const char* text);

/// The format's "%s" replaced by the system's text of this thread's last error.
std::string getLastWindowsError(std::string format);

/// Makes the directory that holds the executable the working directory.
void setExePathAsCurrentDirectory();

/// Brings a MAC address into its normal form, six groups of two upper-case digits.
/// @return false when it is not six groups of one or two hexadecimal digits; then it stays as it is
bool validateMac(wxString& mac);

// Wide and narrow texts, in the encoding of the C library; what cannot be converted becomes '?'.

std::string toAnsi(const wchar_t* text);
std::string toAnsi(const std::wstring& text);
std::wstring toUnicode(const char* text);
std::wstring toUnicode(const std::string& text);

/// What printf would print.
[[gnu::format(printf, 1, 2)]] std::string printed(const char* format, ...);
/// The same of arguments that came in a list.
[[gnu::format(printf, 1, 0)]] std::string printedList(const char* format, std::va_list arguments);

/// Replaces every occurrence, going on behind each inserted text; an empty `from` occurs nowhere.
void replace(std::string& text, const std::string& from, const std::string& to);

/// Bytes of a device fit for a log or a terminal: what is neither printable ASCII, a line feed nor a tab
/// becomes \xNN.
std::string printable(std::string_view bytes);

}  // namespace kovgui
