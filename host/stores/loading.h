/// \file loading.h
/// Input files of a run: checked, then loaded into the library.
#ifndef LEOPOD_HOST_LOADING_H
#define LEOPOD_HOST_LOADING_H

#include <string>
#include <vector>

#include "inputs/positions.h"
#include "stores/environment.h"

namespace host {

/// Options that name files and say how they are read.
struct InputOptions {
    std::vector<std::string> obs, nav, sp3, clk, atx, att;
    std::string eop, eop_format = "auto", jpl, config;
    std::vector<std::string> codes;                ///< such as GPS:C1C,L1C,C2W,L2W
    std::string from, to;                          ///< of the epochs, as in ArcSpan
    std::string systems;                           ///< such as GPS,BDS
    double sigma_code = 0.3, sigma_phase = 0.002;  ///< [m]
    int receiver = 0;
    double interval = 0.0;  ///< [s]; 0 takes every epoch
    bool embedded = false;
};

/// Checks and loads the navigation, SP3 and clock files alone. Throws InputError for a file that cannot be used, or without any.
void load_transmitters(const InputOptions& options, Environment& environment);

/// Checks and loads the attitude files, for object 0 and the receiver number. Throws InputError.
void load_attitude(const InputOptions& options, Environment& environment);

/// A GNSS configuration file into the library's configuration. Throws InputError.
void load_configuration(const std::string& file, Environment& environment);

/// Loads all files but the observations, which stand ready as a stream, and starts the runtime in the chosen deployment. Throws InputError for
/// a file that cannot be used.
void prepare_stream(const InputOptions& options, Environment& environment);

/// Loads all files and starts the runtime in the chosen deployment. Throws InputError for a file that cannot be used.
void prepare(const InputOptions& options, Environment& environment);

}  // namespace host

#endif
