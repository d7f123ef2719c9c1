/// \file elements.h
/// `leopod tle`: states of two-line element sets.
#ifndef LEOPOD_HOST_ELEMENTS_H
#define LEOPOD_HOST_ELEMENTS_H

#include <string>
#include <vector>

namespace host {

struct ElementsOptions {
    std::vector<std::string> tle;
    std::string names;
    std::vector<std::string> numbers, objects;  ///< chosen by catalogue number, by name
    bool all = false;
    std::string start;                       ///< UTC; empty: the epoch of each element set
    double duration = 86400.0, step = 60.0;  ///< [s]
    std::string eop, eop_format = "auto";
    std::string out;  ///< "-" is standard output
    std::string summary;
    std::string log_level = "critical";
};

/// Propagates the chosen objects and returns the exit status: 0 with at least one state, 1 with none. Throws InputError.
int propagate_elements(const ElementsOptions& options);

}  // namespace host

#endif
