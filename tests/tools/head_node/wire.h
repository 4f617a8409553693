// wire.h: how the head node, its tools, and the keepers of its allocations talk: a
// message is a list of texts, each with its length in front, and the length of it all
// before that: {"job", "new"} is "11:3:job3:new" without the quotes.
#pragma once

#include <charconv>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace head_node {

using texts = std::vector<std::string>;

// Names with values: what a call asks for, what has happened, what is set.
using fields = std::map<std::string, std::string>;

// The value of a name; empty when it has none.
inline std::string value(const fields &all, const std::string &name) {
  const auto found = all.find(name);
  return found == all.end() ? "" : found->second;
}

inline std::string with_length(const std::string &text) {
  return std::to_string(text.size()) + ":" + text;
}

inline std::string encode(const texts &message) {
  std::string body;
  for (const auto &text : message) {
    body += with_length(text);
  }
  return with_length(body);
}

enum class reading { complete, incomplete, broken };

// Takes a text with its length from the front of `bytes`. Broken is what cannot
// become a text, however much may follow.
inline reading take_text(std::string_view &bytes, std::string_view &text) {
  constexpr std::size_t longest = 4'000'000;
  std::size_t size = 0;
  const auto [end, error] = std::from_chars(bytes.data(), bytes.data() + bytes.size(), size);
  const auto digits = static_cast<std::size_t>(end - bytes.data());
  if (digits == bytes.size() && error == std::errc() && size <= longest) {
    return reading::incomplete;
  }
  if (error != std::errc() || size > longest || bytes[digits] != ':') {
    return bytes.empty() ? reading::incomplete : reading::broken;
  }
  if (bytes.size() - digits - 1 < size) {
    return reading::incomplete;
  }
  text = bytes.substr(digits + 1, size);
  bytes.remove_prefix(digits + 1 + size);
  return reading::complete;
}

// Takes a whole message from the front of `bytes`, which keep what comes behind it.
inline reading take_message(std::string &bytes, texts &message) {
  std::string_view rest = bytes;
  std::string_view body;
  if (const auto result = take_text(rest, body); result != reading::complete) {
    return result;
  }
  message.clear();
  for (std::string_view text; !body.empty();) {
    if (take_text(body, text) != reading::complete) {
      return reading::broken;
    }
    message.emplace_back(text);
  }
  bytes.erase(0, bytes.size() - rest.size());
  return reading::complete;
}

}  // namespace head_node
