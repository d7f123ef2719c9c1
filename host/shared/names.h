/// \file names.h
/// Names of files in messages: where a reader works on an unnamed file, its messages show the name that the user gave.
#ifndef LEOPOD_HOST_NAMES_H
#define LEOPOD_HOST_NAMES_H

#include <string>

namespace host {

/// From now on messages show a name in the place of a path.
void show_path_as(const std::string& path, const std::string& name);

/// A message with the names that are to be shown.
std::string with_shown_names(std::string text);

}  // namespace host

#endif
