/// \file blq.h
/// Ocean-loading tables of sites (BLQ files).
#ifndef LEOPOD_HOST_BLQ_H
#define LEOPOD_HOST_BLQ_H

#include <string>

namespace host {

/// Table of one site: 6 rows of M2, S2, N2, K2, K1, O1, P1, Q1, Mf, Mm, Ssa: amplitudes radial, west, south [m], then phases [degree].
struct OceanLoading {
    std::string site;  ///< name line of the file
    double table[6][11];
};

/// Reads the table of a site, named by its whole line or the first word of it, in any case; an empty name stands for the only site of
/// the file. Throws InputError.
OceanLoading read_ocean_loading(const std::string& file, const std::string& site);

}  // namespace host

#endif
