/// \file nearest.h
/// The known word that a mistyped one was probably meant to be.
#ifndef LEOPOD_HOST_NEAREST_H
#define LEOPOD_HOST_NEAREST_H

#include <string>
#include <vector>

namespace host {

/// The known word nearest to a text, letters of any size alike; empty where none is near.
std::string nearest(const std::string& text, const std::vector<std::string>& known);

/// "; did you mean WORD?", or nothing.
std::string did_you_mean(const std::string& text, const std::vector<std::string>& known);

/// The words with commas between them, "or" before the last.
std::string list_of(const std::vector<std::string>& words);

}  // namespace host

#endif
