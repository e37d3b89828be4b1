#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace cards {

/// One card of a file. `text` points into the file's text.
struct CardSlice {
  std::string_view text;
  std::size_t line;    ///< first line, counted from 1
  std::size_t begins;  ///< number of BEGIN:VCARD lines; more than one if an END:VCARD is missing
};

/// Splits .vcf text after each END:VCARD line, in any case and with any white space, group or
/// parameters. Lines end with LF, CRLF or CR; a continuation line never ends a card. Text between
/// and after cards becomes a slice of its own, so nothing is lost except a byte order mark and
/// slices of white space only. Linear time.
std::vector<CardSlice> splitCards(std::string_view text);

}  // namespace cards
