/// \file observables.h
/// Which observables of which systems a run takes, from what the observation files hold.
#ifndef LEOPOD_HOST_OBSERVABLES_H
#define LEOPOD_HOST_OBSERVABLES_H

#include <array>
#include <string>
#include <vector>

#include "gnss_config.h"
#include "inputs/observations.h"

namespace host {

/// Code and phase of two bands, in the order of the configuration: C1C L1C C2W L2W.
using CodeSet = std::array<std::string, 4>;

/// A system and its observables.
struct Observables {
    sysGNSS system = UKNSYS;
    CodeSet codes;
};

/// Reads "GPS:C1C,L1C,C2W,L2W", in letters of any size. Throws InputError.
Observables read_codes(const std::string& given);
/// Reads "GPS,BDS" or "GC". Throws InputError.
std::vector<sysGNSS> read_systems(const std::string& given);

/// The set of a system that the files have for most satellites: of those that have at least nine tenths of the best one's, the first in
/// the order of preference. Without any, the built-in one.
CodeSet choose_codes(sysGNSS system, const std::vector<ObservationScan>& scans);

/// Satellites, summed over the epochs, that have all observables of the set; and all of that system.
struct Share {
    long all = 0, complete = 0;
};
Share share_of(sysGNSS system, const std::vector<std::string>& codes, const std::vector<ObservationScan>& scans);

/// Types of which some satellite of the system has values, such as "C1C L1C"; empty where there is no satellite.
std::string observed_types(sysGNSS system, const std::vector<ObservationScan>& scans);

/// What else the files hold, in words: "GPS C1L L1L C2L L2L (96 %)", "Galileo", ...; empty without anything.
std::string other_signals(const std::vector<Observables>& taken, const std::vector<ObservationScan>& scans);

/// Sets the observables of a system index of the library's configuration.
void configure_codes(int index, const CodeSet& codes);

/// Names of the configured observables of a system index.
std::vector<std::string> configured_codes(int index);

char letter_of(sysGNSS system);

}  // namespace host

#endif
