/// \file crd.h
/// `leopod crd`: laser ranging files in, a summary and tables of their records out.
#ifndef LEOPOD_HOST_CRD_H
#define LEOPOD_HOST_CRD_H

#include <string>
#include <vector>

namespace host {

struct CrdOptions {
    std::vector<std::string> files;
    std::string out;                   ///< directory of the tables; empty: none
    std::vector<std::string> records;  ///< kinds of records that are written; empty: all
    std::string summary;
    std::string log_level = "critical";
};

/// Reads the files and returns the exit status: 0, or 1 where they hold no data record. Throws InputError.
int crd(const CrdOptions& options);

}  // namespace host

#endif
