// text.h: small helpers for texts, the same for every phase.
#pragma once

#include <cstdarg>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#if defined(__GNUC__)
#define LAUNCHER_FORMAT(format_index, first_value) \
  __attribute__((format(printf, format_index, first_value)))
#else
#define LAUNCHER_FORMAT(format_index, first_value)
#endif

// Appends a formatted piece in the manner of printf. The text grows as it must.
void append_format(std::string &text, const char *format, ...) LAUNCHER_FORMAT(2, 3);

// A formatted text in the manner of printf, and the same with the values as a list.
std::string format_text(const char *format, ...) LAUNCHER_FORMAT(1, 2);
std::string format_list(const char *format, std::va_list values) LAUNCHER_FORMAT(1, 0);

// The text with one line end at its end, however many it has.
std::string with_one_line_end(const std::string &text);

// The characters of a text for "%s"; an absent text formats as nothing. The
// text must outlive the result.
const char *chars_of(const std::optional<std::string> &text);

// Whether the text holds a blank (the space character).
bool contains_blank(std::string_view text);

// Whether it is one of the digits 0 to 9.
inline bool is_digit(char letter) {
  return letter >= '0' && letter <= '9';
}

// Whether the text holds the piece.
bool contains(std::string_view text, std::string_view piece);

// The text with its ASCII letters small; every other byte stays.
std::string small_letters(std::string text);

// Comparisons that take capital and small ASCII letters for the same.
bool equal_ignoring_case(std::string_view one, std::string_view other);
bool begins_ignoring_case(std::string_view text, std::string_view beginning);

// Reads a decimal number with leading blanks and a sign; too large a number
// becomes the largest. Gives back where it ends, or null when there are no digits.
const char *scan_number(const char *text, int &number);

// The number at the start of a text, 0 when there is none.
int to_number(const std::string &text);

// The decimal number at the start of a text: blanks, a sign, digits with a point, an
// exponent. Nothing when there are no digits; no other form counts as a number.
//   " 1.5e3x" -> 1500      "0x10" -> 0      "inf" -> nothing
std::optional<double> to_decimal(const std::string &text);

// A time as calendar text, its newline included: "Wed Jan  2 02:03:55 1980\n".
std::string calendar_text(std::time_t time);

// The pieces of a text between any of these separator characters, none of them empty.
//   "2 alpha  4", " "  ->  2, alpha, 4        ",alpha;beta:", ",;: "  ->  alpha, beta
std::vector<std::string> split_at(std::string_view text, std::string_view separators);

// The text without the CR and LF characters at its end.
std::string_view without_line_end(std::string_view text);

// A text as one argument, whatever it holds.
//   C:\mpi  ->  "C:\mpi"       C:\my mpi  ->  "C:\my mpi"
std::string quote(std::string_view text);

// An argument of the solver's as it was given: quoted when it holds a blank.
//   3d  ->  3d       my run.jou  ->  "my run.jou"
std::string quote_argument(const std::string &argument);

// A path as one argument: quoted when it holds a blank and no quote of its own.
//   C:\mpi  ->  C:\mpi       C:\my mpi  ->  "C:\my mpi"       "C:\my mpi"  ->  unchanged
std::string quote_path(const std::string &path);

// Adds a folder to a list like PATH. An empty folder adds nothing.
void append_to_path_list(std::string &list, const std::string &folder);
