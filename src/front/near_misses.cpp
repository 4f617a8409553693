// near_misses.cpp: the distance between two words.
#include "front/near_misses.h"

#include <algorithm>
#include <cstddef>

#include "core/text.h"

namespace {

constexpr std::size_t shortest_word = 3;  // shorter ones are near to everything
constexpr std::size_t long_word = 6;

int tolerated_distance(const std::string &word) {
  return word.size() >= long_word ? 2 : 1;
}

}  // namespace

int edit_distance(const std::string &one, const std::string &other) {
  const std::string from = small_letters(one);
  const std::string to = small_letters(other);
  // Between the first i letters of the one word and the first j of the other.
  const std::size_t width = to.size() + 1;
  std::vector<int> distances((from.size() + 1) * width);
  const auto distance = [&](std::size_t i, std::size_t j) -> int & {
    return distances[i * width + j];
  };
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      if (i == 0 || j == 0) {
        distance(i, j) = static_cast<int>(i + j);
        continue;
      }
      const int change = from[i - 1] == to[j - 1] ? 0 : 1;
      distance(i, j) = std::min(
          {distance(i - 1, j) + 1, distance(i, j - 1) + 1, distance(i - 1, j - 1) + change});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
        distance(i, j) = std::min(distance(i, j), distance(i - 2, j - 2) + 1);
      }
    }
  }
  return distance(from.size(), to.size());
}

std::optional<std::string> nearest(const std::string &typed,
                                   const std::vector<std::string> &words) {
  std::optional<std::string> best;
  int best_distance = 0;
  for (const std::string &word : words) {
    const std::size_t shorter = std::min(typed.size(), word.size());
    const std::size_t longer = std::max(typed.size(), word.size());
    const int tolerated = tolerated_distance(word);
    if (shorter < shortest_word || longer - shorter > static_cast<std::size_t>(tolerated)) {
      continue;  // a long word is not worth a comparison
    }
    const int distance = edit_distance(typed, word);
    if (distance > tolerated) {
      continue;
    }
    if (!best || distance < best_distance) {
      best = word;
      best_distance = distance;
    } else if (distance == best_distance) {
      return std::nullopt;
    }
  }
  return best;
}

std::string alternatives(const std::vector<std::string> &words) {
  std::string sentence;
  for (std::size_t i = 0; i < words.size(); ++i) {
    sentence += i == 0 ? "" : i + 1 == words.size() ? " or " : ", ";
    sentence += words[i];
  }
  return sentence;
}

std::optional<std::string> meant_name(std::span<const other_name> names, std::string_view word) {
  for (const other_name &entry : names) {
    if (equal_ignoring_case(entry.typed, word)) {
      return std::string(entry.meant);
    }
  }
  return std::nullopt;
}
