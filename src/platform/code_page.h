// code_page.h: signs in texts of the ANSI code page.
//
// In the code pages of Chinese, Japanese and Korean a letter may have two bytes, and the
// second may be that of a backslash, a bar or a capital letter. A blank, a quote, a
// slash, a colon and a digit are never one.
#pragma once

#include <string>
#include <string_view>

// The text with an x for each byte of such a letter: a sign that is found in it is one,
// at the same place.
//   C:\<95><5C>.txt  ->  C:\xx.txt  in code page 932,  unchanged in 1252
std::string without_double_bytes(std::string_view text);
