// json.h: writes JSON. Values are texts that are JSON already; what comes from
// outside gets there through json_text alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// A text of the ANSI code page as a JSON string; an absent one as null.
std::string json_text(std::string_view text);
std::string json_text_or_null(const std::optional<std::string> &text);

std::string json_number(std::int64_t number);
std::string json_number(const std::optional<std::int64_t> &number);  // absent: null
std::string json_bool(bool value);

// Seconds with six decimals' worth, without the zeros at the end; absent: null.
std::string json_seconds(const std::optional<std::int64_t> &microseconds);

// A moment, in microseconds since 1970 UTC, such as "2026-11-22T10:00:00.123Z";
// absent: null.
std::string json_moment(const std::optional<std::int64_t> &microseconds);

// Adds a value to the members of an array, or under a name to those of an object,
// which is a text of the code page too.
void add_element(std::string &elements, std::string_view value);
void add_member(std::string &members, std::string_view name, std::string_view value);

// The members between their brackets.
std::string json_object(const std::string &members);
std::string json_array(const std::string &elements);
