/// \file checks.h
/// Checks of input files before a loader of the library reads them: some loaders end the process on a bad file. All throw InputError.
#ifndef LEOPOD_HOST_CHECKS_H
#define LEOPOD_HOST_CHECKS_H

#include <functional>
#include <string>

#include "inputs/kinds.h"

namespace host {

/// Calls a function with each line of a file until it returns false. Throws when the file cannot be read.
/// \param complete_only  leaves out a last line without a newline
void each_line(const std::string& name, const std::string& kind, const std::function<bool(const std::string&)>& use,
               bool complete_only = false);

void check_navigation(const std::string& name);
void check_sp3(const std::string& name);
void check_clock(const std::string& name);
void check_antex(const std::string& name);
/// True for the mission's format, false for the library's own; throws for neither.
bool check_attitude(const std::string& name);
/// Checks that a file holds a text which every file of its kind has.
void check_holds(const std::string& name, const std::string& kind, Kind own, const char* text,
                 const std::string& missing);
/// A GNSS configuration.
void check_config(const std::string& name);

}  // namespace host

#endif
