/// \file kinds.h
/// What a file is, by its content.
#ifndef LEOPOD_HOST_KINDS_H
#define LEOPOD_HOST_KINDS_H

#include <initializer_list>
#include <string>
#include <string_view>

namespace host {

enum class Kind {
    other,
    empty,
    binary,
    rinex_observation,
    rinex_navigation,
    rinex_navigation_other,  ///< version 2, of another system than GPS
    rinex_clock,
    rinex_clock_wide,  ///< the lines of version 3.04
    rinex_meteo,
    sp3,
    antex,
    jpl,
    eop_c04,       ///< with year, month, day, MJD
    eop_c04_hour,  ///< with an hour between day and MJD
    eop_rapid,
    eop_keyword,
    gravity,
    attitude,          ///< the library's columns
    attitude_mission,  ///< the mission product
    tle,
    crd,
    blq,
    gnss_config,
    dynamics_config,
    oem,
    opm,
    ccsds_xml,
    csv
};

/// The kind of a text by its first bytes, some 64 kB of it.
Kind kind_of(std::string_view head);
/// The kind of an input, whatever its name. Throws InputError where it can't be opened.
Kind kind_of_file(const std::string& name, const std::string& wanted = "file");

/// The kind in words with its article, and the options that take it: "a RINEX navigation file: --nav".
std::string description_of(Kind kind);

/// Throws InputError, which says what the file is; or else only that it is no `wanted`, as of a damaged file of its `own` kind.
[[noreturn]] void wrong_kind(const std::string& name, const std::string& wanted, Kind own = Kind::other);

/// Throws as wrong_kind for a file that is known to be something else than the kinds given; what isn't recognised passes.
void check_kind(const std::string& name, const std::string& wanted, std::initializer_list<Kind> kinds);

}  // namespace host

#endif
