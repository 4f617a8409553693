// near_misses.h: what somebody probably meant who typed something else.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// How many letters have to be added, left out, changed or swapped with their
// neighbour to turn one word into the other. Capital and small letters are the same.
int edit_distance(const std::string &one, const std::string &other);

// The word of a list that is nearest to what was typed; nothing when none is near
// or two are equally near. Near means one edit, in words of six letters and more two.
std::optional<std::string> nearest(const std::string &typed, const std::vector<std::string> &words);

// Words in a sentence: "a, b or c".
std::string alternatives(const std::vector<std::string> &words);

// Another name for something, and the name that is meant.
struct other_name {
  std::string_view typed;
  std::string_view meant;
};

// What a word is another name for, in small or capital letters; nothing when it is none.
std::optional<std::string> meant_name(std::span<const other_name> names, std::string_view word);
