#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace cards {

/// The text of one card in a file of several. Points into the file's text.
struct CutCard {
  std::string_view text;
  std::size_t line;    ///< where it starts, from 1
  std::size_t begins;  ///< how many BEGIN:VCARD lines it has: one, where it is one card
};

/// Cuts a .vcf text into its cards: behind each END:VCARD line, whatever the case, and whatever
/// white space, group or parameters it has. Lines end with LF, CR LF or CR. A line that begins with
/// white space goes on with the line before it, so END:VCARD in it ends nothing. What stands
/// between cards, or behind the last END:VCARD, is a text of its own; nothing is left out but texts
/// of white space only and the mark that some programs put before UTF-8.
///
/// Linear. Stateless: any thread.
std::vector<CutCard> cutCards(std::string_view text);

}  // namespace cards
