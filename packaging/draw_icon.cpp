// draw_icon.cpp: draws zephon.ico: one point from which three go out in parallel.
//
//   draw_icon zephon.ico
//
// The icon stands in the tree, so that nobody needs this program to build the
// launcher. It counts in whole numbers only: the same picture on every machine.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

constexpr int canvas = 960;          // width and height of the drawing, in its own units
constexpr int samples_per_side = 8;  // each pixel is the mean of 8 x 8 samples
constexpr int sizes[] = {16, 32, 48};

struct colour {
  int red, green, blue, alpha;
};
constexpr colour nothing = {0, 0, 0, 0};
constexpr colour plate = {0x1F, 0x4E, 0x79, 0xFF};
constexpr colour mark = {0xFF, 0xFF, 0xFF, 0xFF};

struct point {
  std::int64_t x, y;
};
constexpr point start = {250, 480};
constexpr point ends[] = {{710, 220}, {710, 480}, {710, 740}};

bool in_disc(point at, point middle, std::int64_t radius) {
  const std::int64_t dx = at.x - middle.x;
  const std::int64_t dy = at.y - middle.y;
  return dx * dx + dy * dy <= radius * radius;
}

bool on_line(point at, point from, point to, std::int64_t half_width) {
  const std::int64_t dx = to.x - from.x;
  const std::int64_t dy = to.y - from.y;
  const std::int64_t along = (at.x - from.x) * dx + (at.y - from.y) * dy;
  const std::int64_t across = (at.x - from.x) * dy - (at.y - from.y) * dx;
  const std::int64_t length_squared = dx * dx + dy * dy;
  return along >= 0 && along <= length_squared &&
         across * across <= half_width * half_width * length_squared;
}

// A square with rounded corners: everything that is near enough to its inner square.
bool on_plate(point at) {
  constexpr std::int64_t edge = 20;
  constexpr std::int64_t radius = 190;
  constexpr std::int64_t low = edge + radius;
  constexpr std::int64_t high = canvas - low;
  const point nearest = {at.x < low ? low : (at.x > high ? high : at.x),
                         at.y < low ? low : (at.y > high ? high : at.y)};
  return in_disc(at, nearest, radius);
}

bool on_mark(point at) {
  bool inside = in_disc(at, start, 110);
  for (const point end : ends) {
    inside = inside || in_disc(at, end, 95) || on_line(at, start, end, 34);
  }
  return inside;
}

colour colour_at(point at) {
  if (!on_plate(at)) {
    return nothing;
  }
  return on_mark(at) ? mark : plate;
}

// The mean of a pixel's samples; the colour is that of the samples that are not empty.
colour pixel(int size, int column, int row) {
  constexpr int samples = samples_per_side * samples_per_side;
  colour sum = nothing;
  int covered = 0;
  for (int i = 0; i < samples; ++i) {
    const int x = column * samples_per_side + i % samples_per_side;
    const int y = row * samples_per_side + i / samples_per_side;
    const colour one = colour_at({(2 * x + 1) * canvas / (2 * size * samples_per_side),
                                  (2 * y + 1) * canvas / (2 * size * samples_per_side)});
    if (one.alpha != 0) {
      ++covered;
      sum.red += one.red;
      sum.green += one.green;
      sum.blue += one.blue;
    }
  }
  if (covered == 0) {
    return nothing;
  }
  return {sum.red / covered, sum.green / covered, sum.blue / covered, covered * 0xFF / samples};
}

void append_number(std::string &bytes, std::uint32_t number, int width) {
  for (int i = 0; i < width; ++i) {
    bytes += static_cast<char>((number >> (8 * i)) & 0xFFU);
  }
}

// One picture as an icon file holds it: a bitmap of 32 bits a pixel, from the
// bottom up, and an empty mask behind it (the alpha values say what is seen).
std::string picture(int size) {
  std::string bytes;
  append_number(bytes, 40, 4);  // size of this header
  append_number(bytes, static_cast<std::uint32_t>(size), 4);
  append_number(bytes, static_cast<std::uint32_t>(2 * size), 4);  // picture and mask
  append_number(bytes, 1, 2);                                     // planes
  append_number(bytes, 32, 2);                                    // bits a pixel
  bytes.append(24, '\0');                                         // not compressed, no palette
  for (int row = size - 1; row >= 0; --row) {
    for (int column = 0; column < size; ++column) {
      const colour seen = pixel(size, column, row);
      for (const int part : {seen.blue, seen.green, seen.red, seen.alpha}) {
        bytes += static_cast<char>(part);
      }
    }
  }
  const int mask_row = (size + 31) / 32 * 4;
  bytes.append(static_cast<std::size_t>(mask_row) * static_cast<std::size_t>(size), '\0');
  return bytes;
}

std::string icon() {
  constexpr std::uint32_t count = sizeof sizes / sizeof sizes[0];
  std::string directory;
  std::string pictures;
  append_number(directory, 0, 2);
  append_number(directory, 1, 2);  // an icon
  append_number(directory, count, 2);
  for (const int size : sizes) {
    const std::string one = picture(size);
    append_number(directory, static_cast<std::uint32_t>(size), 1);
    append_number(directory, static_cast<std::uint32_t>(size), 1);
    append_number(directory, 0, 2);  // no palette
    append_number(directory, 1, 2);
    append_number(directory, 32, 2);
    append_number(directory, static_cast<std::uint32_t>(one.size()), 4);
    append_number(directory, 6 + 16 * count + static_cast<std::uint32_t>(pictures.size()), 4);
    pictures += one;
  }
  return directory + pictures;
}

}  // namespace

int main(int count, char **arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: draw_icon FILE\n");
    return 1;
  }
  std::ofstream file(arguments[1], std::ios::binary);
  file << icon();
  file.close();
  return file.good() ? 0 : 1;
}
