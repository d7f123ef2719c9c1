/// \file printable.h
/// Text from files and names of files, fit to be shown.
#ifndef LEOPOD_HOST_PRINTABLE_H
#define LEOPOD_HOST_PRINTABLE_H

#include <string>

namespace host {

/// Length of the UTF-8 character at a place; 0 where there is none.
std::size_t character_length(const std::string& text, std::size_t at);

/// The text with a question mark for each control character and for each byte that is not UTF-8.
std::string printable(const std::string& text);

/// Adds a part to a list in words, with a comma before it where there are others.
void add_part(std::string& list, const std::string& part);

/// "an SP3 file", "a RINEX clock file".
std::string with_article(const std::string& what);

}  // namespace host

#endif
